#pragma once
// ImagePool recycles frames of one shape: acquire hands out a frame that nobody else
// holds any more (its count has dropped back to the pool's own handle) and makes a new
// one only while fewer than `capacity` exist, so a source that takes a frame per
// acquisition stops allocating once the pool holds as many frames as are in flight.
// The pool keeps one handle to each frame; a frame outlives the pool while others hold
// it. Any thread may call acquire; the pool's lock guards its list.
//
// Decisions: frames are anonymous images from the ImageManager. A recycled frame comes
// back as its last user left it: samples, channels and properties are not reset.
// When every frame is in use, acquire answers an empty handle at once: the caller
// decides whether to drop the frame (as a camera does) or to try again later.
//
// Example, a source filling frames for a FIFO:
//     ImagePool pool(129, 640, 480, 128);  // 8-bit, one channel
//     ImgRefPtr frame = pool.acquire();
//     if (frame.isValid()) {
//         fill(frame->rawBuffer());
//         fifo->push(frame);  // back in the pool once the last consumer lets go
//     }

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/platform/Mutex.h>

#include <vector>

namespace Korvane {

class KORVANE_API ImagePool {
public:
    // Frames of `channels` channels of quantumId, width x height each; at most
    // `capacity` of them. Nothing is allocated before the first acquire.
    ImagePool(unsigned int quantumId, unsigned int width, unsigned int height,
              unsigned int capacity, unsigned int channels = 1);
    ImagePool(const ImagePool&) = delete;
    ImagePool& operator=(const ImagePool&) = delete;
    // Lets go of the pool's handles; frames still held elsewhere live on.
    ~ImagePool();

    // A frame that only the pool holds, else a new frame while fewer than capacity
    // exist; an empty handle when all are in use or a frame cannot be made.
    ImgRefPtr acquire();

    unsigned int capacity() const { return m_capacity; }
    // The frames made so far (in use or free).
    unsigned int frameCount() const;

private:
    // The next free frame from m_next on, or null; the caller holds m_lock.
    const ImgRefPtr* findFreePrivate();

    const unsigned int m_quantumId;
    const unsigned int m_width;
    const unsigned int m_height;
    const unsigned int m_capacity;
    const unsigned int m_channels;

    mutable Mutex m_lock;             // guards m_frames and m_next
    std::vector<ImgRefPtr> m_frames;  // one handle to each frame made
    // Where the search for a free frame starts: frames usually come back in the
    // order they went out, so the one after the last handed out is the likely one.
    std::size_t m_next = 0;
};

}  // namespace Korvane
