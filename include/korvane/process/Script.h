#pragma once
// Script is a process whose work a plug-in supplies: init, sequence and cleanup of
// ProcessInterface, run on the script's own thread, plus createCopy, through which
// ScriptManager makes scripts from a registered prototype. The manager's handle owns
// each script; the owner stops a script (stopProcess) before releasing it.
//
// What to override, in the order of the binary interface:
//   init      On the script's thread after its buffer slots were bound, once per run.
//             False: the run logs "Init failed of process [name]" and goes to cleanup.
//   sequence  On the script's thread, once per iteration with the iteration number
//             from 0. "MaxIterations" limits the run (-1: no limit, then 1 ms pause
//             after each call). May block in a bound buffer: stopping the script aborts
//             the buffers, so a blocked push or pop fails; return false then. False
//             ends the run.
//   cleanup   On the script's thread at the end of every run, also after a failed init.
//   createCopy  Called by ScriptManager::create on the prototype, on the caller's thread
//             with the manager's lock held: return `new YourScript(*this)`, nothing else.
// A standard exception from init, sequence or cleanup ends the run and is logged.
//
//   class Counter : public Korvane::Script {
//   public:
//       Korvane::Script* createCopy() override { return new Counter(*this); }
//   protected:
//       bool init() override { m_count = 0; return true; }
//       bool sequence(unsigned long long) override { ++m_count; return true; }
//       bool cleanup() override { return true; }
//   private:
//       unsigned long long m_count = 0;  // touched only on the script's thread
//   };

#include <korvane/core/Export.h>
#include <korvane/process/ProcessInterface.h>

namespace Korvane {

class KORVANE_API Script : public ProcessInterface {
public:
    // Component type "Script".
    Script();
    // A copy is a new, idle script with the properties and slots of other and no name.
    Script(const Script& other);
    Script& operator=(const Script&) = delete;
    ~Script() override;

    // A new script of the same concrete type, made from this one.
    virtual Script* createCopy() = 0;
};

}  // namespace Korvane
