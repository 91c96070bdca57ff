#pragma once
// RingTemplate<T> is a ring buffer of fixed capacity (the maximum size): a push
// never waits and never fails; on a full ring it overwrites the oldest element, so a
// slow consumer loses old elements instead of stalling its producer. Pop and peek
// take the oldest element; "PopBlock" picks waiting or failing at once when empty.
// "PushBlock" is kept for symmetry with the FIFO and has no effect.
//
// Decisions: an overwrite moves the same front as a pop, so every variant, also the
// "Single-threaded" ones, changes the ring under the buffer's lock; a single-threaded
// ring shared by a producer and a consumer thread is thus as safe as a multi-threaded
// one. A copy takes the properties (and so the switches) but starts empty.

#include <korvane/buffers/BufferTemplate.h>
#include <korvane/core/Export.h>

#include <memory>
#include <string>

namespace Korvane {

template <class T>
class KORVANE_API RingTemplate : public BufferTemplate<T> {
public:
    explicit RingTemplate(unsigned int maxSize);
    RingTemplate(const RingTemplate& other);
    RingTemplate& operator=(const RingTemplate&) = delete;
    // Releases the elements still held (pointer elements are not deleted).
    ~RingTemplate() override;

    // Reads "PushBlock", "PopBlock" and "ThreadingPolicy" into the switches; the next
    // push or pop uses them. A value outside the item list leaves its switch alone.
    bool activatePropertyChange() override;
    Buffer* createCopy(unsigned int maxSize) override;
    int size() const override;
    void notifyAndAbort() override;
    void notifySource() override;
    void notifySink() override;
    void flush() override;
    bool push(const T& item) override;
    bool pop(T& item) override;
    bool peek(T& item) override;

    // The same as push and pop; no profiling is done by either pair.
    bool pushNoProfile(const T& item);
    bool popNoProfile(T& item);

private:
    struct Private;

    std::unique_ptr<Private> d;
};

extern template class KORVANE_API RingTemplate<Event*>;
extern template class KORVANE_API RingTemplate<LogItemInterface*>;
extern template class KORVANE_API RingTemplate<std::string>;
extern template class KORVANE_API RingTemplate<ImgRefPtr>;
extern template class KORVANE_API RingTemplate<ObjectRefPtr>;

}  // namespace Korvane
