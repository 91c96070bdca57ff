#pragma once
// A Display shows images in a window of a fixed client size. It is a process
// (ProcessInterface): a plug-in supplies init, sequence and cleanup, which run on the
// display's own thread between startProcess and stopProcess, usually popping images
// from an input slot and passing them to showImage. The plug-in registers one
// prototype with the DisplayManager, which makes displays of a requested size with
// clone(width, height); topologies start and stop them. "Width" and "Height" are fixed
// at construction; "Caption" may be written at any time (read it in sequence or in
// activatePropertyChange).
//
// Threads: clone runs under the display manager's lock on the host's thread; show,
// hide, isVisible and setLut on the host's thread; showImage on the display's own thread
// (from sequence) or the host's. A display that owns a window system thread hands the
// calls over to it; none of them may wait for the process thread, which stopProcess may
// be ending. A sequence blocked in pop is woken by stopProcess (the buffer is aborted).
//
// A minimal display that counts the images it is given (with
// <korvane/buffers/BufferTemplate.h> and <atomic>):
//
//     class CountingDisplay : public Korvane::Display {
//     public:
//         CountingDisplay(unsigned int w, unsigned int h) : Display(w, h) {
//             addBufferSlot("Input", "Image", Korvane::slot_input, "Images.", false);
//         }
//         Korvane::Display* clone(unsigned int w, unsigned int h) const override {
//             return new CountingDisplay(w, h);
//         }
//         bool show() override { m_visible = true; return true; }
//         bool hide() override { m_visible = false; return true; }
//         bool isVisible() const override { return m_visible; }
//         bool showImage(const Korvane::ImgRefPtr& image) override {
//             if (image.isValid()) ++m_shown;
//             return image.isValid();
//         }
//         bool setLut(const Korvane::LutRefPtr&) override { return true; }
//     protected:
//         bool init() override { return true; }
//         bool sequence(unsigned long long) override {
//             const Korvane::BufferRefPtr buffer = bufferSlot("Input");
//             auto* in =
//                 dynamic_cast<Korvane::BufferTemplate<Korvane::ImgRefPtr>*>(buffer.rawPtr());
//             Korvane::ImgRefPtr image;
//             if (!in || !in->pop(image)) return false;  // aborted: the display stops
//             return showImage(image);
//         }
//         bool cleanup() override { return true; }
//     private:
//         std::atomic<bool> m_visible{false};
//         std::atomic<unsigned long long> m_shown{0};
//     };

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/image/Image.h>
#include <korvane/image/Lut.h>
#include <korvane/process/ProcessInterface.h>

#include <string>

namespace Korvane {

class KORVANE_API Display : public ProcessInterface {
public:
    // Declares "Width" and "Height" (unsigned 32-bit, read-only) and "Caption" (text,
    // read-write, empty), in this order; the component type is "Display".
    Display(unsigned int width, unsigned int height);
    // A new, idle display with the same properties and slots.
    Display(const Display& other) = default;
    ~Display() override;

    // The properties, read under the property lock.
    unsigned int width() const;
    unsigned int height() const;
    std::string caption() const;

    // A new heap display of the same concrete class and the given size, idle and
    // hidden. Called by DisplayManager::create; the manager owns and names the copy.
    virtual Display* clone(unsigned int width, unsigned int height) const = 0;
    // Open and close the window; false when the window cannot be shown or hidden.
    virtual bool show() = 0;
    virtual bool hide() = 0;
    virtual bool isVisible() const = 0;
    // Puts image in the window, scaled to the client size; false for an empty image or
    // one the display cannot show. Must not keep the caller waiting for a repaint.
    virtual bool showImage(const ImgRefPtr& image) = 0;
    // The table through which monochrome images are coloured from now on; an empty
    // handle restores the display's default. False when the display uses no tables.
    virtual bool setLut(const LutRefPtr& lut) = 0;
};

}  // namespace Korvane
