#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <memory>
#include <new>
#include <thread>
#include <vector>

#include "documents/processes.hpp"

namespace lumvex::app {

namespace {

using Work = std::function<std::string(std::size_t)>;

// The next number that nobody has begun, in memory that all processes share.
class SharedCounter {
public:
    SharedCounter() {
        void* memory = ::mmap(nullptr, sizeof(std::atomic<std::size_t>), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory != MAP_FAILED) next_ = new (memory) std::atomic<std::size_t>(0);
    }
    SharedCounter(const SharedCounter&) = delete;
    SharedCounter& operator=(const SharedCounter&) = delete;
    ~SharedCounter() {
        if (next_) ::munmap(next_, sizeof *next_);
    }
    explicit operator bool() const { return next_ != nullptr; }
    std::size_t Next() { return next_->fetch_add(1); }

private:
    std::atomic<std::size_t>* next_ = nullptr;
};

bool WriteAll(int pipe, const void* bytes, std::size_t count) {
    for (const char* from = static_cast<const char*>(bytes); count != 0;) {
        const ssize_t written = ::write(pipe, from, count);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        from += written;
        count -= static_cast<std::size_t>(written);
    }
    return true;
}

// What a copy of the process does. It ends without the destructors of this process.
[[noreturn]] void Serve(SharedCounter& counter, std::size_t count, const Work& work, int pipe) {
    for (std::size_t number = counter.Next(); number < count; number = counter.Next()) {
        const std::string answer = work(number);
        const AnswerHead head{number, answer.size()};
        if (!WriteAll(pipe, &head, sizeof head) || !WriteAll(pipe, answer.data(), answer.size())) break;
    }
    ::_exit(0);
}

// A copy of this process, and what has come from it.
class Worker {
public:
    Worker(SharedCounter& counter, std::size_t count, const Work& work) {
        int ends[2];
        if (::pipe(ends) != 0) return;
        process_ = ::fork();
        if (process_ == 0) {
            ::close(ends[0]);
            Serve(counter, count, work, ends[1]);
        }
        ::close(ends[1]);
        pipe_ = ends[0];
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker() {
        if (pipe_ >= 0) ::close(pipe_);  // a worker that still writes ends by that
        while (process_ > 0 && ::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
        }
    }

    int Pipe() const { return pipe_; }  // negative: it has ended, or there is none

    // Reads what there is, and hands over the answers that are complete.
    template <class Take>
    void Receive(Take take) {
        char bytes[1 << 16];
        const ssize_t count = ::read(pipe_, bytes, sizeof bytes);
        if (count < 0 && errno == EINTR) return;
        if (count <= 0) {
            ::close(pipe_);
            pipe_ = -1;
            return;
        }
        received_.append(bytes, static_cast<std::size_t>(count));
        TakeAnswers(received_, take);
    }

private:
    pid_t process_ = -1;
    int pipe_ = -1;
    std::string received_;
};

}  // namespace

void InProcesses(const std::vector<std::string>& jobs, const Work& work,
                 const std::function<void(const std::string&)>& take) {
    const std::size_t count = jobs.size();
    AnswersInOrder answers(count, take);
    SharedCounter counter;
    const std::size_t processors = std::max(1u, std::thread::hardware_concurrency());
    std::vector<std::unique_ptr<Worker>> workers;
    const std::size_t useful = counter && count > 1 ? std::min(processors, count) : 0;
    for (std::size_t at = 0; at < useful; ++at) workers.push_back(std::make_unique<Worker>(counter, count, work));
    while (true) {
        std::vector<pollfd> waiting;
        std::vector<Worker*> from;
        for (const auto& each : workers) {
            if (each->Pipe() < 0) continue;
            waiting.push_back({each->Pipe(), POLLIN, 0});
            from.push_back(each.get());
        }
        if (waiting.empty()) break;
        if (::poll(waiting.data(), waiting.size(), -1) < 0 && errno != EINTR) break;
        for (std::size_t at = 0; at < from.size(); ++at) {
            if (waiting[at].revents == 0) continue;
            from[at]->Receive([&](std::size_t number, std::string answer) { answers.Add(number, std::move(answer)); });
        }
    }
    while (const auto missing = answers.Missing())
        answers.Add(*missing, work(*missing));  // what no worker has answered
}

}  // namespace lumvex::app
