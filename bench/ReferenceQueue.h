#pragma once
// The yardstick of the frame-path benchmarks: a textbook bounded blocking queue
// (std::mutex, two std::condition_variable, std::deque), blocking on both sides.
// close() releases every waiter and fails every later push and pop.

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <utility>

namespace KorvaneBench {

template <class T>
class ReferenceQueue {
public:
    explicit ReferenceQueue(std::size_t limit) : m_limit(limit) {}

    bool push(const T& item) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_notFull.wait(lock, [&] { return m_items.size() < m_limit || m_closed; });
        if (m_closed) return false;
        m_items.push_back(item);
        lock.unlock();
        m_notEmpty.notify_one();
        return true;
    }

    bool pop(T& item) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_notEmpty.wait(lock, [&] { return !m_items.empty() || m_closed; });
        if (m_closed) return false;
        item = std::move(m_items.front());
        m_items.pop_front();
        lock.unlock();
        m_notFull.notify_one();
        return true;
    }

    void close() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_closed = true;
        }
        m_notEmpty.notify_all();
        m_notFull.notify_all();
    }

private:
    std::mutex m_mutex;  // guards m_items and m_closed
    std::condition_variable m_notEmpty;
    std::condition_variable m_notFull;
    std::deque<T> m_items;
    std::size_t m_limit;
    bool m_closed = false;
};

}  // namespace KorvaneBench
