#pragma once
// Lets one thread (the event loop) say which Mutex it is waiting for, so that a thread
// that would wait for that thread in turn can see whether it holds that Mutex itself
// and would so close a deadlock. Only a Mutex found taken costs anything: Mutex::lock
// publishes it, on the watched thread only, before it waits.

namespace Korvane::Internal {

// The calling thread becomes the watched one (there is one at a time), or stops being
// it. Called by the thread itself.
void watchLockWaitsOfThisThread(bool watch);

// True while the watched thread waits for a Mutex that the caller holds (or that has
// just become free). Never blocks.
bool callerHoldsLockAwaitedByWatchedThread();

}  // namespace Korvane::Internal
