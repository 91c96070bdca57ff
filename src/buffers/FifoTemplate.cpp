#include <korvane/buffers/FifoTemplate.h>
#include <korvane/core/Object.h>
#include <korvane/image/Image.h>

#include <array>
#include <climits>
#include <string>

#include "buffers/BufferWorker.h"
#include "buffers/FifoQueue.h"
#include "buffers/FifoWorker.h"

namespace Korvane {

namespace {

constexpr unsigned int initialPushBlock = 1;

}  // namespace

// The contents, the switches, the abort state and the four workers, which the table
// indexes in the order Unsync St, Sync St, Unsync Mt, Sync Mt.
template <class T>
struct FifoTemplate<T>::Private {
    Internal::FifoQueue<T> queue;
    Internal::BufferWaitState state;
    Internal::BufferSwitches switches{initialPushBlock};
    Internal::FifoWorkerUnsyncSt<T> unsyncSt{&state};
    Internal::FifoWorkerSyncSt<T> syncSt{&state};
    Internal::FifoWorkerUnsyncMt<T> unsyncMt{&state};
    Internal::FifoWorkerSyncMt<T> syncMt{&state};
    const std::array<Internal::FifoWorker<T>*, 4> workers{&unsyncSt, &syncSt, &unsyncMt, &syncMt};
};

template <class T>
FifoTemplate<T>::FifoTemplate(unsigned int maxSize)
    : BufferTemplate<T>(maxSize), d(std::make_unique<Private>()) {
    this->declareSwitches(initialPushBlock);
}

template <class T>
FifoTemplate<T>::FifoTemplate(const FifoTemplate& other)
    : BufferTemplate<T>(other), d(std::make_unique<Private>()) {
    this->readSwitches(d->switches);
}

template <class T>
FifoTemplate<T>::~FifoTemplate() = default;

template <class T>
bool FifoTemplate<T>::activatePropertyChange() {
    this->readSwitches(d->switches);
    return true;
}

template <class T>
Buffer* FifoTemplate<T>::createCopy(unsigned int maxSize) {
    return new FifoTemplate<T>(maxSize);
}

template <class T>
int FifoTemplate<T>::size() const {
    MutexLock lock(&this->m_lock);
    const std::size_t count = d->queue.size();
    return count > INT_MAX ? INT_MAX : static_cast<int>(count);
}

template <class T>
void FifoTemplate<T>::notifyAndAbort() {
    d->state.aborted.store(true, std::memory_order_release);
    this->m_notEmpty.notify();
    this->m_notFull.notify();
}

template <class T>
void FifoTemplate<T>::notifySource() {
    d->state.aborted.store(true, std::memory_order_release);
    this->m_notFull.notify();
}

template <class T>
void FifoTemplate<T>::notifySink() {
    d->state.aborted.store(true, std::memory_order_release);
    this->m_notEmpty.notify();
}

template <class T>
void FifoTemplate<T>::flush() {
    d->state.aborted.store(false, std::memory_order_release);
    {
        MutexLock lock(&this->m_lock);
        d->queue.clear();
    }
    this->m_notEmpty.notify();
    this->m_notFull.notify();
}

template <class T>
bool FifoTemplate<T>::push(const T& item) {
    return pushNoProfile(item);
}

template <class T>
bool FifoTemplate<T>::pop(T& item) {
    return popNoProfile(item);
}

template <class T>
bool FifoTemplate<T>::peek(T& item) {
    Private& p = *d;
    if (p.state.isAborted()) return false;
    return p.workers[0]->peek(item, p.queue, this->limit(), this->m_lock, this->m_notEmpty,
                              this->m_notFull);
}

template <class T>
bool FifoTemplate<T>::pushNoProfile(const T& item) {
    Private& p = *d;
    if (p.state.isAborted()) return false;
    return p.workers[p.switches.pushIndex()]->push(item, p.queue, this->limit(), this->m_lock,
                                                   this->m_notEmpty, this->m_notFull);
}

template <class T>
bool FifoTemplate<T>::popNoProfile(T& item) {
    Private& p = *d;
    if (p.state.isAborted()) return false;
    return p.workers[p.switches.popIndex()]->pop(item, p.queue, this->limit(), this->m_lock,
                                                 this->m_notEmpty, this->m_notFull);
}

template class FifoTemplate<Event*>;
template class FifoTemplate<LogItemInterface*>;
template class FifoTemplate<std::string>;
template class FifoTemplate<ImgRefPtr>;
template class FifoTemplate<ObjectRefPtr>;

}  // namespace Korvane
