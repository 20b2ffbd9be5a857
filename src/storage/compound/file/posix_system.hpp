// Calls that differ between POSIX systems: locks that belong to an open file, files without a name, giving a name only
// where no file has it, copying what a file has beside its content, and durability. posix_linux.cpp implements them for
// Linux, posix_other.cpp for all others with what POSIX has. The rest of this folder uses POSIX calls only.
//
// Functions that return an int answer 0, or -1 with the reason in errno.
#pragma once

#include <sys/types.h>

#include <cstddef>
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

    // Yes: it is locked now. No: another open file, of this process or of another one, has a lock that forbids it.
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

// Renames a file, but replaces none: EEXIST where one has the new name, EOPNOTSUPP where this needs more than one step.
// (Giving it a second name and removing the first would not do: some file systems take the two for two files with their
// own locks.)
int MoveToFreeName(const char* from, const char* to);

// Gives the new file the owner and group of the replaced one where that is allowed, its permissions, and the access
// lists and extended attributes that this system has. Nobody but the new file's owner may do more with it than with the
// replaced one.
void CopyAttributes(int replaced, int created);

int FlushContent(int file);                                     // content and length are durable
void BeginFlush(int file, off_t start, off_t length) noexcept;  // does not wait; nothing where there is no such call

// Whole pages of a file's mapping, which are mapped again when they are read; nothing where there is no such call.
void GiveBackMapped(void* begin, std::size_t size) noexcept;

std::int64_t Tick();  // changes every few milliseconds; cheap to ask for

}  // namespace lumvex::compound::posix
