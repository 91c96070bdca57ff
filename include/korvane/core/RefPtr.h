#pragma once
// Counted handles. RefPtr<T> shares one Count record among all handles copied from
// the first one and destroys the object when the last handle lets go: through the
// deleter given to the first handle, or else through the virtual destructor. The
// object is destroyed after its Count is gone and outside any lock, so a deleter may
// take other locks (a manager's deleter takes the manager's lock).
//
// Decision: the count is an atomic integer rather than a Mutex. Increments and
// decrements of one count stay serialised, a handle copy costs no lock and no
// allocation beyond the one Count, and the Count record needs no kernel objects.
// One handle object itself is not guarded: do not assign it on one thread while
// another thread reads or copies it.

#include <korvane/core/Export.h>

#include <atomic>
#include <cstdint>
#include <utility>

namespace Korvane {

// The shared control record: the number of handles that share it.
class KORVANE_API Count {
public:
    Count() = default;
    virtual ~Count() = default;
    Count(const Count&) = delete;
    Count& operator=(const Count&) = delete;

    std::atomic<std::uint32_t> count{1};
};

// The counting part of a handle. It never releases by itself: the owning handle does.
class KORVANE_API RefCountBase {
public:
    explicit RefCountBase(unsigned create = 0) : m_count(create ? new Count : nullptr) {}
    RefCountBase(const RefCountBase& other) : m_count(other.m_count) { acquire(); }
    // Takes over other's share without touching the count; other holds none after.
    RefCountBase(RefCountBase&& other) noexcept : m_count(other.m_count) {
        other.m_count = nullptr;
    }
    ~RefCountBase() = default;

    // Shares the other's count without giving up the one held before.
    RefCountBase& operator=(const RefCountBase& other) {
        if (m_count == other.m_count) return *this;
        m_count = other.m_count;
        acquire();
        return *this;
    }

    unsigned referenceCount() const {
        return m_count ? m_count->count.load(std::memory_order_acquire) : 0u;
    }

    // 1 when this was the last holder: the Count is destroyed and no longer held.
    int release() {
        if (!m_count) return 0;
        if (m_count->count.fetch_sub(1, std::memory_order_acq_rel) != 1) return 0;
        delete m_count;
        m_count = nullptr;
        return 1;
    }

protected:
    void swapCount(RefCountBase& other) noexcept {
        Count* const mine = m_count;
        m_count = other.m_count;
        other.m_count = mine;
    }

private:
    void acquire() {
        if (m_count) m_count->count.fetch_add(1, std::memory_order_relaxed);
    }

    Count* m_count;
};

template <class T>
class KORVANE_API RefPtr : public RefCountBase {
public:
    using Deleter = void (*)(T*);

    RefPtr() : RefCountBase(0) {}
    RefPtr(T* object, Deleter deleter)
        : RefCountBase(object ? 1u : 0u), m_deleter(deleter), m_object(object) {}
    RefPtr(const RefPtr& other)
        : RefCountBase(other), m_deleter(other.m_deleter), m_object(other.m_object) {}
    // Takes over other's share without touching the count (a handle moved through a
    // buffer costs no count update); other is left empty.
    RefPtr(RefPtr&& other) noexcept
        : RefCountBase(std::move(other)), m_deleter(other.m_deleter), m_object(other.m_object) {
        other.m_object = nullptr;
    }

    virtual ~RefPtr() { destroyIfLast(); }

    RefPtr& operator=(const RefPtr& other) {
        if (m_object == other.m_object) return *this;
        if (m_object) freeMem();
        RefCountBase::operator=(other);
        m_object = other.m_object;
        m_deleter = other.m_deleter;
        return *this;
    }

    // Lets go of this handle's share (destroying the object if it was the last) and
    // takes over other's; other is left empty.
    RefPtr& operator=(RefPtr&& other) noexcept {
        RefPtr taken(std::move(other));
        swapCount(taken);
        std::swap(m_deleter, taken.m_deleter);
        std::swap(m_object, taken.m_object);
        return *this;  // taken releases the share held before
    }

    bool isNull() const { return m_object == nullptr; }
    bool operator!() const { return m_object == nullptr; }
    bool isValid() const { return m_object != nullptr; }

    T* rawPtr() const { return m_object; }
    T* operator->() const { return m_object; }
    T& operator*() const { return *m_object; }

    friend bool operator==(const RefPtr& a, const RefPtr& b) { return a.address() == b.address(); }
    friend bool operator!=(const RefPtr& a, const RefPtr& b) { return a.address() != b.address(); }
    friend bool operator<(const RefPtr& a, const RefPtr& b) { return a.address() < b.address(); }
    friend bool operator<=(const RefPtr& a, const RefPtr& b) { return a.address() <= b.address(); }
    friend bool operator>(const RefPtr& a, const RefPtr& b) { return a.address() > b.address(); }
    friend bool operator>=(const RefPtr& a, const RefPtr& b) { return a.address() >= b.address(); }

protected:
    // Releases this handle's share; destroys the object if it was the last. Only
    // assignment calls it, right before the handle is overwritten.
    virtual void freeMem() { destroyIfLast(); }

    T* peek() const { return m_object; }

private:
    void destroyIfLast() {
        if (release() != 1) return;
        if (m_deleter) {
            m_deleter(m_object);
        } else {
            delete m_object;
        }
        m_object = nullptr;
    }

    std::uintptr_t address() const { return reinterpret_cast<std::uintptr_t>(m_object); }

    Deleter m_deleter = nullptr;
    T* m_object = nullptr;
};

}  // namespace Korvane
