#pragma once
// LogWriter is where log items go: the base of every writer, the library's file writer
// and those plug-ins register with the log manager. A log calls write only from its
// own process thread, one item at a time; a writer attached to several logs is called
// from each of their threads and must serialise itself. The log manager and the logs
// share writers through LogWriterRefPtr; createCopy makes a fresh writer of the same
// kind from a registered prototype.

#include <korvane/core/Export.h>
#include <korvane/core/ManageableType.h>
#include <korvane/log/LogItem.h>

namespace Korvane {

class KORVANE_API LogWriter : public ManageableType {
public:
    // The component type is "LogWriter".
    LogWriter();
    ~LogWriter() override;

    // Writes one item.
    virtual void write(const LogItemInterface& item) = 0;
    // A new writer of the same kind with its initial settings; the caller owns it.
    virtual LogWriter* createCopy() = 0;

protected:
    // For writers whose createCopy copies their settings; the copy has no name yet.
    LogWriter(const LogWriter& other);
};

}  // namespace Korvane
