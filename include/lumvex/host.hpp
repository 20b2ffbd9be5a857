// Switches for programs that host the library: what it changes in their process.
#pragma once

#include "lumvex/export.hpp"

namespace lumvex {

// Documents are read where the system maps them into memory. Where a mapped page cannot be read (a bad disk, a pulled
// one, a lost network drive, a file that another program cut short) the system would end the whole process; the library
// prevents that, so that calls answer the storage system's read fault (0x8003001E) instead:
//
// - Linux and the like: a handler of SIGBUS, put in place when the first document is opened. Signals that are not about
//   a document's pages go to the handler that was there before, or have the system's effect.
// - Windows: a vectored exception handler for in-page errors of documents' pages; everything else is passed on.
//
// A host that wants neither refuses the guard before it opens the first document: documents are then read without being
// mapped, which costs some microseconds for each part of the file that is met for the first time. The same happens by
// itself where the host puts a handler of SIGBUS of its own in place later; documents that are open by then have lost
// their guard. Concerns documents that are opened after the call; may be called at any time, from any thread.
LUMVEX_API void GuardReads(bool guard) noexcept;

// Makes several calls one: while a thread has such an object, calls of other threads wait. A thread may have several.
class LUMVEX_API SeveralCalls {
public:
    SeveralCalls();
    ~SeveralCalls();
    SeveralCalls(const SeveralCalls&) = delete;
    SeveralCalls& operator=(const SeveralCalls&) = delete;
};

}  // namespace lumvex
