#include <korvane/buffers/Buffer.h>
#include <korvane/process/BufferSlotInterface.h>

#include <string>

namespace Korvane {

namespace {

constexpr char maxSizeProperty[] = "MaxSize";
constexpr int configCategory = 7;

}  // namespace

Buffer::Buffer(unsigned int maxSize) : ManageableType("Buffer"), m_maxSize(maxSize) {
    addProperty(maxSizeProperty, maxSize, uint32_property, read_write_access, 0, "");
    addProperty("ElementType", std::string(), string_property, read_access, configCategory,
                "The type of the elements that this buffer can store.");
}

Buffer::Buffer(const Buffer& other) : ManageableType(other), m_maxSize(other.limit()) {}

Buffer::~Buffer() = default;

bool Buffer::activatePropertyChange() {
    MutexLock lock(&m_lock);
    unsigned int value = 0;
    if (getPropertyForce(maxSizeProperty, &value)) {
        m_maxSize.store(value, std::memory_order_relaxed);
    }
    return true;
}

int Buffer::maxSize() const {
    return static_cast<int>(limit());
}

bool Buffer::connectSource(BufferSlotPtrWrapper source, const std::string& slotId) {
    return connectEnd(m_source, source, slotId, slot_output);
}

bool Buffer::connectSink(BufferSlotPtrWrapper sink, const std::string& slotId) {
    return connectEnd(m_sink, sink, slotId, slot_input);
}

bool Buffer::disconnectSource() {
    return disconnectEnd(m_source);
}

bool Buffer::disconnectSink() {
    return disconnectEnd(m_sink);
}

bool Buffer::connectEnd(Connection& end, const BufferSlotPtrWrapper& owner,
                        const std::string& slotId, buffer_slot_type direction) {
    if (owner.isNull()) return false;
    end.slotId = slotId;
    end.owner = owner;
    return owner->setBufferSlot(slotId, this, direction);
}

bool Buffer::disconnectEnd(Connection& end) {
    if (end.owner.isNull() || !end.owner->unsetBufferSlot(end.slotId)) return false;
    end.slotId.clear();
    end.owner = BufferSlotPtrWrapper();
    return true;
}

bool connect(BufferSlotPtrWrapper source, const std::string& sourceSlot, const BufferRefPtr& buffer,
             BufferSlotPtrWrapper sink, const std::string& sinkSlot) {
    if (source.isNull() || sink.isNull() || buffer.isNull()) return false;
    if (buffer->connectSource(source, sourceSlot) && buffer->connectSink(sink, sinkSlot)) {
        return true;
    }
    buffer->disconnectSource();
    buffer->disconnectSink();
    return false;
}

bool disconnect(BufferRefPtr& buffer) {
    if (buffer.isNull()) return false;
    const bool sourceReleased = buffer->disconnectSource();
    const bool sinkReleased = buffer->disconnectSink();
    return sourceReleased && sinkReleased;
}

}  // namespace Korvane
