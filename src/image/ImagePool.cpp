#include <korvane/image/ImageManager.h>
#include <korvane/image/ImagePool.h>

namespace Korvane {

ImagePool::ImagePool(unsigned int quantumId, unsigned int width, unsigned int height,
                     unsigned int capacity, unsigned int channels)
    : m_quantumId(quantumId),
      m_width(width),
      m_height(height),
      m_capacity(capacity),
      m_channels(channels) {}

ImagePool::~ImagePool() = default;

ImgRefPtr ImagePool::acquire() {
    MutexLock lock(&m_lock);
    if (const ImgRefPtr* frame = findFreePrivate()) return *frame;
    if (m_frames.size() >= m_capacity) return ImgRefPtr();
    ImgRefPtr frame =
        ImageManager::get()->createAnonymous(m_quantumId, m_width, m_height, m_channels);
    if (frame.isValid()) m_frames.push_back(frame);
    return frame;
}

unsigned int ImagePool::frameCount() const {
    MutexLock lock(&m_lock);
    return static_cast<unsigned int>(m_frames.size());
}

// A count of one is the pool's own handle. Only a holder can make a new handle, so a
// frame found free stays free until it is handed out here; the release that brought
// the count down is ordered before the read, and with it the last user's work.
const ImgRefPtr* ImagePool::findFreePrivate() {
    const std::size_t count = m_frames.size();
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t index = (m_next + i) % count;
        if (m_frames[index].referenceCount() == 1) {
            m_next = (index + 1) % count;
            return &m_frames[index];
        }
    }
    return nullptr;
}

}  // namespace Korvane
