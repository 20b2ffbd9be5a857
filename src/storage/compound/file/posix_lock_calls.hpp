// Lock calls, in the form that locks of open files and locks of processes share.
#pragma once

#include <fcntl.h>

#include <cerrno>

#include "storage/compound/file/posix_system.hpp"

namespace lumvex::compound::posix {

inline struct flock LockRange(short type, off_t start, off_t length) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = start;
    lock.l_len = length;
    return lock;
}

inline short LockType(OpenedFile::Kind kind) { return kind == OpenedFile::Kind::Exclusive ? F_WRLCK : F_RDLCK; }

inline bool CallLock(int file, int command, struct flock& lock) {
    int done = 0;
    do done = ::fcntl(file, command, &lock);
    while (done != 0 && errno == EINTR);
    return done == 0;
}

// What errno says after a lock was refused. EINVAL comes from systems that do not know locks of this kind.
inline OpenedFile::Answer LockRefusal() {
    switch (errno) {
        case EACCES:
        case EAGAIN:
            return OpenedFile::Answer::No;
        case ENOLCK:
        case EOPNOTSUPP:
        case ENOSYS:
        case EINVAL:
            return OpenedFile::Answer::NotKept;
        default:
            return OpenedFile::Answer::Failed;
    }
}

}  // namespace lumvex::compound::posix
