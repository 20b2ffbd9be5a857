// Shows the progress of a long task on one line of the terminal, and erases it in the end. Prints nothing when standard
// error is not a terminal.
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

    void Show(std::size_t done, std::size_t total);  // "reading 3 of 9"; prints at most ten times a second
    void Clear();                                    // before anything else is printed

private:
    using Clock = std::chrono::steady_clock;

    std::string work_;
    bool enabled_;
    bool shown_ = false;
    Clock::time_point next_{};
};

}  // namespace lumvex::app
