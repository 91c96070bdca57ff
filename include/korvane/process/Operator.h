#pragma once
// Operator is the base of every image-processing step a plug-in supplies: a filter, a
// conversion, a measurement. An operator owns no thread: an OperatorProcess runs a list
// of operators, one after another, on its own thread. It reaches its data through the
// buffer slots it declares (BufferSlotInterface) and publishes its settings as
// properties. Operators are made by OperatorManager::create, which calls createCopy on
// the prototype a plug-in registered; the manager's handle owns the copy.
//
// What to override, in the order of the binary interface:
//   createCopy  Called by OperatorManager::create on the registered prototype, on the
//               caller's thread, while the manager's lock is held: return
//               `new YourOperator(*this)` and nothing more. Must not use
//               OperatorManager (nor block). A null result makes create fail.
//   init        Called once per run of the operator process, on its thread, after the
//               operator's buffer slots were bound (bufferSlot(id) now answers the
//               buffers). Fetch the bound buffers and prepare what execute needs.
//               Return false when the operator cannot run: the process logs
//               "OperatorProcess: Could not initialize operator [name]", runs no
//               iteration and calls cleanup of every operator.
//   execute     Called once per iteration on the process thread, after the operators
//               of lower levels and those added before it on its level. Processes one
//               item: typically pops from an input slot's buffer, works, and pushes to
//               an output slot's buffer. It may block in push or pop: stopping the
//               process aborts the bound buffers, the blocked call then fails, and
//               execute should return false at once. Return false when this step
//               failed: the process logs it (unless it is stopping), still runs the
//               other operators of this iteration, and then ends its loop.
//   cleanup     Called once at the end of every run on the process thread, also after
//               a failed init, even when this operator's own init was not called
//               because an earlier one failed: it must cope with a half-made init.
//               Release what init and execute acquired; the slots are unbound after it
//               returns. False is logged as "OperatorProcess: Could not cleanup
//               operator [name]".
//   help        One line that says what the operator does, for hosts and tools. The
//               core never calls it; any thread may.
// Exceptions: an exception thrown from init, execute or cleanup is logged with the
// operator's name ("An exception occurred in operator [name] :" and its message); the
// process then cleans up every operator once and ends the run. Do not use it for control.
// init, execute and cleanup must not stop their own process (stopProcess waits for the
// very thread that calls it) nor change its operator lists.
//
// A minimal operator that passes images through unchanged (it includes
// <korvane/buffers/BufferTemplate.h> and <korvane/image/Image.h> beside this header):
//
//   class PassThrough : public Korvane::Operator {
//   public:
//       PassThrough() {
//           addBufferSlot("In", "Image", Korvane::slot_input, "Images to pass on.", false);
//           addBufferSlot("Out", "Image", Korvane::slot_output, "The same images.", false);
//       }
//       Korvane::Operator* createCopy() override { return new PassThrough(*this); }
//       bool init() override {
//           m_in = bufferSlot("In");
//           m_out = bufferSlot("Out");
//           return m_in.isValid() && m_out.isValid();
//       }
//       bool execute() override {
//           Korvane::ImgRefPtr image;
//           return images(m_in).pop(image) && images(m_out).push(image);
//       }
//       bool cleanup() override {
//           m_in = m_out = Korvane::BufferRefPtr();
//           return true;
//       }
//       std::string help() const override { return "Passes each image on unchanged."; }
//
//   private:
//       using Images = Korvane::BufferTemplate<Korvane::ImgRefPtr>;
//       static Images& images(const Korvane::BufferRefPtr& b) { return static_cast<Images&>(*b); }
//       Korvane::BufferRefPtr m_in, m_out;  // bound while the process runs
//   };
//
//   Korvane::OperatorManager::get()->registerType(
//       "PassThrough", Korvane::OperatorRefPtr(new PassThrough, nullptr));
//
// A slot of element type "Image" only binds an image buffer, so the cast is safe once
// init found the buffer.

#include <korvane/core/Export.h>
#include <korvane/process/BufferSlotInterface.h>

#include <string>

namespace Korvane {

class OperatorProcess;

class KORVANE_API Operator : public BufferSlotInterface {
public:
    // Component type "Operator".
    Operator();
    // A copy takes the properties and slots of other (no bound buffer) and no name.
    Operator(const Operator& other);
    Operator& operator=(const Operator&) = delete;
    ~Operator() override;

    // Slots 2 to 4 are inherited: activatePropertyChange (true), notifyAndAbortAllBuffers,
    // flushAllBuffers. An operator overrides the last two only if it holds buffers of its
    // own beside its slots; an override calls the base.

    // A new operator of the same concrete type, made from this one (see above).
    virtual Operator* createCopy() = 0;
    // Prepares a run; its slots are bound. False: the operator cannot run.
    virtual bool init() = 0;
    // Processes one item through the slots. False: this step failed.
    virtual bool execute() = 0;
    // Releases what init and execute acquired. False is logged; the run ends anyway.
    virtual bool cleanup() = 0;
    // One line that says what the operator does.
    virtual std::string help() const = 0;

private:
    // The process binds and releases the operator's slots around each run, aborts and
    // flushes its buffers, and copies its slot map.
    friend class OperatorProcess;
};

}  // namespace Korvane
