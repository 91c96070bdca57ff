#include <korvane/buffers/BufferTemplate.h>

#include <string>
#include <vector>

#include "buffers/BufferWorker.h"

namespace Korvane {

namespace {

// The "ElementType" of each element type.
const char* elementTypeName(Event* const*) {
    return "Event";
}
const char* elementTypeName(LogItemInterface* const*) {
    return "";
}
const char* elementTypeName(const std::string*) {
    return "string";
}
const char* elementTypeName(const ImgRefPtr*) {
    return "Image";
}
const char* elementTypeName(const ObjectRefPtr*) {
    return "Object";
}

constexpr char pushBlockProperty[] = "PushBlock";
constexpr char popBlockProperty[] = "PopBlock";
constexpr char threadingPolicyProperty[] = "ThreadingPolicy";

// The policy offset of "Single-threaded" and of "Multi-threaded".
constexpr int policyOffsets[] = {0, 2};

}  // namespace

template <class T>
BufferTemplate<T>::BufferTemplate(unsigned int maxSize) : Buffer(maxSize) {
    setPropertyForce("ElementType", elementTypeName(static_cast<const T*>(nullptr)));
}

template <class T>
BufferTemplate<T>::BufferTemplate(const BufferTemplate& other) : Buffer(other) {}

template <class T>
BufferTemplate<T>::~BufferTemplate() = default;

template <class T>
void BufferTemplate<T>::declareSwitches(unsigned int pushBlock) {
    const std::vector<std::string> offOn = {"Off", "On"};
    addProperty(pushBlockProperty, static_cast<long long>(pushBlock), offOn, enum_property,
                read_write_access, 0,
                "Determines whether pushing into a full buffer will wait until a free slot "
                "becomes available.");
    addProperty(popBlockProperty, 1LL, offOn, enum_property, read_write_access, 0,
                "Determines whether popping from an empty buffer will wait until an item is "
                "available.");
    addProperty(threadingPolicyProperty, 1LL, {"Single-threaded", "Multi-threaded"}, enum_property,
                read_write_access, 0, "Determines whether thread-safe methods are used.");
}

template <class T>
void BufferTemplate<T>::readSwitches(Internal::BufferSwitches& switches) const {
    unsigned int index = 0;
    if (getPropertyForce(pushBlockProperty, &index) && index <= 1) {
        switches.pushBlock.store(static_cast<int>(index), std::memory_order_relaxed);
    }
    if (getPropertyForce(popBlockProperty, &index) && index <= 1) {
        switches.popBlock.store(static_cast<int>(index), std::memory_order_relaxed);
    }
    if (getPropertyForce(threadingPolicyProperty, &index) && index <= 1) {
        switches.policyOffset.store(policyOffsets[index], std::memory_order_relaxed);
    }
}

template class BufferTemplate<Event*>;
template class BufferTemplate<LogItemInterface*>;
template class BufferTemplate<std::string>;
template class BufferTemplate<ImgRefPtr>;
template class BufferTemplate<ObjectRefPtr>;

}  // namespace Korvane
