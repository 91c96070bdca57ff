#pragma once
// BufferManager is the process-wide manager of buffers. Its constructor registers
// eight prototypes of maximum size 0: "ImageFifo", "ObjectFifo", "EventFifo",
// "StringFifo", "ImageRing", "ObjectRing", "EventRing", "StringRing" (log-item
// buffers are made by their logs directly). create copies a prototype with the
// requested maximum size and enters the copy under a name; creating posts no event.
// The first call of get() must not race with another.
//
// connect wires two buffer slots with a new buffer whose type follows from the slots'
// element type and the discipline. Decision on text slots: slots declare their element
// type exactly as buffers report it ("Image", "Object", "Event", "string"), and connect
// maps "string" to the registered stem "String" before it appends "Fifo" or "Ring".
// Decision on sizes: connect refuses (an empty handle, nothing made) a negative size,
// and for a ring, which allocates every slot up front, a size above 16777216.

#include <korvane/buffers/Buffer.h>
#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/Manager.h>

#include <cstdint>
#include <string>

namespace Korvane {

// The discipline connect asks for: only BufferRing selects a ring, every other value a
// FIFO.
enum BufferType : std::uint32_t {
    BufferFifo = 1,
    BufferRing = 2,
};

namespace Internal {
struct KORVANE_API BufferManagerTraits {};
}  // namespace Internal

class KORVANE_API BufferManager : public Manager<Buffer, Internal::BufferManagerTraits> {
public:
    static BufferManager* get();

    // A new buffer copied from the prototype registered as type, entered under name by
    // the manager's naming rules (with unique set, a taken or empty name gets a key).
    // The final name is written back into name. An unknown type or a refused name
    // empties name and answers an empty handle.
    BufferRefPtr create(const char* type, unsigned int maxSize, std::string& name, bool unique);
    // The same with the prototype given directly; the new buffer's type is the
    // prototype's type.
    BufferRefPtr create(BufferRefPtr prototype, unsigned int maxSize, std::string& name,
                        bool unique);

    // A new, uniquely named buffer of maxSize between source's output slot sourceSlot
    // and sink's input slot sinkSlot. Empty, leaving no buffer and both slots unbound,
    // for a null wrapper, an unknown slot, different element types, or a refused slot.
    BufferRefPtr connect(BufferSlotPtrWrapper source, std::string sourceSlot,
                         BufferSlotPtrWrapper sink, std::string sinkSlot, BufferType bufferType,
                         int maxSize);
    // The same with a FIFO.
    BufferRefPtr connect(BufferSlotPtrWrapper source, std::string sourceSlot,
                         BufferSlotPtrWrapper sink, std::string sinkSlot, int maxSize);
    // Disconnects and releases the buffer named in slotOwner's property slotId; nothing
    // happens when no such buffer exists. The buffer is destroyed with its last handle.
    void disconnect(BufferSlotPtrWrapper slotOwner, std::string slotId);

    // Flushes every live buffer in the order of their names, under the manager's lock.
    void flushAll();

private:
    BufferManager();

    // The caller holds m_lock.
    BufferRefPtr createPrivate(const BufferRefPtr& prototype, const std::string& type,
                               unsigned int maxSize, std::string& name, bool unique);
};

}  // namespace Korvane
