#pragma once
// Runs a function on a detached thread and returns a future for its end. Unlike
// std::async, dropping the future never joins, so a test that fails while the
// function is still blocked reports the failure instead of hanging.

#include <future>
#include <memory>
#include <thread>
#include <utility>

namespace KorvaneTest {

template <class Function>
std::future<void> startDetached(Function function) {
    auto done = std::make_shared<std::promise<void>>();
    std::future<void> ended = done->get_future();
    std::thread([done, function = std::move(function)]() mutable {
        function();
        done->set_value();
    }).detach();
    return ended;
}

}  // namespace KorvaneTest
