// Threads that compute texts one after the other. They last, because each keeps tables for the transforms it makes.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace lumvex::app {

class Workers {
public:
    Workers();  // one for each processor
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;
    ~Workers();  // waits for what is being computed; what has not begun is left out

    std::size_t Count() const { return threads_.size(); }
    std::future<std::string> Start(std::function<std::string()> work);

private:
    void Run();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::packaged_task<std::string()>> waiting_;
    bool isEnding_ = false;
    std::vector<std::thread> threads_;
};

}  // namespace lumvex::app
