#include <korvane/buffers/RingTemplate.h>
#include <korvane/core/Object.h>
#include <korvane/image/Image.h>

#include <array>
#include <string>

#include "buffers/BufferWorker.h"
#include "buffers/RingWorker.h"

namespace Korvane {

namespace {

constexpr unsigned int initialPushBlock = 0;

}  // namespace

// The ring (its capacity allocated once, at construction), the switches, the abort
// state and the four workers, which the table indexes in the order Unsync St, Sync
// St, Unsync Mt, Sync Mt.
template <class T>
struct RingTemplate<T>::Private {
    explicit Private(unsigned int capacity) : ring(capacity) {}

    Internal::Ring<T> ring;
    Internal::BufferWaitState state;
    Internal::BufferSwitches switches{initialPushBlock};
    Internal::RingWorkerUnsyncSt<T> unsyncSt{&state};
    Internal::RingWorkerSyncSt<T> syncSt{&state};
    Internal::RingWorkerUnsyncMt<T> unsyncMt{&state};
    Internal::RingWorkerSyncMt<T> syncMt{&state};
    const std::array<Internal::RingWorker<T>*, 4> workers{&unsyncSt, &syncSt, &unsyncMt, &syncMt};
};

template <class T>
RingTemplate<T>::RingTemplate(unsigned int maxSize)
    : BufferTemplate<T>(maxSize), d(std::make_unique<Private>(maxSize)) {
    this->declareSwitches(initialPushBlock);
}

template <class T>
RingTemplate<T>::RingTemplate(const RingTemplate& other)
    : BufferTemplate<T>(other), d(std::make_unique<Private>(other.limit())) {
    this->readSwitches(d->switches);
}

template <class T>
RingTemplate<T>::~RingTemplate() = default;

template <class T>
bool RingTemplate<T>::activatePropertyChange() {
    this->readSwitches(d->switches);
    return true;
}

template <class T>
Buffer* RingTemplate<T>::createCopy(unsigned int maxSize) {
    return new RingTemplate<T>(maxSize);
}

template <class T>
int RingTemplate<T>::size() const {
    MutexLock lock(&this->m_lock);
    return static_cast<int>(d->ring.size());
}

template <class T>
void RingTemplate<T>::notifyAndAbort() {
    d->state.aborted.store(true, std::memory_order_release);
    this->m_notEmpty.notify();
    this->m_notFull.notify();
}

template <class T>
void RingTemplate<T>::notifySource() {
    d->state.aborted.store(true, std::memory_order_release);
    this->m_notFull.notify();
}

template <class T>
void RingTemplate<T>::notifySink() {
    d->state.aborted.store(true, std::memory_order_release);
    this->m_notEmpty.notify();
}

template <class T>
void RingTemplate<T>::flush() {
    d->state.aborted.store(false, std::memory_order_release);
    {
        MutexLock lock(&this->m_lock);
        d->ring.clear();
    }
    this->m_notEmpty.notify();
    this->m_notFull.notify();
}

template <class T>
bool RingTemplate<T>::push(const T& item) {
    return pushNoProfile(item);
}

template <class T>
bool RingTemplate<T>::pop(T& item) {
    return popNoProfile(item);
}

template <class T>
bool RingTemplate<T>::peek(T& item) {
    Private& p = *d;
    if (p.state.isAborted()) return false;
    return p.workers[0]->peek(item, p.ring, this->limit(), this->m_lock, this->m_notEmpty,
                              this->m_notFull);
}

template <class T>
bool RingTemplate<T>::pushNoProfile(const T& item) {
    Private& p = *d;
    if (p.state.isAborted()) return false;
    return p.workers[p.switches.pushIndex()]->push(item, p.ring, this->limit(), this->m_lock,
                                                   this->m_notEmpty, this->m_notFull);
}

template <class T>
bool RingTemplate<T>::popNoProfile(T& item) {
    Private& p = *d;
    if (p.state.isAborted()) return false;
    return p.workers[p.switches.popIndex()]->pop(item, p.ring, this->limit(), this->m_lock,
                                                 this->m_notEmpty, this->m_notFull);
}

template class RingTemplate<Event*>;
template class RingTemplate<LogItemInterface*>;
template class RingTemplate<std::string>;
template class RingTemplate<ImgRefPtr>;
template class RingTemplate<ObjectRefPtr>;

}  // namespace Korvane
