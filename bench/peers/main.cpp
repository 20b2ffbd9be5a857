// Measures one operation of one peer:
//
//     bench_PEER save|read-one|read-all|read-each|change|change-many FILE KIND [COUNT [OBJECT [VERSION [MODE]]]]
//
// The time counts from before the file is opened until it is closed, in milliseconds; what is made to be saved is made
// in this time, too. "closing" is the part of it that closing takes. Then the program checks what was read or written,
// and prints the result as one line of JSON. change-many changes 1,000 objects one after the other, from OBJECT on.
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "peers/peer.hpp"

namespace {

using namespace lumvex::bench;

// Bytes this process has handed to write calls.
std::uint64_t BytesWritten() {
    std::ifstream io("/proc/self/io");
    for (std::string key; io >> key;) {
        std::uint64_t value = 0;
        io >> value;
        if (key == "wchar:") return value;
    }
    return 0;
}

long PeakKiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

void Require(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

std::string Argument(int argc, char** argv, int at) { return at < argc ? argv[at] : ""; }

std::uint32_t Number(int argc, char** argv, int at) {
    const std::string text = Argument(argc, argv, at);
    return text.empty() ? 0 : static_cast<std::uint32_t>(std::stoul(text));
}

// Scattered over the file.
std::vector<std::uint32_t> Thousand(const Workload& workload, std::uint32_t first) {
    std::vector<std::uint32_t> objects;
    for (std::uint32_t at = 0; at < 1000; ++at) objects.push_back((first + at * 7919) % workload.Count());
    return objects;
}

int Measure(int argc, char** argv) {
    const std::string operation = Argument(argc, argv, 1), path = Argument(argc, argv, 2);
    const Workload workload(Argument(argc, argv, 3)[0], Number(argc, argv, 4));
    const std::uint32_t object = Number(argc, argv, 5), version = Number(argc, argv, 6);
    const std::string mode = Argument(argc, argv, 7);
    const Bytes content = workload.ContentOf(object, version);
    const auto peer = MakePeer(path, mode);
    const std::vector<std::uint32_t> thousand = Thousand(workload, object);
    if (operation == "save") std::filesystem::remove(path);
    const long memoryBefore = PeakKiB();
    const std::uint64_t writtenBefore = BytesWritten();

    Bytes got;
    Tally found;
    const auto start = std::chrono::steady_clock::now();
    if (operation == "save")
        peer->Save(workload);
    else if (operation == "read-one")
        got = peer->ReadOne(workload, object);
    else if (operation == "read-all")
        peer->ReadAll(workload, found);
    else if (operation == "read-each")
        peer->ReadEach(workload, found);
    else if (operation == "change")
        peer->Change(workload, object, content);
    else if (operation == "change-many")
        peer->ChangeMany(workload, thousand);
    else
        throw std::invalid_argument("operations: save, read-one, read-all, read-each, change, change-many");
    const auto done = std::chrono::steady_clock::now();
    peer->Close();
    const auto closed = std::chrono::steady_clock::now();
    const std::chrono::duration<double, std::milli> taken = closed - start, closing = closed - done;

    const std::uint64_t written = BytesWritten() - writtenBefore, read = peer->BytesRead();
    const long memory = PeakKiB() - memoryBefore;
    const auto same = [](Bytes a, Bytes b) { return std::ranges::equal(a, b); };
    if (operation == "read-one") Require(same(got, content), "another content was read than was written");
    if (operation == "change")
        Require(same(MakePeer(path, mode)->ReadOne(workload, object), content), "the change is not in the file");
    if (operation == "change-many")
        Require(same(MakePeer(path, mode)->ReadOne(workload, thousand.back()), workload.ContentOf(thousand.back(), 1)),
                "the last change is not in the file");
    if (operation == "read-all" || operation == "read-each") {
        Tally expected;
        for (std::uint32_t each = 0; each < workload.Count(); ++each) expected.Add(workload.ContentOf(each));
        Require(found == expected, "not everything was read as it was written");
    }
    std::printf(
        "{\"ms\": %.6f, \"closing\": %.6f, \"written\": %llu, \"read\": %llu, \"memory\": %ld, \"size\": %llu, "
        "\"payload\": %llu}\n",
        taken.count(), closing.count(), static_cast<unsigned long long>(written), static_cast<unsigned long long>(read),
        memory, static_cast<unsigned long long>(std::filesystem::file_size(path)),
        static_cast<unsigned long long>(workload.Payload()));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fprintf(stderr,
                     "usage: %s save|read-one|read-all|read-each|change|change-many FILE A|B|C "
                     "[COUNT [OBJECT [VERSION [MODE]]]]\n",
                     argv[0]);
        return 2;
    }
    try {
        return Measure(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
}
