#include <korvane/platform/Thread.h>

#include "platform/MonotonicClock.h"

#include <pthread.h>
#include <signal.h>
#include <time.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <mutex>

namespace Korvane {

namespace {

enum class Gate { Parked, Released, Abandoned };

// State shared by the owner and the thread itself; the thread keeps its own
// reference, so a Thread destroyed while its body still runs leaves nothing dangling.
struct State {
    pthread_mutex_t lock;  // guards gate and ended
    pthread_cond_t changed;
    Gate gate = Gate::Parked;
    bool ended = false;
    std::atomic<bool> running{false};
    Thread* owner = nullptr;  // not owned

    explicit State(Thread* t) : owner(t) {
        pthread_mutex_init(&lock, nullptr);
        Internal::initMonotonicCondition(&changed);
    }
    ~State() {
        pthread_cond_destroy(&changed);
        pthread_mutex_destroy(&lock);
    }
};

class StateLock {
public:
    explicit StateLock(State* s) : m_state(s) { pthread_mutex_lock(&m_state->lock); }
    ~StateLock() { pthread_mutex_unlock(&m_state->lock); }
    StateLock(const StateLock&) = delete;
    StateLock& operator=(const StateLock&) = delete;

private:
    State* m_state;
};

// Marks the thread ended on every way out of the entry routine, cancellation included.
class EndMarker {
public:
    explicit EndMarker(State* s) : m_state(s) {}
    ~EndMarker() {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        StateLock lock(m_state);
        m_state->ended = true;
        m_state->running = false;
        pthread_cond_broadcast(&m_state->changed);
    }
    EndMarker(const EndMarker&) = delete;
    EndMarker& operator=(const EndMarker&) = delete;

private:
    State* m_state;
};

#if defined(__SANITIZE_ADDRESS__)
extern "C" void __asan_handle_no_return();
// AddressSanitizer must clear the shadow of the stack before the unwinding starts,
// or the cleanups of the unwound frames trip over stale redzones. Only the signal
// handler can do that, so cancellation always goes through it.
constexpr bool kSignalAtOnce = true;
#else
constexpr bool kSignalAtOnce = false;
#endif

// The signal that makes a cancelled thread act on its pending cancellation at once.
int escalationSignal() { return SIGRTMIN + 5; }

void onEscalation(int) {
#if defined(__SANITIZE_ADDRESS__)
    __asan_handle_no_return();
#endif
    pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
    pthread_testcancel();
}

void installEscalationHandler() {
    static std::once_flag once;
    std::call_once(once, [] {
        struct sigaction action {};
        action.sa_handler = onEscalation;
        sigemptyset(&action.sa_mask);
        sigaction(escalationSignal(), &action, nullptr);
    });
}

void* entry(void* argument) {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    std::shared_ptr<State> state(*static_cast<std::shared_ptr<State>*>(argument));
    delete static_cast<std::shared_ptr<State>*>(argument);
    EndMarker marker(state.get());
    {
        StateLock lock(state.get());
        while (state->gate == Gate::Parked) pthread_cond_wait(&state->changed, &state->lock);
        if (state->gate == Gate::Abandoned) return nullptr;
    }
    Thread::execute(state->owner);
    return nullptr;
}

constexpr unsigned long long kInfinite = 0xFFFFFFFFull;

// Waits until the thread has ended or ms passed (kInfinite: no limit); true when ended.
bool waitEnded(State* s, unsigned long long ms) {
    StateLock lock(s);
    if (ms == kInfinite) {
        while (!s->ended) pthread_cond_wait(&s->changed, &s->lock);
        return true;
    }
    const timespec deadline = Internal::monotonicDeadline(ms);
    while (!s->ended) {
        if (pthread_cond_timedwait(&s->changed, &s->lock, &deadline) == ETIMEDOUT) return s->ended;
    }
    return true;
}

}  // namespace

struct Thread::Private {
    std::shared_ptr<State> state;
    pthread_t handle{};
    bool created = false;
    bool joined = false;

    // Reaps the ended thread once, so that its resources go back to the system.
    void reap() {
        if (created && !joined) {
            pthread_join(handle, nullptr);
            joined = true;
        }
    }
};

Thread::Thread() : d(std::make_unique<Private>()) {
    installEscalationHandler();
    d->state = std::make_shared<State>(this);
    auto* argument = new std::shared_ptr<State>(d->state);
    d->created = pthread_create(&d->handle, nullptr, entry, argument) == 0;
    if (!d->created) delete argument;
}

Thread::~Thread() {
    if (!d->created || d->joined) return;
    bool finished;
    {
        StateLock lock(d->state.get());
        if (d->state->gate == Gate::Parked) {
            d->state->gate = Gate::Abandoned;
            pthread_cond_broadcast(&d->state->changed);
        }
        finished = d->state->ended || d->state->gate == Gate::Abandoned;
    }
    // A body still running is the owner's mistake; the shared state keeps it safe.
    if (finished) {
        pthread_join(d->handle, nullptr);
    } else {
        pthread_detach(d->handle);
    }
}

unsigned long long Thread::execute(Thread* t) {
    struct ClearRunning {
        State* state;
        ~ClearRunning() { state->running = false; }
    } clear{t->d->state.get()};
    t->d->state->running = true;
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    t->run();
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    return 0;
}

void Thread::start() {
    StateLock lock(d->state.get());
    if (d->state->gate != Gate::Parked) return;
    d->state->running = d->created;
    d->state->gate = Gate::Released;
    pthread_cond_broadcast(&d->state->changed);
}

void Thread::stop() { join(); }

void Thread::join() { join(kInfinite); }

bool Thread::join(unsigned long long ms) {
    if (!d->created) return true;
    {
        StateLock lock(d->state.get());
        if (d->state->gate == Gate::Parked) return true;
    }
    const bool ended = waitEnded(d->state.get(), ms & kInfinite);
    if (ended) d->reap();
    return ended;
}

bool Thread::isRunning() {
    StateLock lock(d->state.get());
    if (d->state->ended || !d->created) d->state->running = false;
    return d->state->running;
}

void Thread::destroy() {
    if (!d->created || d->joined) return;
    {
        StateLock lock(d->state.get());
        if (d->state->ended) return;
        if (d->state->gate == Gate::Parked) {
            d->state->gate = Gate::Abandoned;
            pthread_cond_broadcast(&d->state->changed);
            return;
        }
    }
    pthread_cancel(d->handle);
    if (kSignalAtOnce) pthread_kill(d->handle, escalationSignal());
    // A body that reaches no cancellation point is pushed into asynchronous
    // cancellation; the signal is repeated in case it arrived before the cancel.
    for (int attempt = 0; attempt < 50 && !waitEnded(d->state.get(), 100); ++attempt) {
        pthread_kill(d->handle, escalationSignal());
    }
    if (waitEnded(d->state.get(), 0)) d->reap();
}

void Thread::setThreadName(const char*) {}

void Thread::sleep(unsigned long long ms) {
    timespec remaining{static_cast<time_t>(ms / 1000), static_cast<long>((ms % 1000) * 1000000)};
    while (nanosleep(&remaining, &remaining) == -1 && errno == EINTR) {
    }
}

}  // namespace Korvane
