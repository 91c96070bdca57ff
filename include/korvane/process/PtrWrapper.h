#pragma once
// Type-erased counted handles to the two interfaces through which wiring and
// topologies reach their components: a ProcessPtrWrapper to anything that runs on a
// process thread, a BufferSlotPtrWrapper to anything that declares buffer slots.
//
// A wrapper is made from any counted handle RefPtr<T>, the named handles included
// (MotionRefPtr, DisplayRefPtr, OperatorProcessRefPtr, ScriptRefPtr for processes;
// DeviceRefPtr, MotionRefPtr, OperatorRefPtr, DisplayRefPtr, ScriptRefPtr for slot
// owners), provided T derives from the interface; anything else fails to compile. The
// wrapper keeps its own copy of the handle, so the object lives as long as any copy of
// the wrapper. Wrappers compare equal when they reach the same object. Like a handle,
// one wrapper object must not be assigned on one thread while another reads it.

#include <korvane/core/Export.h>
#include <korvane/core/RefPtr.h>

#include <memory>
#include <type_traits>

namespace Korvane {

class BufferSlotInterface;
class ProcessInterface;

namespace Internal {

template <class Interface>
class KORVANE_API PtrWrapper {
public:
    PtrWrapper() = default;

    // Implicit, so that a handle can be passed where a wrapper is expected. Deduces T
    // also from a named handle, since those derive from RefPtr<T>.
    template <class T>
    PtrWrapper(const RefPtr<T>& handle)
        : m_interface(handle.rawPtr()), m_keepAlive(keepAlive(handle)) {
        static_assert(std::is_base_of_v<Interface, T>,
                      "the handle must hold a class derived from the wrapper's interface");
    }

    bool isNull() const { return m_interface == nullptr; }
    bool isValid() const { return m_interface != nullptr; }
    bool operator!() const { return m_interface == nullptr; }

    Interface* rawPtr() const { return m_interface; }
    Interface* operator->() const { return m_interface; }
    Interface& operator*() const { return *m_interface; }

    friend bool operator==(const PtrWrapper& a, const PtrWrapper& b) {
        return a.m_interface == b.m_interface;
    }
    friend bool operator!=(const PtrWrapper& a, const PtrWrapper& b) {
        return a.m_interface != b.m_interface;
    }

private:
    // The copy of the handle lives in a shared holder, so that copying a wrapper copies
    // no handle and the handle's own count is touched only when the last wrapper goes.
    template <class T>
    static std::shared_ptr<const void> keepAlive(const RefPtr<T>& handle) {
        if (handle.isNull()) return nullptr;
        return std::make_shared<const RefPtr<T>>(handle);
    }

    Interface* m_interface = nullptr;  // reached through m_keepAlive, not owned
    std::shared_ptr<const void> m_keepAlive;
};

}  // namespace Internal

// A handle to a process, made from the handle of any class derived from ProcessInterface.
class KORVANE_API ProcessPtrWrapper : public Internal::PtrWrapper<ProcessInterface> {
public:
    using PtrWrapper::PtrWrapper;
};

// A handle to a slot owner, made from the handle of any class derived from
// BufferSlotInterface.
class KORVANE_API BufferSlotPtrWrapper : public Internal::PtrWrapper<BufferSlotInterface> {
public:
    using PtrWrapper::PtrWrapper;
};

}  // namespace Korvane
