// Workers are started with the command line of this process, and what they need besides is in their environment: the
// handles that they have inherited. They come to InProcesses() as this process did, serve there, and end.
// clang-format off
#include <windows.h>
// clang-format on

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "documents/processes.hpp"

namespace lumvex::app {

namespace {

using Work = std::function<std::string(std::size_t)>;

constexpr const wchar_t* kVariable = L"LUMVEX_WORKER";  // "MEMORY PIPE": the handles

// What all processes share. The memory is cleared when it is made.
struct Shared {
    std::uint64_t jobs;  // a hash of them
    volatile LONG64 next;
};

std::uint64_t HashOf(const std::vector<std::string>& jobs) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const std::string& each : jobs)
        for (const char character : each + '\n') hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001B3;
    return hash;
}

class Handle {
public:
    explicit Handle(HANDLE handle = nullptr) : handle_(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
    Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    Handle& operator=(Handle&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~Handle() {
        if (handle_) ::CloseHandle(handle_);
    }
    HANDLE Get() const { return handle_; }
    explicit operator bool() const { return handle_ != nullptr; }

private:
    HANDLE handle_;
};

Shared* Mapped(HANDLE memory) {
    return static_cast<Shared*>(::MapViewOfFile(memory, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(Shared)));
}

// The next number that nobody has begun.
std::size_t NextOf(Shared& shared) { return static_cast<std::size_t>(::InterlockedIncrement64(&shared.next) - 1); }

bool WriteAll(HANDLE pipe, const void* bytes, std::size_t count) {
    for (const char* from = static_cast<const char*>(bytes); count != 0;) {
        DWORD written = 0;
        const DWORD part = static_cast<DWORD>(std::min<std::size_t>(count, 1 << 20));
        if (!::WriteFile(pipe, from, part, &written, nullptr) || written == 0) return false;
        from += written;
        count -= written;
    }
    return true;
}

// In a worker: answers what nobody has begun, and ends the process.
void ServeAsWorker(const std::vector<std::string>& jobs, const Work& work) {
    wchar_t text[64];
    const DWORD length = ::GetEnvironmentVariableW(kVariable, text, static_cast<DWORD>(std::size(text)));
    if (length == 0 || length >= std::size(text)) return;
    wchar_t* rest = nullptr;
    const auto handle = [](unsigned long long number) {
        return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(number));
    };
    const HANDLE memory = handle(std::wcstoull(text, &rest, 10)), pipe = handle(std::wcstoull(rest, nullptr, 10));
    Shared* shared = Mapped(memory);
    if (shared && shared->jobs == HashOf(jobs)) {
        for (std::size_t number = NextOf(*shared); number < jobs.size(); number = NextOf(*shared)) {
            const std::string answer = work(number);
            const AnswerHead head{number, answer.size()};
            if (!WriteAll(pipe, &head, sizeof head) || !WriteAll(pipe, answer.data(), answer.size())) break;
        }
    }
    std::_Exit(0);
}

SECURITY_ATTRIBUTES Inherited() { return {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE}; }

// What comes from the workers, as it comes.
class Received {
public:
    void Add(std::size_t number, std::string answer) {
        const std::lock_guard lock(mutex_);
        answers_.emplace_back(number, std::move(answer));
        changed_.notify_one();
    }
    void Begin() {
        const std::lock_guard lock(mutex_);
        ++open_;
    }
    void End() {
        const std::lock_guard lock(mutex_);
        --open_;
        changed_.notify_one();
    }
    // None: every worker has ended.
    std::optional<std::pair<std::size_t, std::string>> Next() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return open_ == 0 || !answers_.empty(); });
        if (answers_.empty()) return std::nullopt;
        auto next = std::move(answers_.front());
        answers_.pop_front();
        return next;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::pair<std::size_t, std::string>> answers_;
    std::size_t open_ = 0;  // workers that have not ended
};

// A worker, and a thread that waits for what it writes: nothing else waits for several pipes.
class Worker {
public:
    Worker(HANDLE memory, HANDLE nowhere, Received& received) {
        SECURITY_ATTRIBUTES inherited = Inherited();
        HANDLE ends[2];
        if (!::CreatePipe(&ends[0], &ends[1], &inherited, 0)) return;
        pipe_ = Handle(ends[0]);
        const Handle writing(ends[1]);  // closed here once the worker has it, so that the pipe ends with the worker
        ::SetHandleInformation(pipe_.Get(), HANDLE_FLAG_INHERIT, 0);
        const auto number = [](HANDLE handle) { return std::to_wstring(reinterpret_cast<std::uintptr_t>(handle)); };
        ::SetEnvironmentVariableW(kVariable, (number(memory) + L' ' + number(writing.Get())).c_str());
        Start(nowhere);
        ::SetEnvironmentVariableW(kVariable, nullptr);
        if (!process_) return;
        received.Begin();
        thread_ = std::thread([this, &received] { Read(received); });
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker() {
        if (thread_.joinable()) thread_.join();
        if (process_) ::WaitForSingleObject(process_.Get(), INFINITE);
    }

private:
    void Start(HANDLE nowhere) {
        std::wstring program(32768, L'\0'), line = ::GetCommandLineW();
        program.resize(::GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())));
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdInput = startup.hStdOutput = startup.hStdError = nowhere;
        PROCESS_INFORMATION made{};
        if (!::CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                              &made))
            return;
        process_ = Handle(made.hProcess);
        ::CloseHandle(made.hThread);
    }

    void Read(Received& received) {
        std::string bytes;
        std::vector<char> part(1 << 16);
        DWORD count = 0;
        while (::ReadFile(pipe_.Get(), part.data(), static_cast<DWORD>(part.size()), &count, nullptr) && count != 0) {
            bytes.append(part.data(), count);
            TakeAnswers(bytes,
                        [&](std::size_t number, std::string answer) { received.Add(number, std::move(answer)); });
        }
        received.End();
    }

    Handle pipe_, process_;
    std::thread thread_;
};

}  // namespace

void InProcesses(const std::vector<std::string>& jobs, const Work& work,
                 const std::function<void(const std::string&)>& take) {
    ServeAsWorker(jobs, work);
    AnswersInOrder answers(jobs.size(), take);
    SECURITY_ATTRIBUTES inherited = Inherited();
    const Handle memory(
        ::CreateFileMappingW(INVALID_HANDLE_VALUE, &inherited, PAGE_READWRITE, 0, sizeof(Shared), nullptr));
    const Handle nowhere(::CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                       &inherited, OPEN_EXISTING, 0, nullptr));
    Shared* shared = memory ? Mapped(memory.Get()) : nullptr;
    if (shared) shared->jobs = HashOf(jobs);
    {
        Received received;
        std::vector<std::unique_ptr<Worker>> workers;
        const std::size_t processors = std::max(1u, std::thread::hardware_concurrency());
        const std::size_t useful = shared && nowhere && jobs.size() > 1 ? std::min(processors, jobs.size()) : 0;
        for (std::size_t at = 0; at < useful; ++at)
            workers.push_back(std::make_unique<Worker>(memory.Get(), nowhere.Get(), received));
        while (auto next = received.Next()) answers.Add(next->first, std::move(next->second));
    }
    while (const auto missing = answers.Missing())
        answers.Add(*missing, work(*missing));  // what no worker has answered
    if (shared) ::UnmapViewOfFile(shared);
}

}  // namespace lumvex::app
