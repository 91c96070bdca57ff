#pragma once
// Buffer is the untyped face of every FIFO and ring: a managed object of component
// type "Buffer" with a maximum size, the lock that guards the typed contents and the
// two wake-up events (not-empty, not-full) through which producers and consumers
// hand over. The typed templates (BufferTemplate<T> and its FIFO and ring) own the
// contents; BufferManager makes named buffers from registered prototypes.
//
// The maximum size is fixed at construction: the typed buffers never re-read
// "MaxSize", so writing that property changes only the property.
//
// Wiring: a buffer links one source (a slot owner that pushes) to one sink (one that
// pops). It holds their wrappers, so both owners live at least as long as the
// connection; its destruction does not unbind them, disconnectSource/Sink do. The
// connection fields are not locked: one thread at a time wires a buffer.

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/ManageableType.h>
#include <korvane/platform/Mutex.h>
#include <korvane/process/PtrWrapper.h>

#include <atomic>
#include <string>

namespace Korvane {

// Defined with BufferSlotInterface.
enum buffer_slot_type : unsigned int;

class KORVANE_API Buffer : public ManageableType {
public:
    // Declares "MaxSize" (initially maxSize) and "ElementType" (empty until the typed
    // template names its element type).
    explicit Buffer(unsigned int maxSize);
    // Copies the properties and the maximum size, not the contents; the copy has a
    // lock and events of its own.
    Buffer(const Buffer& other);
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer() override;

    // Under the lock, reads "MaxSize" into the maximum size. The typed templates
    // override it without calling it.
    bool activatePropertyChange() override;

    // A new, empty buffer of the same discipline and element type with initial switches.
    virtual Buffer* createCopy(unsigned int maxSize) = 0;
    // The number of elements held.
    virtual int size() const = 0;
    // Aborts and wakes both sides; every push, pop and peek fails until flush().
    virtual void notifyAndAbort() = 0;
    // Aborts and wakes a waiting producer.
    virtual void notifySource() = 0;
    // Aborts and wakes a waiting consumer.
    virtual void notifySink() = 0;
    // Clears the abort state, empties the buffer and wakes both sides.
    virtual void flush() = 0;

    int maxSize() const;

    // Store the slot owner and its slot id, then ask the owner to bind the slot to
    // this buffer as an output (source) or input (sink) slot, and answer whether it
    // did. A null wrapper answers false; a refused binding stays stored until the
    // matching disconnect.
    bool connectSource(BufferSlotPtrWrapper source, const std::string& slotId);
    bool connectSink(BufferSlotPtrWrapper sink, const std::string& slotId);
    // Ask the stored owner to unbind its slot and, if it did, forget owner and slot id.
    // False when nothing is stored, so calling them twice is harmless.
    bool disconnectSource();
    bool disconnectSink();

protected:
    // The maximum size as the typed buffers compare with it.
    unsigned int limit() const { return m_maxSize.load(std::memory_order_relaxed); }

    // Guards the contents of the typed buffer and its waiter counts.
    mutable Mutex m_lock;
    // Signalled after a push (wakes a consumer); used only through notify and wait.
    Mutex m_notEmpty;
    // Signalled after a pop (wakes a producer); used only through notify and wait.
    Mutex m_notFull;

private:
    // Written only by Buffer::activatePropertyChange; atomic so that the typed
    // buffers read it on every call without the lock.
    std::atomic<unsigned int> m_maxSize;

    // One end of the wiring: the slot owner and the id of its slot.
    struct Connection {
        std::string slotId;
        BufferSlotPtrWrapper owner;
    };

    bool connectEnd(Connection& end, const BufferSlotPtrWrapper& owner, const std::string& slotId,
                    buffer_slot_type direction);
    static bool disconnectEnd(Connection& end);

    Connection m_source;  // the owner that pushes; a copy starts unconnected
    Connection m_sink;    // the owner that pops
};

// Connects source's sourceSlot and sink's sinkSlot through buffer. False at once for a
// null wrapper or an empty buffer; when either side refuses, both sides of the buffer
// are disconnected and the answer is false.
KORVANE_API bool connect(BufferSlotPtrWrapper source, const std::string& sourceSlot,
                         const BufferRefPtr& buffer, BufferSlotPtrWrapper sink,
                         const std::string& sinkSlot);
// Disconnects both sides of buffer (both are always tried); true only when both were
// connected and let go.
KORVANE_API bool disconnect(BufferRefPtr& buffer);

}  // namespace Korvane
