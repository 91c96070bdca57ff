#include <korvane/buffers/BufferManager.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/buffers/RingTemplate.h>
#include <korvane/process/BufferSlotInterface.h>

#include <vector>

namespace Korvane {

namespace {

// The registered type that carries elementType with the given discipline. Text
// buffers report "string" but are registered under the stem "String".
std::string bufferTypeName(const std::string& elementType, BufferType bufferType) {
    const std::string stem = elementType == "string" ? "String" : elementType;
    return stem + (bufferType == BufferRing ? "Ring" : "Fifo");
}

// A ring allocates a slot for every element when it is made; above this many it is
// refused rather than attempted (with 16-byte handles this is 256 MiB).
constexpr int kLargestRing = 1 << 24;

bool sizeCanBeMet(int maxSize, BufferType bufferType) {
    return maxSize >= 0 && (bufferType != BufferRing || maxSize <= kLargestRing);
}

}  // namespace

BufferManager* BufferManager::get() {
    static BufferManager manager;
    return &manager;
}

BufferManager::BufferManager() {
    auto prototype = [](Buffer* buffer) { return BufferRefPtr(buffer, &freeCallback); };
    registerType("ImageFifo", prototype(new FifoTemplate<ImgRefPtr>(0)));
    registerType("ObjectFifo", prototype(new FifoTemplate<ObjectRefPtr>(0)));
    registerType("EventFifo", prototype(new FifoTemplate<Event*>(0)));
    registerType("StringFifo", prototype(new FifoTemplate<std::string>(0)));
    registerType("ImageRing", prototype(new RingTemplate<ImgRefPtr>(0)));
    registerType("ObjectRing", prototype(new RingTemplate<ObjectRefPtr>(0)));
    registerType("EventRing", prototype(new RingTemplate<Event*>(0)));
    registerType("StringRing", prototype(new RingTemplate<std::string>(0)));
}

BufferRefPtr BufferManager::create(const char* type, unsigned int maxSize, std::string& name,
                                   bool unique) {
    MutexLock lock(&m_lock);
    const std::string typeName = type ? type : "";
    return createPrivate(prototypePrivate(typeName), typeName, maxSize, name, unique);
}

BufferRefPtr BufferManager::create(BufferRefPtr prototype, unsigned int maxSize, std::string& name,
                                   bool unique) {
    MutexLock lock(&m_lock);
    const std::string typeName = prototype.isValid() ? prototype->type() : std::string();
    return createPrivate(prototype, typeName, maxSize, name, unique);
}

BufferRefPtr BufferManager::connect(BufferSlotPtrWrapper source, std::string sourceSlot,
                                    BufferSlotPtrWrapper sink, std::string sinkSlot,
                                    BufferType bufferType, int maxSize) {
    if (source.isNull() || sink.isNull() || !sizeCanBeMet(maxSize, bufferType)) {
        return BufferRefPtr();
    }
    std::string sourceType;
    std::string sinkType;
    if (!source->bufferSlotInfo(sourceSlot, &sourceType, nullptr, nullptr, nullptr) ||
        !sink->bufferSlotInfo(sinkSlot, &sinkType, nullptr, nullptr, nullptr) ||
        sourceType != sinkType) {
        return BufferRefPtr();
    }
    std::string name;
    BufferRefPtr buffer = create(bufferTypeName(sourceType, bufferType).c_str(),
                                 static_cast<unsigned int>(maxSize), name, true);
    if (buffer.isNull()) return BufferRefPtr();
    if (!Korvane::connect(source, sourceSlot, buffer, sink, sinkSlot)) {
        releaseInstance(name.c_str());
        return BufferRefPtr();
    }
    return buffer;
}

BufferRefPtr BufferManager::connect(BufferSlotPtrWrapper source, std::string sourceSlot,
                                    BufferSlotPtrWrapper sink, std::string sinkSlot, int maxSize) {
    return connect(source, sourceSlot, sink, sinkSlot, BufferFifo, maxSize);
}

void BufferManager::disconnect(BufferSlotPtrWrapper slotOwner, std::string slotId) {
    if (slotOwner.isNull()) return;
    std::string name;
    if (!slotOwner->getProperty(slotId, &name)) return;
    BufferRefPtr buffer = instance(name.c_str());
    if (buffer.isNull()) return;
    buffer->disconnectSource();
    buffer->disconnectSink();
    releaseInstance(name.c_str());
}

void BufferManager::flushAll() {
    MutexLock lock(&m_lock);
    for (const std::string& name : instanceListPrivate()) instancePrivate(name)->flush();
}

BufferRefPtr BufferManager::createPrivate(const BufferRefPtr& prototype, const std::string& type,
                                          unsigned int maxSize, std::string& name, bool unique) {
    BufferRefPtr buffer;
    if (prototype.isValid()) buffer = BufferRefPtr(prototype->createCopy(maxSize), &freeCallback);
    return enterCreatedPrivate(buffer, type, name, unique);
}

}  // namespace Korvane
