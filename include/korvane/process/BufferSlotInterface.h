#pragma once
// BufferSlotInterface holds the buffer slots of an object: named, typed connection
// points through which a buffer feeds the object (slot_input) or the object feeds a
// buffer (slot_output). Each slot is also a read-only text property, named by the slot
// id, whose value is the name of the buffer to bind; the wiring code (Buffer and
// BufferManager) writes it, and initBufferSlots binds the named buffers when the owner
// starts. While bound, the slot's counted handle keeps its buffer alive.
//
// Every operation holds m_lock, so binding slots is serialised with a starting thread.
// Decisions: Buffer is a friend, because connecting a buffer binds and unbinds the
// protected slots of its source and sink. A copy takes the slots, their properties and
// buffer names, but no bound buffer: binding belongs to a running owner.

#include <korvane/buffers/Buffer.h>
#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/ManageableType.h>
#include <korvane/platform/Mutex.h>

#include <map>
#include <string>
#include <vector>

namespace Korvane {

// The direction of a slot, seen from its owner.
enum buffer_slot_type : unsigned int {
    slot_input = 0,   // a buffer feeds the slot: the owner pops
    slot_output = 1,  // the slot feeds a buffer: the owner pushes
};

namespace Internal {

// One slot. A buffer binds only when its "ElementType" equals elementType and the
// binding asks for the same direction.
struct KORVANE_API BufferSlot {
    std::string elementType;
    BufferRefPtr buffer;  // bound while the owner runs; null otherwise
    buffer_slot_type slotType = slot_input;
    bool optional = false;  // true: the slot may stay empty when the owner starts
    std::string description;
    std::string bufferName;  // the buffer last bound by setBufferSlot; empty after unset
};

}  // namespace Internal

class KORVANE_API BufferSlotInterface : public ManageableType {
public:
    BufferSlotInterface(const BufferSlotInterface& other);
    BufferSlotInterface& operator=(const BufferSlotInterface&) = delete;
    ~BufferSlotInterface() override;

    bool activatePropertyChange() override;

    // All slot ids in id order.
    std::vector<std::string> bufferSlotIds() const;
    // Copies each field whose pointer is not null; false for an unknown id.
    bool bufferSlotInfo(const std::string& id, std::string* elementType, buffer_slot_type* slotType,
                        std::string* description, bool* optional) const;

protected:
    // componentType is the owner's kind ("Operator", "OperatorProcess", ...).
    explicit BufferSlotInterface(const std::string& componentType);

    // Calls notifyAndAbort on every bound buffer, waking every thread blocked in one.
    virtual void notifyAndAbortAllBuffers();
    // Calls flush on every bound buffer: queued items are discarded, aborts cleared.
    virtual void flushAllBuffers();

    // Declares the slot's property (string, read-only, category "Fifo", empty, with
    // description) and, only if that succeeded, the slot; an existing slot record stays.
    // Answers whether the property was added.
    bool addBufferSlot(const std::string& id, const std::string& elementType,
                       buffer_slot_type slotType, const std::string& description, bool optional);
    // Records buffer's name as the slot's buffer (bufferName and the property). False
    // for a null buffer, an unknown id, another element type or another direction.
    bool setBufferSlot(const std::string& id, Buffer* buffer, buffer_slot_type slotType);
    // Forgets the slot's buffer name; true also for an unknown id.
    bool unsetBufferSlot(const std::string& id);
    // The bound buffer; null for an unknown id or an unbound slot.
    BufferRefPtr bufferSlot(const std::string& id) const;

    // The slot map itself; the caller holds m_lock while it uses it.
    std::map<std::string, Internal::BufferSlot>& bufferSlotMap();
    const std::map<std::string, Internal::BufferSlot>& bufferSlotMap() const;

    // Binds every slot to the BufferManager instance named by its property and
    // flushes each buffer found (which also clears an abort left by an earlier stop).
    // False if a property is unreadable or a required slot found no buffer; every slot
    // is visited even after a failure.
    bool initBufferSlots();
    // Unbinds every slot; true.
    bool releaseBufferSlots();

    // Guards the slot map; ProcessInterface also guards its status and thread with it.
    mutable Mutex m_lock;

private:
    friend class Buffer;

    std::map<std::string, Internal::BufferSlot> m_slots;  // by slot id
};

}  // namespace Korvane
