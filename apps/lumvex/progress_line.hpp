// How far a long work has come, on one line of the terminal that disappears again. Silent where standard error is no
// terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace lumvex::app {

class ProgressLine {
public:
    explicit ProgressLine(std::string work);  // "reading"
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;
    ~ProgressLine() { Clear(); }

    void Show(std::size_t done, std::size_t total);  // "reading 3 of 9"; some times a second, whatever the calls
    void Clear();                                    // before anything else is printed

private:
    using Clock = std::chrono::steady_clock;

    std::string work_;
    bool enabled_;
    bool shown_ = false;
    Clock::time_point next_{};
};

}  // namespace lumvex::app
