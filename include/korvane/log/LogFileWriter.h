#pragma once
// LogFileWriter appends each item as one flushed text line to the file named by
// "FileName" and keeps the file at most "MaxLines" long by rotating it in place to its
// newest MaxLines / 8 lines. The file opens at activation (endPropertyChange) and stays
// open for appending; write and activation may run on different threads and both hold
// the writer's mutex, which also serialises logs sharing one writer.
// Decisions: rotation copies the kept lines into "__temp__<name>" beside the file and
// renames that over the file, so the full file stays in place until the new one is
// complete; when the temporary file cannot be written or renamed (a directory holds the
// name, say), the kept lines are read into memory and the file is rewritten in place.
// "Append" ends an existing file's unfinished last line before writing. An activation
// with an empty "FileName" closes the file, and the writer falls silent.
// A file that cannot be opened at activation leaves the writer silent. Once open, the
// file is checked before each line: a file removed meanwhile (with its directory, say)
// is opened again under its name, and a line that cannot be written, or a file that
// cannot be opened again, is reported once on standard output, not for every line,
// until a line is written again. A rotation in a directory that became read-only
// rewrites the file in place and loses no kept line.

#include <korvane/core/Export.h>
#include <korvane/log/LogWriter.h>
#include <korvane/platform/Mutex.h>

#include <fstream>
#include <string>

namespace Korvane {

class KORVANE_API LogFileWriter : public LogWriter {
public:
    // Declares "FileName" (empty), "MaxLines" (-1: no limit) and "OpenMode" ("Append");
    // the file stays closed until the first activation.
    LogFileWriter();
    LogFileWriter(const LogFileWriter&) = delete;
    LogFileWriter& operator=(const LogFileWriter&) = delete;
    ~LogFileWriter() override;

    // Prints the item under the mutex (so the item's print runs under it too) and
    // rotates the file when it holds more than the maximum. Never throws: a standard
    // exception is reported on standard output.
    void write(const LogItemInterface& item) override;
    // A new writer with the initial settings; nothing is copied.
    LogWriter* createCopy() override;

protected:
    // Reopens the file by "FileName" and "OpenMode" and takes "MaxLines".
    bool activatePropertyChange() override;

private:
    void writePrivate(const LogItemInterface& item);
    void openPrivate(const std::string& mode, bool wasOpen);
    void rotatePrivate();
    bool fileStillThere() const;
    void reopenPrivate();

    Mutex m_mutex;  // guards all the fields below
    std::ofstream m_file;
    std::string m_fileName;  // the name m_file was opened with
    int m_maxLines = -1;     // 0 or less: no limit
    int m_lineCount = 0;     // lines in the file, as far as this writer knows
    bool m_lost = false;     // the open file was lost; each write tries to open it again
    bool m_failing = false;  // a failure was reported and no line written since
};

}  // namespace Korvane
