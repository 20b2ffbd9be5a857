// Measures what a published call costs: nanoseconds for getting a number, early and late bound, and, to compare with,
// for locking and unlocking a mutex of the module lock's kind without contention.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <vector>

#include "lumvex/lumvex.hpp"

namespace {

using namespace lumvex;

constexpr int kCalls = 20'000, kRounds = 51;

template <class Call>
double Nanoseconds(const Call& call) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kCalls; ++i) call();
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count() / kCalls;
}

double Median(std::vector<double> times) {
    std::ranges::nth_element(times, times.begin() + std::ssize(times) / 2);
    return times[times.size() / 2];
}

}  // namespace

int main() {
    const Project project = Project::Create();
    Datum datum = project.Data().Add(u"Datum");
    datum.SampleRate(96000);
    IDatum* early = datum.Get();
    IDispatch* late = early;
    std::recursive_mutex mutex;
    LONG sum = 0;
    std::vector<double> earlyTimes, lateTimes, lockTimes;
    for (int round = 0; round < kRounds; ++round) {
        lockTimes.push_back(Nanoseconds([&] {
            mutex.lock();
            mutex.unlock();
        }));
        earlyTimes.push_back(Nanoseconds([&] {
            LONG rate = 0;
            early->get_SampleRate(&rate);
            sum += rate & 1;
        }));
        lateTimes.push_back(Nanoseconds([&] {
            VARIANT rate{};
            DISPPARAMS none{};
            constexpr DISPID kSampleRate = 0x4a;
            late->Invoke(kSampleRate, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &rate, nullptr,
                         nullptr);
            sum += rate.lVal & 1;
        }));
    }
    std::printf("{\"early\": {\"ms\": %.9f}, \"late\": {\"ms\": %.9f}, \"lock\": {\"ms\": %.9f}}\n",
                Median(earlyTimes) / 1e6, Median(lateTimes) / 1e6, Median(lockTimes) / 1e6);
    return sum == 0 ? 0 : 1;
}
