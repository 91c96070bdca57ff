#include <korvane/process/ProcessInterface.h>

#include <korvane/log/LogFunctions.h>
#include <korvane/platform/Thread.h>

#include <new>

#include "process/ProcessThread.h"

namespace Korvane {

namespace {

constexpr char maxIterationsProperty[] = "MaxIterations";
// The category "Process".
constexpr int processCategory = 6;

// A stop request is repeated this many times, stopInterval milliseconds apart, before
// the thread is destroyed: about ten seconds for a sequence to notice it.
constexpr int stopAttempts = 1000;
constexpr unsigned long long stopInterval = 10;

using Status = ProcessInterface::Status;
using StatusDetail = ProcessInterface::StatusDetail;

Status statusOf(StatusDetail detail) {
    return static_cast<Status>(detail & 0xF0u);
}

// Whether a process whose detail is from may move to to. A process moves forward
// through its life cycle only, except that any status may return to Idle once the
// thread stopped and a starting process may jump anywhere.
bool allowed(StatusDetail from, StatusDetail to) {
    const Status current = statusOf(from);
    const Status next = statusOf(to);
    if (current == ProcessInterface::Idle) return next == ProcessInterface::Starting;
    if (current == ProcessInterface::Starting) return true;
    if (current == ProcessInterface::Running) {
        return next == ProcessInterface::Running || next == ProcessInterface::Stopping;
    }
    return to > from || next == ProcessInterface::Idle;
}

std::unique_ptr<Internal::ProcessThread> createThread(ProcessInterface* process) {
    try {
        return std::make_unique<Internal::ProcessThread>(process);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace

ProcessInterface::ProcessInterface(const std::string& componentType)
    : BufferSlotInterface(componentType) {
    addProperty(maxIterationsProperty, -1LL, int64_property, read_write_access, processCategory,
                "The number of iterations this process should run (-1 denotes infinite).");
}

ProcessInterface::ProcessInterface(const ProcessInterface& other) : BufferSlotInterface(other) {}

ProcessInterface::~ProcessInterface() = default;

void ProcessInterface::startProcess() {
    MutexLock control(&m_control);
    MutexLock lock(&m_lock);
    if (m_thread) {
        if (m_thread->isRunning()) return;
        // The run ended by itself and nobody stopped it: the old thread is replaced.
        m_statusDetail = IdleStartFailed;
        m_thread->join();
        m_thread.reset();
    }
    m_statusDetail = StartingThread;
    m_iteration = 0;
    startThreadPrivate();
}

void ProcessInterface::startThreadPrivate() {
    m_thread = createThread(this);
    if (m_thread) {
        m_maxIterations = -1;
        getPropertyForce(maxIterationsProperty, &m_maxIterations);
        m_thread->start();
        // The body waits for this lock before it does anything, so a thread that is
        // not running now is one the system refused to create.
        if (m_thread->isRunning()) return;
        m_thread.reset();
    }
    m_statusDetail = IdleStartFailed;
    korvLogCritical("ProcessInterface: Could not start thread. Type: " + type() +
                    " Name: " + name());
}

void ProcessInterface::stopProcess() {
    MutexLock control(&m_control);
    Internal::ProcessThread* thread = nullptr;
    {
        MutexLock lock(&m_lock);
        if (statusOf(m_statusDetail) == Idle) return;
        thread = m_thread.get();
    }
    bool destroyed = false;
    if (thread) {
        if (statusDetail() != StoppingDone) destroyed = !requestStop(*thread);
        // Not under the lock: the body takes it for its last status changes.
        thread->join();
        MutexLock lock(&m_lock);
        m_thread.reset();
    }
    if (destroyed) releaseBufferSlots();
    MutexLock lock(&m_lock);
    const Status now = statusOf(m_statusDetail);
    if (now == Starting || now == Stopping || destroyed) m_statusDetail = IdleStopped;
}

ProcessInterface::Status ProcessInterface::status() const {
    MutexLock lock(&m_lock);
    return statusOf(m_statusDetail);
}

ProcessInterface::StatusDetail ProcessInterface::statusDetail() const {
    MutexLock lock(&m_lock);
    return m_statusDetail;
}

bool ProcessInterface::isRunning() const {
    return status() == Running;
}

bool ProcessInterface::isStopping() const {
    MutexLock lock(&m_lock);
    return statusOf(m_statusDetail) == Stopping || m_statusDetail == RunningStopRequested;
}

long long ProcessInterface::iteration() const {
    return m_iteration.load();
}

void ProcessInterface::sleep(unsigned long long ms) {
    {
        MutexLock lock(&m_lock);
        if (!m_thread) return;
    }
    Thread::sleep(ms);
}

void ProcessInterface::setStatus(StatusDetail d) {
    MutexLock lock(&m_lock);
    if (allowed(m_statusDetail, d)) m_statusDetail = d;
}

bool ProcessInterface::requestStop(Internal::ProcessThread& thread) {
    setStatus(RunningStopRequested);
    for (int attempt = 1; attempt < stopAttempts; ++attempt) {
        thread.requestStop();
        notifyAndAbortAllBuffers();
        Thread::sleep(stopInterval);
        if (statusDetail() != RunningStopRequested || !thread.isRunning()) return true;
    }
    thread.requestStop();
    notifyAndAbortAllBuffers();
    korvLogDebug("A thread that could not be stopped is destroyed: " + name());
    thread.destroy();
    return false;
}

}  // namespace Korvane
