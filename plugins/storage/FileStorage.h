#pragma once
// FileStorage is the common base of the sample storages: failure messages on the
// system log, the sample-type checks, and the frame properties a load updates.
// Decisions: every failed load or save logs one error "<Type>: <what> \"<file>\"..."
// and answers false, leaving no image; a save that fails half-way removes the partial
// file. A load reads frame "FrameId" of the file (0 for single-frame formats) and
// sets "FrameCount"; afterwards "FrameId" names the next frame, or 0 after the last,
// so the next load of this or another file starts at its first frame.

#include <korvane/image/Channel.h>
#include <korvane/image/Image.h>
#include <korvane/process/Storage.h>

#include <string>

namespace KorvaneSample {

// The sample types the storages handle, by quantum id.
enum StoredType : unsigned int {
    storedUint8 = 129,
    storedUint16 = 257,
    storedFloat32 = 514,
};

class FileStorage : public Korvane::Storage {
protected:
    explicit FileStorage(std::string typeName) : m_typeName(std::move(typeName)) {}
    FileStorage(const FileStorage& other) = default;

    // Logs "<Type>: <message>" as an error; answers false.
    bool failed(const std::string& message) const;
    // As failed, adding " \"fileName\"" and, when errno says more, ": " and its text.
    bool failedOn(const std::string& what, const char* fileName, int error = 0) const;
    // Removes the partial file a failed save left, then as failedOn.
    bool saveFailed(const std::string& what, const char* fileName, int error = 0) const;

    // The lower-cased extension of fileName (see Storage::extension).
    static std::string formatOf(const char* fileName);
    // The first channel's quantum id; 0 without channels.
    static unsigned int sampleType(Korvane::Image& image);
    // "8-bit unsigned", "16-bit unsigned", "32-bit float" or a description of another type.
    static std::string sampleTypeText(Korvane::Image& image);
    // 2^bitDepth - 1 of the first channel of an integer image.
    static unsigned int topValue(Korvane::Image& image);

    // "FrameCount" = count and "FrameId" = the frame after `read` (0 after the last).
    void framesRead(unsigned int read, unsigned int count);
    // The frame "FrameId" asks for.
    unsigned int wantedFrame() const;

private:
    std::string m_typeName;
};

}  // namespace KorvaneSample
