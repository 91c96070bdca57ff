#pragma once
// OperatorProcess is the process that runs operators. It holds them in numbered levels;
// every iteration of its thread executes each operator once, level 0 first, and within
// a level in the order of adding. The process shares the operators' handles; an
// operator added twice runs twice per iteration. Processes are made, named and kept by
// OperatorManager::createProcess.
//
// Threads: setMaxLevel, addOperator and clear belong to the configuring thread while
// the process is stopped: the lists are not locked, since the process thread reads
// them on every iteration. init, sequence and cleanup run on the process thread;
// notifyAndAbortAllBuffers is also called by the thread that stops the process.
// While running, the slot map holds a copy of every operator's slots under the
// operator's name followed by the slot id; it is empty before and after a run.
//
// Decisions: an exception from an operator's init or cleanup is treated like one from
// its execute (logged with the operator's name, every operator cleaned up once, then
// passed on to the process thread), so that no operator stays bound after any
// exception; exceptions that are not standard ones are logged with an empty message.

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/process/Operator.h>
#include <korvane/process/ProcessInterface.h>

#include <vector>

namespace Korvane {

class KORVANE_API OperatorProcess : public ProcessInterface {
public:
    using Level = std::vector<OperatorRefPtr>;

    // Component type "OperatorProcess"; levels 0 and 1 exist.
    OperatorProcess();
    OperatorProcess(const OperatorProcess&) = delete;
    OperatorProcess& operator=(const OperatorProcess&) = delete;
    ~OperatorProcess() override;

    // Lets addOperator use levels 0 to n without growing, appending empty levels as
    // needed. Levels are never removed: a smaller n only lowers the limit.
    void setMaxLevel(int n);
    // Appends op at the end of level (growing the levels when level is beyond the limit).
    // A negative level is refused.
    void addOperator(OperatorRefPtr& op, int level);
    // Removes every level and operator; levels 0 and 1 exist again.
    void clear();

    // The number of levels addOperator may use without growing.
    int levelCount() const;
    // A copy of all levels as they exist, level 0 first.
    std::vector<Level> levels() const;

protected:
    // Wakes every operator's bound buffers (also from the stopping thread).
    void notifyAndAbortAllBuffers() override;
    // Flushes every operator's bound buffers.
    void flushAllBuffers() override;
    // Binds every operator's slots, copies them into the slot map and calls the
    // operators' init. False at the first failure, or when there is no operator.
    bool init() override;
    // Executes every operator once unless the process is stopping. False when one
    // failed; the others still ran.
    bool sequence(unsigned long long iteration) override;
    // Cleans up and unbinds every operator, empties the slot map. False when one
    // operator's cleanup failed.
    bool cleanup() override;

private:
    // The manager names the processes it makes.
    friend class OperatorManager;

    // Calls visit(op) for every non-null operator, levels in order, while visit
    // answers true.
    template <class Visit>
    void forEachOperator(Visit visit) const;
    // Copies op's slots into the slot map under op's name + slot id; a key that exists
    // stays.
    void copySlotsOf(Operator& op);

    std::vector<Level> m_levels;  // not locked: changed only while the process is stopped
    int m_levelCount = 0;
};

}  // namespace Korvane
