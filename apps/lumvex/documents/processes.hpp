// Work in several processes. The library lets one call at a time into a process, so that threads which all use it take
// turns.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace lumvex::app {

// Calls `work` for the number of each job, from 0, and `take` with what it answered, in the order of the jobs. There
// are as many processes as processors, and `work` runs in them: whatever else it does there is lost. It must not throw.
// `jobs` says what is to be done in any words. Where the system cannot copy a process as it is, others are started with
// the same command line; one of them that comes to other jobs, because files were added meanwhile, does nothing. So a
// command may use this once, and everything before has to be repeatable. No other thread may be running.
void InProcesses(const std::vector<std::string>& jobs, const std::function<std::string(std::size_t)>& work,
                 const std::function<void(const std::string&)>& take);

// Answers come in any order and are handed on in that of their numbers.
class AnswersInOrder {
public:
    AnswersInOrder(std::size_t count, const std::function<void(const std::string&)>& take)
        : answers_(count), take_(take) {}

    void Add(std::size_t number, std::string answer) {
        if (number < taken_ || number >= answers_.size()) return;
        answers_[number] = std::move(answer);
        for (; taken_ < answers_.size() && answers_[taken_]; ++taken_) {
            take_(*answers_[taken_]);
            answers_[taken_].emplace();
        }
    }

    // The first number without an answer; none: all have been handed on.
    std::optional<std::size_t> Missing() const {
        return taken_ < answers_.size() ? std::optional(taken_) : std::nullopt;
    }

private:
    std::vector<std::optional<std::string>> answers_;
    const std::function<void(const std::string&)>& take_;
    std::size_t taken_ = 0;
};

// An answer on its way from another process: this, and then its bytes.
struct AnswerHead {
    std::uint64_t number, size;
};

// Takes complete answers out of the bytes that came so far, and hands them over.
template <class Take>
void TakeAnswers(std::string& received, Take take) {
    for (AnswerHead head{}; received.size() >= sizeof head;) {
        std::memcpy(&head, received.data(), sizeof head);
        if (received.size() - sizeof head < head.size) break;
        take(static_cast<std::size_t>(head.number), received.substr(sizeof head, static_cast<std::size_t>(head.size)));
        received.erase(0, sizeof head + static_cast<std::size_t>(head.size));
    }
}

}  // namespace lumvex::app
