#include "command_line/progress_line.hpp"

#include <iostream>
#include <utility>

#include "command_line/run_options.hpp"
#include "command_line/terminal.hpp"

namespace lumvex::app {

namespace {

constexpr auto kInterval = std::chrono::milliseconds(100);
constexpr const char* kEraseLine = "\r\x1b[K";

}  // namespace

ProgressLine::ProgressLine(std::string work)
    : work_(std::move(work)), enabled_(ErrorsGoToTerminal() && !CurrentRun().quiet) {}

void ProgressLine::Show(std::size_t done, std::size_t total) {
    if (!enabled_) return;
    const auto now = Clock::now();
    if (now < next_) return;
    next_ = now + kInterval;
    shown_ = true;
    std::cerr << kEraseLine << work_ << ' ' << done << " of " << total << std::flush;
}

void ProgressLine::Clear() {
    if (!shown_) return;
    shown_ = false;
    next_ = {};
    std::cerr << kEraseLine << std::flush;
}

}  // namespace lumvex::app
