#pragma once
// EventGenerator is the base of everything that posts events. Its sender id is its
// own address widened to 64 bits: unique among live generators and never changing.
// Destroying a generator tells the installed dispatcher to forget that id (on the
// destroying thread); with no dispatcher installed it touches no event manager, so
// generators may outlive the manager at exit.

#include <korvane/core/Export.h>

#include <atomic>
#include <cstdint>

namespace Korvane {

class KORVANE_API EventGenerator {
public:
    EventGenerator() = default;
    EventGenerator(const EventGenerator& other) : m_blocked(other.eventsBlocked()) {}
    EventGenerator& operator=(const EventGenerator& other) {
        m_blocked = other.eventsBlocked();
        return *this;
    }
    virtual ~EventGenerator();

    // Sets the flag and returns its previous value.
    bool blockEvents(bool block) { return m_blocked.exchange(block); }
    bool eventsBlocked() const { return m_blocked.load(std::memory_order_relaxed); }

    std::uint64_t makeSenderId() const { return reinterpret_cast<std::uintptr_t>(this); }

private:
    std::atomic<bool> m_blocked{false};
};

}  // namespace Korvane
