#pragma once
// The end of every pipeline the tool runs: a process with one input slot "Input" that
// pops each frame, saves it through the storage under the file pattern (frame numbers
// count from 0) or drops it when there is no storage, and counts it. With a limit it
// ends its run after that many frames, which the main thread sees as finished().
// The tool owns it by counted handle; frames() and finished() may be read from any
// thread, the rest belongs to the main thread while the process is idle.
// Decisions: a save that fails ends the run (every later frame would fail the same
// way); a save always runs to its end, so a stop never leaves a half-written file.

#include <korvane/buffers/BufferTemplate.h>
#include <korvane/core/Handles.h>
#include <korvane/process/ProcessInterface.h>
#include <korvane/process/Storage.h>

#include <atomic>
#include <string>

#include "LaunchDescription.h"

namespace KorvaneTool {

class SinkProcess : public Korvane::ProcessInterface {
public:
    // storage may be null: count and drop. limit 0 counts without end.
    SinkProcess(Korvane::StorageRefPtr storage, FilePattern pattern, unsigned long long limit);

    unsigned long long frames() const { return m_frames.load(); }
    bool saveFailed() const { return m_saveFailed.load(); }
    // The run has ended by itself: the limit was reached or a save failed.
    bool finished() const;
    // The file a failed save was meant for; read while idle.
    const std::string& failedFile() const { return m_name; }
    // The name of the file frame n went to.
    std::string fileName(unsigned long long n) const;
    // The bytes of the files written by the last run; call while idle.
    unsigned long long bytesWritten() const;

protected:
    bool init() override;
    bool sequence(unsigned long long iteration) override;
    bool cleanup() override;

private:
    using Images = Korvane::BufferTemplate<Korvane::ImgRefPtr>;

    Korvane::StorageRefPtr m_storage;  // null for the null sink
    FilePattern m_pattern;
    unsigned long long m_limit;
    Images* m_input = nullptr;  // the bound buffer, while running
    std::string m_name;         // reused for every file name
    std::atomic<unsigned long long> m_frames{0};
    std::atomic<bool> m_saveFailed{false};
};

}  // namespace KorvaneTool
