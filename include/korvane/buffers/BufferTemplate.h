#pragma once
// BufferTemplate<T> is the typed face of a buffer: push, pop and peek of one element
// type. It exists for exactly five element types, instantiated inside the library so
// that the core, hosts and plug-ins share one copy. Event* and LogItemInterface* are
// borrowed: flushing, overwriting or destroying a buffer drops such pointers without
// deleting them. std::string, ImgRefPtr and ObjectRefPtr are values: the buffer holds
// copies (a held handle keeps its object alive) and releases them when they leave.

#include <korvane/buffers/Buffer.h>
#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>

#include <string>

namespace Korvane {

class Event;
class LogItemInterface;

namespace Internal {
struct BufferSwitches;
}

template <class T>
class KORVANE_API BufferTemplate : public Buffer {
public:
    // Sets the read-only "ElementType" to the name of T: "Event", "" (log items),
    // "string", "Image" or "Object".
    explicit BufferTemplate(unsigned int maxSize);
    BufferTemplate(const BufferTemplate& other);
    ~BufferTemplate() override;

    // All three answer false at once while the buffer is aborted.
    virtual bool push(const T& item) = 0;
    virtual bool pop(T& item) = 0;
    // Copies the front element without removing it.
    virtual bool peek(T& item) = 0;

protected:
    // Declares "PushBlock" (initially pushBlock), "PopBlock" and "ThreadingPolicy",
    // the switches of both disciplines.
    void declareSwitches(unsigned int pushBlock);
    // Reads the three switch properties into switches; an index outside a switch's
    // item list leaves that switch as it was.
    void readSwitches(Internal::BufferSwitches& switches) const;
};

extern template class KORVANE_API BufferTemplate<Event*>;
extern template class KORVANE_API BufferTemplate<LogItemInterface*>;
extern template class KORVANE_API BufferTemplate<std::string>;
extern template class KORVANE_API BufferTemplate<ImgRefPtr>;
extern template class KORVANE_API BufferTemplate<ObjectRefPtr>;

}  // namespace Korvane
