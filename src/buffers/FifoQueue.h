#pragma once
// FifoQueue is the container of a FIFO buffer: an unbounded singly linked queue that
// one producer and one consumer may use at the same time without a lock (the
// single-threaded workers do) and that any number of threads may use under the
// buffer's lock (the multi-threaded workers do). The head is a spent node whose
// value is gone; the producer recycles the nodes the consumer has passed, so a queue
// at its working size neither allocates nor frees. Nodes are freed with the queue.
//
// Producer side: pushBack, producerSize. Consumer side: empty, front, popFront,
// clear. size may be called from anywhere.

#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <utility>

namespace Korvane {
namespace Internal {

template <class T>
class FifoQueue {
public:
    FifoQueue() {
        Node* spent = new Node;
        m_head.store(spent, std::memory_order_relaxed);
        m_tail = spent;
        m_spare = spent;
        m_headSeen = spent;
    }
    ~FifoQueue() {
        for (Node* node = m_spare; node != nullptr;) {
            Node* next = node->next.load(std::memory_order_relaxed);
            delete node;
            node = next;
        }
    }
    FifoQueue(const FifoQueue&) = delete;
    FifoQueue& operator=(const FifoQueue&) = delete;

    // ---- producer side ----------------------------------------------------------
    void pushBack(const T& item) {
        Node* node = spareNode();
        if (node) {
            node->value.emplace(item);  // a throwing copy leaves the node spare
            m_spare = node->next.load(std::memory_order_relaxed);
            node->next.store(nullptr, std::memory_order_relaxed);
        } else {
            node = new Node(item);
        }
        // Counted before it is linked, so that no reader sees more pops than pushes.
        m_pushed.store(m_pushed.load(std::memory_order_relaxed) + 1, std::memory_order_release);
        m_tail->next.store(node, std::memory_order_release);
        m_tail = node;
    }

    // Exact for the producer: pops in flight only make it larger.
    std::size_t producerSize() const {
        return m_pushed.load(std::memory_order_relaxed) - m_popped.load(std::memory_order_acquire);
    }

    // ---- consumer side ----------------------------------------------------------
    bool empty() const { return first() == nullptr; }

    // Only when not empty.
    const T& front() const { return *first()->value; }

    // Only when not empty: moves the front element into out and unlinks it.
    void popFront(T& out) {
        Node* node = first();
        out = std::move(*node->value);
        advanceTo(node);
    }

    void clear() {
        while (Node* node = first()) advanceTo(node);
    }

    // ---- anywhere ---------------------------------------------------------------
    std::size_t size() const {
        const std::size_t popped = m_popped.load(std::memory_order_acquire);
        return m_pushed.load(std::memory_order_acquire) - popped;
    }

private:
    struct Node {
        Node() = default;
        explicit Node(const T& item) : value(std::in_place, item) {}

        std::atomic<Node*> next{nullptr};
        std::optional<T> value;
    };

    Node* first() const {
        return m_head.load(std::memory_order_relaxed)->next.load(std::memory_order_acquire);
    }

    // The node becomes the spent head; its value is released here.
    void advanceTo(Node* node) {
        node->value.reset();
        m_head.store(node, std::memory_order_release);
        m_popped.store(m_popped.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    }

    // The oldest node the consumer has passed, or null when there is none.
    Node* spareNode() {
        if (m_spare == m_headSeen) m_headSeen = m_head.load(std::memory_order_acquire);
        return m_spare == m_headSeen ? nullptr : m_spare;
    }

    // Consumer's: the spent head, and the number of pops.
    alignas(64) std::atomic<Node*> m_head;
    std::atomic<std::size_t> m_popped{0};

    // Producer's: the last node, the oldest spare node (the chain from it to the head
    // is spare), the head as last read, and the number of pushes.
    alignas(64) Node* m_tail;
    Node* m_spare;
    Node* m_headSeen;
    std::atomic<std::size_t> m_pushed{0};
};

}  // namespace Internal
}  // namespace Korvane
