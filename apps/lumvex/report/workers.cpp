#include "report/workers.hpp"

#include <algorithm>

namespace lumvex::app {

Workers::Workers() {
    for (unsigned left = std::max(1u, std::thread::hardware_concurrency()); left > 0; --left)
        threads_.emplace_back([this] { Run(); });
}

Workers::~Workers() {
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
    }
    changed_.notify_all();
    for (std::thread& thread : threads_) thread.join();
}

std::future<std::string> Workers::Start(std::function<std::string()> work) {
    std::packaged_task<std::string()> task(std::move(work));
    std::future<std::string> result = task.get_future();
    {
        const std::lock_guard lock(mutex_);
        waiting_.push_back(std::move(task));
    }
    changed_.notify_one();
    return result;
}

void Workers::Run() {
    for (std::unique_lock lock(mutex_);; lock.lock()) {
        changed_.wait(lock, [this] { return isEnding_ || !waiting_.empty(); });
        if (isEnding_) return;
        std::packaged_task<std::string()> task = std::move(waiting_.front());
        waiting_.pop_front();
        lock.unlock();
        task();
    }
}

}  // namespace lumvex::app
