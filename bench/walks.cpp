// Measures many calls of clients on a project of 60,000 named arrays in memory: puts with and without a sink that is
// told of each, and going through all names early and late bound. Prints milliseconds as JSON.
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "lumvex/events.hpp"
#include "lumvex/lumvex.hpp"

namespace {

using namespace lumvex;

constexpr LONG kObjects = 60'000;

template <class Work>
double Milliseconds(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

void PutAll(const Data& data, LONG rate) {
    for (LONG position = 1; position <= kObjects; ++position) data.Item(position).SampleRate(rate);
}

std::size_t EarlyNames(const Data& data) {
    std::size_t letters = 0;
    for (LONG position = 1; position <= kObjects; ++position) {
        Ref<IDatum> datum;
        Bstr name;
        Check(data.Get()->get_Item(position, datum.Out()));
        Check(datum->get_Name(name.Out()));
        letters += name.view().size();
    }
    return letters;
}

Variant Got(IDispatch* object, DISPID member, VARIANT* argument) {
    Variant result;
    DISPPARAMS arguments{argument, nullptr, argument ? 1u : 0u, 0};
    Check(object->Invoke(member, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &arguments, result.Out(), nullptr,
                         nullptr));
    return result;
}

std::size_t LateNames(const Data& data) {
    std::size_t letters = 0;
    for (LONG at = 1; at <= kObjects; ++at) {
        Variant position = Variant::FromLong(at);
        const Variant datum = Got(data.Get(), LX_DISPITEM, &position);
        letters += TextOf(Got(datum.pdispVal, LX_DISPNAME, nullptr).bstrVal).size();
    }
    return letters;
}

}  // namespace

int main() {
    Project project = Project::Create();
    const Data data = project.Data();
    for (LONG object = 1; object <= kObjects; ++object) {
        const std::string name = "Datum " + std::to_string(object);
        data.Add(std::u16string(name.begin(), name.end()));
    }
    std::size_t early = 0, late = 0, told = 0;
    EarlyNames(data);
    const double earlyTime = Milliseconds([&] { early = EarlyNames(data); });
    const double lateTime = Milliseconds([&] { late = LateNames(data); });
    const double puts = Milliseconds([&] { PutAll(data, 96000); });
    double putsTold = 0;
    {
        const Subscription listening(project, [&](const Change&) { ++told; });
        putsTold = Milliseconds([&] { PutAll(data, 44100); });
    }
    if (early != late || told != kObjects) {
        std::fprintf(stderr, "bench_walks: %zu and %zu letters, %zu events\n", early, late, told);
        return 1;
    }
    std::printf(
        "{\"early\": {\"ms\": %.6f}, \"late\": {\"ms\": %.6f}, \"puts\": {\"ms\": %.6f}, \"puts, one sink\": "
        "{\"ms\": %.6f}}\n",
        earlyTime, lateTime, puts, putsTold);
    return 0;
}
