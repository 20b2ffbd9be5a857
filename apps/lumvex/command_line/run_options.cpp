#include "command_line/run_options.hpp"

#include <iostream>
#include <thread>

namespace lumvex::app {

namespace {

const auto kStart = std::chrono::steady_clock::now();

}  // namespace

RunOptions& CurrentRun() {
    static RunOptions options;
    return options;
}

std::ostream& Reports() {
    static std::ostream nowhere(nullptr);
    return CurrentRun().quiet ? nowhere : std::cerr;
}

bool WaitedForOthers() {
    if (std::chrono::steady_clock::now() - kStart >= std::chrono::duration<float>(CurrentRun().wait)) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return true;
}

}  // namespace lumvex::app
