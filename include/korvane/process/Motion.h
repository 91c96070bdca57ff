#pragma once
// Motion drives a motion controller (a stage, an axis, a robot) that a plug-in
// supports. It is a process: while it runs, its thread takes the commands that
// applications send from a private "ObjectFifo" of 32 ("MotionCommandBuffer", made
// unique) and hands one command per 250 ms pass to the plug-in. Commands and statuses
// are Objects; applications ask commandList() what a controller understands, fill in a
// createCommand() copy and sendCommand() it, and read progress with queryStatus().
//
// Threads: sendCommand, createCommand, commandList and queryStatus may be called from
// any thread; init, sequence and cleanup (and so the four plug-in operations) run on
// the process thread only. Neither side ever blocks on the command fifo: a full fifo
// drops the command. The status handle is replaced, never modified in place, so a
// reader always holds a complete status object.
//
// Decisions: a new Motion (and a copy) starts with an empty CmdStatus as its status,
// so queryStatus never answers a null handle. Commands are kept as Objects; the
// built-in "QueryStatus" stays a CmdStatus in every copy. A copy takes the supported
// commands and the properties, but neither the status nor a command fifo.
//
// Writing a controller: derive from Motion, declare the commands in the constructor
// with addSupportedCommand, and implement the four operations below.
//
//   class StageMotion : public Korvane::Motion {
//   public:
//       StageMotion() {
//           Korvane::Object move;
//           move.addProperty("CommandName", std::string("MoveTo"), Korvane::string_property,
//                            Korvane::read_access);
//           move.addProperty("Position", 0.0, Korvane::double_property,
//                            Korvane::read_write_access);
//           addSupportedCommand("MoveTo", move);
//       }
//       Korvane::Motion* createCopy() override { return new StageMotion(*this); }
//
//   protected:
//       bool openController() override { return m_port.open(); }
//       bool executeCommand(Korvane::ObjectRefPtr command) override {
//           std::string name;
//           command->getProperty("CommandName", &name);
//           if (name == "QueryStatus") {  // replaces the "pending" that sendCommand set
//               updateStatus(m_port.isMoving() ? "moving" : "ready", "");
//               return true;
//           }
//           double position = 0;
//           if (!command->getProperty("Position", &position)) return false;
//           updateStatus("moving", "");
//           bool reached = m_port.moveTo(position);  // may block: this is the process thread
//           updateStatus(reached ? "ready" : "error", reached ? "" : "position not reached");
//           return reached;
//       }
//       void closeController() override { m_port.close(); }
//
//   private:
//       StagePort m_port;
//   };

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/Object.h>
#include <korvane/process/ProcessInterface.h>

#include <memory>
#include <string>
#include <vector>

namespace Korvane {

class KORVANE_API Motion : public ProcessInterface {
public:
    // Component type "Motion"; supports "QueryStatus" with a CmdStatus as prototype.
    Motion();
    // A new, idle controller with the same properties, slots and supported commands.
    Motion(const Motion& other);
    Motion& operator=(const Motion&) = delete;
    // The owner stops the process first (see ProcessInterface).
    ~Motion() override;

    // The names of the supported commands, in name order.
    std::vector<std::string> commandList() const;
    // A new copy of the prototype registered under name; null for an unknown name.
    ObjectRefPtr createCommand(const std::string& name) const;
    // While the process runs: replaces the status by "Status" "pending" and "Message"
    // "command queued", then queues command without waiting (a full fifo drops it).
    // While it is stopped, nothing happens. A null command is ignored.
    void sendCommand(const ObjectRefPtr& command);
    // The current status object, shared and not copied; never modify it.
    ObjectRefPtr queryStatus() const;

    // ---- for the plug-in ------------------------------------------------------------
    // The manager makes instances through this: answer a new object of your class,
    // normally `new MyMotion(*this)`. Called on the caller's thread, under the
    // MotionManager's lock: do not call the manager from here. Answer null if no copy
    // can be made; never throw.
    virtual Motion* createCopy() = 0;

protected:
    // Stores a copy of prototype under name; an entry already under that name stays.
    // Call it from the constructor (copies take the commands with them).
    void addSupportedCommand(const std::string& name, const Object& prototype);

    // Publish a new status: a new CmdStatus with these texts, or the given object,
    // becomes the current status. Any thread; the object must not be modified after.
    void updateStatus(const std::string& status, const std::string& message);
    void updateStatus(const ObjectRefPtr& status);

    // Called on the process thread at the end of each start, after the command fifo was
    // made. Open the connection to the hardware; may block as long as that takes.
    // Answer false if the controller cannot be used: the run then ends ("Init failed of
    // process [name]" is logged) and closeController is still called.
    virtual bool openController() = 0;
    // Called on the process thread for each command taken from the fifo, one per pass;
    // the next pass starts 250 ms after this returns. The command is the object the
    // application sent, normally a createCommand copy (check its "CommandName"). It
    // may block until the motion ends, which delays the following commands and a stop
    // (a thread that has not ended 10 s after stopProcess is destroyed). Report progress with
    // updateStatus. Answer false if the command was rejected or failed: the core logs
    // "Motion controlled failed to execute command." and goes on with the next one.
    // An exception ends the run without closeController: catch your own.
    virtual bool executeCommand(ObjectRefPtr command) = 0;
    // Called on the process thread at the end of every run (also after a failed
    // openController). Commands still queued are dropped. Close the connection; do not
    // start, stop or destroy this Motion from here.
    virtual void closeController() = 0;

private:
    struct Private;

    // On the process thread: make the fifo, then openController.
    bool init() override;
    // One command, if any, then a pause of 250 ms.
    bool sequence(unsigned long long iteration) override;
    // Drop the fifo, then closeController.
    bool cleanup() override;

    // The next queued command without waiting; null when there is none.
    ObjectRefPtr popCommand();

    std::unique_ptr<Private> d;
};

}  // namespace Korvane
