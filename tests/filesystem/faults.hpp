// What the file system of these tests does wrong, in memory that it shares with the test: a file that both map.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>

namespace lumvex::tests {

struct Faults {
    std::atomic<std::int64_t> readFailsFrom;   // byte of a file from which on reading it fails with EIO; -1: nowhere
    std::atomic<std::int64_t> writeFailsFrom;  // the same of writing, with writeError
    std::atomic<int> writeError;
    std::atomic<int> lockError;     // 0: locks are kept, by the system
    std::atomic<int> newNameError;  // of a rename that must not replace anything; 0: it is done
    std::atomic<int> renameError;   // the same of every rename
    std::atomic<bool> unmapped;     // files cannot be mapped
    std::atomic<bool> renumbers;    // a file has another number each time it is asked for

    void Clear() {
        readFailsFrom = writeFailsFrom = -1;
        writeError = lockError = newNameError = renameError = 0;
        unmapped = renumbers = false;
    }
};

// Of a file that has the size already or gets it; ends the program where that fails.
inline Faults& SharedFaults(const char* path) {
    const int fd = ::open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0 || ::ftruncate(fd, sizeof(Faults)) != 0) ::_exit(3);
    void* memory = ::mmap(nullptr, sizeof(Faults), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    ::close(fd);
    if (memory == MAP_FAILED) ::_exit(3);
    return *static_cast<Faults*>(memory);
}

}  // namespace lumvex::tests
