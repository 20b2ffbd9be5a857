// Work beside the test. The system's locks belong to open files, not to processes, so that a thread is far enough away.
#pragma once

#include <future>

namespace lumvex::tests {

class Elsewhere {
public:
    template <class Work>
    explicit Elsewhere(Work work)
        : result_(std::async(std::launch::async, [work] { return static_cast<int>(work()) & 0xFF; })) {}
    // The low byte of what the work answered.
    int Result() { return result_.get(); }

private:
    std::future<int> result_;
};

// Given once, awaited once. (The standard library's semaphores of g++ 12 lose wake-ups here.)
class Signal {
public:
    void Give() const { given_.set_value(); }
    void Await() const { given_.get_future().wait(); }

private:
    mutable std::promise<void> given_;
};

}  // namespace lumvex::tests
