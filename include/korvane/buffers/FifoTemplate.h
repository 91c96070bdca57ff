#pragma once
// FifoTemplate<T> is a bounded first-in first-out buffer. Each push, pop and peek is
// done by one of four worker strategies chosen by indexing with the switches read at
// that call: "ThreadingPolicy" picks locked ("Multi-threaded", any number of threads
// per side) or lock-free ("Single-threaded", one producer and one consumer thread),
// "PushBlock"/"PopBlock" pick waiting or failing at once on a full or empty FIFO.
//
// Decisions: the contents are a singly linked queue that one producer and one
// consumer may use at once without a lock, so a single-threaded FIFO shared by two
// threads is free of data races (peek and flush then belong to the consumer's side).
// Consumed nodes are recycled, so a FIFO at its working size pushes and pops without
// allocating. A copy takes the properties (and so the switches) but starts empty and
// not aborted. flush() empties the FIFO before it wakes the waiters, so that a
// producer blocked on a full FIFO finds room.

#include <korvane/buffers/BufferTemplate.h>
#include <korvane/core/Export.h>

#include <memory>
#include <string>

namespace Korvane {

template <class T>
class KORVANE_API FifoTemplate : public BufferTemplate<T> {
public:
    explicit FifoTemplate(unsigned int maxSize);
    FifoTemplate(const FifoTemplate& other);
    FifoTemplate& operator=(const FifoTemplate&) = delete;
    // Releases the elements still held (pointer elements are not deleted).
    ~FifoTemplate() override;

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

extern template class KORVANE_API FifoTemplate<Event*>;
extern template class KORVANE_API FifoTemplate<LogItemInterface*>;
extern template class KORVANE_API FifoTemplate<std::string>;
extern template class KORVANE_API FifoTemplate<ImgRefPtr>;
extern template class KORVANE_API FifoTemplate<ObjectRefPtr>;

}  // namespace Korvane
