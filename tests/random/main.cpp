// The random test of whole documents: see world.hpp. Without options one short run.
//
//   test_random [--seed N] [--seeds N] [--steps N] [--handlers] [--failing-allocations] [--no-cache-bounds]
//               [--objects N] [--without OPERATION]... [--compare-every N] [--trace]
//
// A run follows from its seed alone. When it fails, run it again with --compare-every 1 to find the step that did it,
// and with --steps to end there.
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/objects/object.hpp"
#include "random/world.hpp"

extern "C" void __sanitizer_set_death_callback(void (*)()) __attribute__((weak));

namespace {

lumvex::tests::World* running = nullptr;
std::uint64_t seed = 0;

void Tell() {
    if (running)
        std::fprintf(stderr, "seed %llu step %llu\n%s", static_cast<unsigned long long>(seed),
                     static_cast<unsigned long long>(running->Step()), running->LastOperations().c_str());
}

void Died(int signal) {
    Tell();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

bool RunOne(lumvex::tests::Options options) {
    seed = options.seed;
    const auto start = std::chrono::steady_clock::now();
    bool passed = true;
    {
        lumvex::tests::World world(options);
        running = &world;
        try {
            world.Run();
        } catch (const lumvex::tests::Wrong& wrong) {
            Tell();
            std::fprintf(stderr, "WRONG: %s\n", wrong.what());
            passed = false;
        }
        running = nullptr;
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        std::printf("seed %llu: %llu steps, %.0f a second\n", static_cast<unsigned long long>(seed),
                    static_cast<unsigned long long>(world.Step()), static_cast<double>(world.Step()) / took.count());
        std::fflush(stdout);
    }
    if (passed && lumvex::inside::LiveObjects() != 0) {
        std::fprintf(stderr, "WRONG: seed %llu: %zu objects are left\n", static_cast<unsigned long long>(seed),
                     lumvex::inside::LiveObjects());
        passed = false;
    }
    return passed;
}

}  // namespace

int main(int count, char** arguments) {
    lumvex::tests::Options options;
    std::uint64_t seeds = 1;
    for (int at = 1; at < count; ++at) {
        const std::string option = arguments[at];
        const auto number = [&] { return at + 1 < count ? std::strtoull(arguments[++at], nullptr, 10) : 0; };
        if (option == "--seed")
            options.seed = number();
        else if (option == "--seeds")
            seeds = number();
        else if (option == "--steps")
            options.steps = number();
        else if (option == "--objects")
            options.objects = number();
        else if (option == "--handlers")
            options.handlers = true;
        else if (option == "--failing-allocations")
            options.failingAllocations = true;
        else if (option == "--no-cache-bounds")
            options.cacheBounds = false;
        else if (option == "--compare-every")
            options.compareEvery = number();
        else if (option == "--trace")
            options.trace = true;
        else if (option == "--without" && at + 1 < count)
            options.without.insert(arguments[++at]);
        else {
            std::fprintf(stderr, "unknown option %s\n", option.c_str());
            return 2;
        }
    }
    for (const int signal : {SIGSEGV, SIGABRT, SIGFPE, SIGILL}) std::signal(signal, Died);
    if (__sanitizer_set_death_callback) __sanitizer_set_death_callback(Tell);
    bool passed = true;
    for (std::uint64_t next = 0; next < seeds; ++next, ++options.seed) passed = RunOne(options) && passed;
    return passed ? 0 : 1;
}
