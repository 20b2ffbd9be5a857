// What POSIX systems do each in its own way: locks of open files, files without a name, names that are taken without
// replacing what has them, what a file carries beside its content, and durability. posix_linux.cpp is for Linux,
// posix_other.cpp for all others; nothing else of this folder uses a call that not all of them have.
//
// Functions that return an int answer 0, or -1 with the reason in errno.
#pragma once

#include <sys/types.h>

#include <cstdint>

namespace lumvex::compound::posix {

static_assert(sizeof(off_t) >= 8, "files are longer than 2 GB: build with _FILE_OFFSET_BITS=64");

// An open file and the locks it holds; both end with it.
class OpenedFile {
public:
    explicit OpenedFile(int fd) noexcept : fd_(fd) {}
    OpenedFile(const OpenedFile&) = delete;
    OpenedFile& operator=(const OpenedFile&) = delete;
    ~OpenedFile();

    int Number() const { return fd_; }

    enum class Answer {
        Yes,
        No,
        NotKept,  // this file system keeps no locks; errno says more
        Failed,   // errno says why
    };
    enum class Kind { Shared, Exclusive };

    // Yes: it is locked now. No: another open file, of this process or of another one, stands in the way.
    Answer Lock(Kind kind, off_t byte);
    void Unlock(off_t byte) noexcept;

    // Does another open file hold any lock on these bytes?
    Answer IsLockedElsewhere(off_t start, off_t length) const;

private:
    int fd_;
};

// A file without a name in this folder, open for reading and writing: its number. EOPNOTSUPP where there is no such.
int OpenUnnamed(const char* folder, mode_t mode);
int NameUnnamed(int file, const char* path);  // EEXIST where something has the name

// Gives a file another name that nothing has: EEXIST otherwise. EOPNOTSUPP where this cannot be had in one step. A second
// name in the first one's place would not do: some file systems take the two for two files, each with its own locks.
int MoveToFreeName(const char* from, const char* to);

// The new file becomes as the replaced one: its owner and group as far as this is allowed, its permissions, access
// lists and extended attributes as far as they are known here. Nobody may do more with it than with the replaced one,
// its new owner aside.
void CopyAttributes(int replaced, int created);

int FlushContent(int file);  // content and length are durable

std::int64_t Tick();  // another number after some milliseconds at the most; cheap to ask for

}  // namespace lumvex::compound::posix
