#include "SinkProcess.h"

#include <korvane/buffers/BufferTemplate.h>
#include <korvane/process/Storage.h>

#include <climits>
#include <filesystem>
#include <system_error>

namespace KorvaneTool {

SinkProcess::SinkProcess(Korvane::StorageRefPtr storage, FilePattern pattern,
                         unsigned long long limit)
    : ProcessInterface("Sink"),
      m_storage(std::move(storage)),
      m_pattern(std::move(pattern)),
      m_limit(limit) {
    setName("Sink");
    setType("Sink");
    addBufferSlot("Input", "Image", Korvane::slot_input, "The frames to save.", false);
    // A limit, also a practically endless one, spares the pause an endless process
    // takes after each iteration.
    const long long iterations =
        limit == 0 || limit > LLONG_MAX ? LLONG_MAX : static_cast<long long>(limit);
    setProperty("MaxIterations", iterations);
}

bool SinkProcess::finished() const {
    return m_saveFailed.load() || (m_limit != 0 && m_frames.load() >= m_limit);
}

std::string SinkProcess::fileName(unsigned long long n) const {
    std::string name;
    m_pattern.format(n, name);
    return name;
}

unsigned long long SinkProcess::bytesWritten() const {
    if (m_storage.isNull() || m_frames.load() == 0) return 0;
    std::error_code error;
    if (!m_pattern.numbered()) {
        const auto size = std::filesystem::file_size(fileName(0), error);
        return error ? 0 : size;
    }
    unsigned long long total = 0;
    for (unsigned long long n = 0; n < m_frames.load(); ++n) {
        const auto size = std::filesystem::file_size(fileName(n), error);
        if (!error) total += size;
    }
    return total;
}

bool SinkProcess::init() {
    m_input = dynamic_cast<Images*>(bufferSlot("Input").rawPtr());
    m_frames.store(0);
    m_saveFailed.store(false);
    m_name.reserve(4096);
    return m_input != nullptr;
}

bool SinkProcess::sequence(unsigned long long) {
    Korvane::ImgRefPtr image;
    if (!m_input->pop(image) || image.isNull()) return false;
    if (m_storage.isValid()) {
        m_pattern.format(m_frames.load(), m_name);
        if (!m_storage->save(image, m_name.c_str())) {
            m_saveFailed.store(true);
            return false;
        }
    }
    m_frames.fetch_add(1);
    return true;
}

bool SinkProcess::cleanup() {
    m_input = nullptr;
    return true;
}

}  // namespace KorvaneTool
