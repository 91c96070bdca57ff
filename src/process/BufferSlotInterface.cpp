#include <korvane/process/BufferSlotInterface.h>

#include <korvane/buffers/BufferManager.h>

namespace Korvane {

namespace {

// The category "Fifo".
constexpr int fifoCategory = 2;

}  // namespace

BufferSlotInterface::BufferSlotInterface(const std::string& componentType)
    : ManageableType(componentType) {}

BufferSlotInterface::BufferSlotInterface(const BufferSlotInterface& other) : ManageableType(other) {
    MutexLock lock(&other.m_lock);
    m_slots = other.m_slots;
    for (auto& entry : m_slots) entry.second.buffer = BufferRefPtr();
}

BufferSlotInterface::~BufferSlotInterface() = default;

bool BufferSlotInterface::activatePropertyChange() {
    return true;
}

std::vector<std::string> BufferSlotInterface::bufferSlotIds() const {
    MutexLock lock(&m_lock);
    std::vector<std::string> ids;
    ids.reserve(m_slots.size());
    for (const auto& entry : m_slots) ids.push_back(entry.first);
    return ids;
}

bool BufferSlotInterface::bufferSlotInfo(const std::string& id, std::string* elementType,
                                         buffer_slot_type* slotType, std::string* description,
                                         bool* optional) const {
    MutexLock lock(&m_lock);
    auto it = m_slots.find(id);
    if (it == m_slots.end()) return false;
    const Internal::BufferSlot& slot = it->second;
    if (elementType) *elementType = slot.elementType;
    if (slotType) *slotType = slot.slotType;
    if (description) *description = slot.description;
    if (optional) *optional = slot.optional;
    return true;
}

void BufferSlotInterface::notifyAndAbortAllBuffers() {
    MutexLock lock(&m_lock);
    for (auto& entry : m_slots) {
        if (entry.second.buffer.isValid()) entry.second.buffer->notifyAndAbort();
    }
}

void BufferSlotInterface::flushAllBuffers() {
    MutexLock lock(&m_lock);
    for (auto& entry : m_slots) {
        if (entry.second.buffer.isValid()) entry.second.buffer->flush();
    }
}

bool BufferSlotInterface::addBufferSlot(const std::string& id, const std::string& elementType,
                                        buffer_slot_type slotType, const std::string& description,
                                        bool optional) {
    MutexLock lock(&m_lock);
    if (!addProperty(id, std::string(), string_property, read_access, fifoCategory, description)) {
        return false;
    }
    Internal::BufferSlot slot;
    slot.elementType = elementType;
    slot.slotType = slotType;
    slot.optional = optional;
    slot.description = description;
    m_slots.emplace(id, slot);
    return true;
}

bool BufferSlotInterface::setBufferSlot(const std::string& id, Buffer* buffer,
                                        buffer_slot_type slotType) {
    if (!buffer) return false;
    MutexLock lock(&m_lock);
    auto it = m_slots.find(id);
    if (it == m_slots.end()) return false;
    std::string elementType;
    if (!buffer->getProperty("ElementType", &elementType)) return false;
    if (elementType != it->second.elementType || slotType != it->second.slotType) return false;
    it->second.bufferName = buffer->name();
    return setPropertyForce(id, it->second.bufferName);
}

bool BufferSlotInterface::unsetBufferSlot(const std::string& id) {
    MutexLock lock(&m_lock);
    auto it = m_slots.find(id);
    if (it != m_slots.end()) {
        it->second.bufferName.clear();
        setPropertyForce(id, std::string());
    }
    return true;
}

BufferRefPtr BufferSlotInterface::bufferSlot(const std::string& id) const {
    MutexLock lock(&m_lock);
    auto it = m_slots.find(id);
    return it == m_slots.end() ? BufferRefPtr() : it->second.buffer;
}

std::map<std::string, Internal::BufferSlot>& BufferSlotInterface::bufferSlotMap() {
    return m_slots;
}

const std::map<std::string, Internal::BufferSlot>& BufferSlotInterface::bufferSlotMap() const {
    return m_slots;
}

bool BufferSlotInterface::initBufferSlots() {
    std::vector<BufferRefPtr> replaced;  // declared before the lock: let go after it
    MutexLock lock(&m_lock);
    bool bound = true;
    for (auto& [id, slot] : m_slots) {
        std::string bufferName;
        if (!getPropertyForce(id, &bufferName)) {
            bound = false;
            continue;
        }
        replaced.push_back(slot.buffer);
        slot.buffer = BufferManager::get()->instance(bufferName.c_str());
        if (slot.buffer.isValid()) slot.buffer->flush();
        if (slot.buffer.isNull() && !slot.optional) bound = false;
    }
    return bound;
}

// A buffer whose last handle was the slot's is destroyed only after the lock is
// released, since its destruction lets go of its source and sink.
bool BufferSlotInterface::releaseBufferSlots() {
    std::vector<BufferRefPtr> released;  // declared before the lock: let go after it
    MutexLock lock(&m_lock);
    for (auto& entry : m_slots) {
        released.push_back(entry.second.buffer);
        entry.second.buffer = BufferRefPtr();
    }
    return true;
}

}  // namespace Korvane
