#include <cxxabi.h>
#include <korvane/log/LogFunctions.h>
#include <korvane/log/LogString.h>
#include <korvane/process/OperatorProcess.h>

#include <exception>
#include <map>
#include <string>

namespace Korvane {

namespace {

// Runs call (one of op's own operations) and answers its result in ok. An exception is
// logged with the operator's name and handed back, to be thrown on after the process
// cleaned up; non-standard exceptions are treated alike, with an empty message. The
// unwinding of a destroyed thread (abi::__forced_unwind) passes untouched; its handler
// binds a reference to no object, hence no null check here (see ProcessThread).
template <class Call>
__attribute__((noinline, no_sanitize("null"))) std::exception_ptr callOperator(Operator& op,
                                                                               Call call,
                                                                               bool& ok) {
    std::string message;
    std::exception_ptr thrown;
    try {
        ok = call();
        return nullptr;
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const std::exception& e) {
        message = e.what();
        thrown = std::current_exception();
    } catch (...) {
        thrown = std::current_exception();
    }
    korvLogError("An exception occurred in operator [" + op.name() + "] :" + message);
    return thrown;
}

}  // namespace

OperatorProcess::OperatorProcess() : ProcessInterface("OperatorProcess") {
    setMaxLevel(1);
}

OperatorProcess::~OperatorProcess() = default;

void OperatorProcess::setMaxLevel(int n) {
    m_levelCount = n < 0 ? 0 : n + 1;
    if (m_levels.size() < static_cast<std::size_t>(m_levelCount)) m_levels.resize(m_levelCount);
}

void OperatorProcess::addOperator(OperatorRefPtr& op, int level) {
    if (level < 0) return;
    if (level >= m_levelCount) setMaxLevel(level + 1);
    m_levels[level].push_back(op);
}

void OperatorProcess::clear() {
    m_levels.clear();
    setMaxLevel(1);
}

int OperatorProcess::levelCount() const {
    return m_levelCount;
}

std::vector<OperatorProcess::Level> OperatorProcess::levels() const {
    return m_levels;
}

template <class Visit>
void OperatorProcess::forEachOperator(Visit visit) const {
    for (const Level& level : m_levels) {
        for (const OperatorRefPtr& op : level) {
            if (op.isValid() && !visit(*op)) return;
        }
    }
}

void OperatorProcess::notifyAndAbortAllBuffers() {
    forEachOperator([](Operator& op) {
        op.notifyAndAbortAllBuffers();
        return true;
    });
}

void OperatorProcess::flushAllBuffers() {
    forEachOperator([](Operator& op) {
        op.flushAllBuffers();
        return true;
    });
}

bool OperatorProcess::init() {
    int initialised = 0;
    bool ok = true;
    std::exception_ptr thrown;
    forEachOperator([&](Operator& op) {
        if (!op.initBufferSlots()) {
            korvLogError("OperatorProcess: Could not initialize buffers of operator [" + op.name() +
                         "]");
            ok = false;
            return false;
        }
        copySlotsOf(op);
        thrown = callOperator(
            op, [&op] { return op.init(); }, ok);
        if (thrown) return false;
        if (!ok) {
            korvLogError("OperatorProcess: Could not initialize operator [" + op.name() + "]");
            return false;
        }
        ++initialised;
        return true;
    });
    if (thrown) {
        // As for execute: the operators are cleaned up once, here, and the thread that
        // receives the exception does not clean up again.
        cleanup();
        std::rethrow_exception(thrown);
    }
    if (!ok) return false;
    if (initialised == 0) {
        korvLogWarning(
            LogString("OperatorProcess [ %1 ] has no operators to execute.").arg(name()).get());
        return false;
    }
    return true;
}

bool OperatorProcess::sequence(unsigned long long /*iteration*/) {
    bool result = true;
    std::exception_ptr thrown;
    forEachOperator([&](Operator& op) {
        if (isStopping()) return false;
        bool ok = true;
        thrown = callOperator(
            op, [&op] { return op.execute(); }, ok);
        if (thrown) return false;
        if (!ok && !isStopping()) {
            korvLogError("OperatorProcess: Could not execute operator [" + op.name() + "]");
            result = false;
        }
        return true;
    });
    if (thrown) {
        cleanup();
        std::rethrow_exception(thrown);
    }
    return result;
}

bool OperatorProcess::cleanup() {
    bool result = true;
    std::exception_ptr firstThrown;
    forEachOperator([&](Operator& op) {
        bool ok = true;
        std::exception_ptr thrown = callOperator(
            op, [&op] { return op.cleanup(); }, ok);
        if (thrown && !firstThrown) firstThrown = thrown;
        if (!ok) {
            korvLogError("OperatorProcess: Could not cleanup operator [" + op.name() + "]");
            result = false;
        }
        op.releaseBufferSlots();
        return true;
    });
    std::map<std::string, Internal::BufferSlot> copies;  // let go after the lock
    {
        MutexLock lock(&m_lock);
        copies.swap(bufferSlotMap());
    }
    // Every operator was cleaned up and released before an exception goes on.
    if (firstThrown) std::rethrow_exception(firstThrown);
    return result;
}

void OperatorProcess::copySlotsOf(Operator& op) {
    const std::string prefix = op.name();
    std::map<std::string, Internal::BufferSlot> slots;
    {
        MutexLock lock(&op.m_lock);
        slots = op.bufferSlotMap();
    }
    MutexLock lock(&m_lock);
    for (auto& [id, slot] : slots) bufferSlotMap().emplace(prefix + id, slot);
}

}  // namespace Korvane
