// Keeps long blocks of bytes out of memory until a document is saved: they wait in a temporary file.
#pragma once

#include <functional>

#include "storage/compound/file/file.hpp"
#include "storage/records/byte_source.hpp"

namespace lumvex::inside {

class ByteSpool {
public:
    using MakeFile = std::function<std::unique_ptr<compound::File>()>;

    static constexpr std::size_t kShort = 4096;  // blocks of up to so many bytes always stay in memory

    // The file is made for the first block that goes there. Blocks stay in memory as long as they have no more than
    // `inMemory` bytes together.
    ByteSpool(MakeFile makeFile, std::uint64_t inMemory) : makeFile_(std::move(makeFile)), roomInMemory_(inMemory) {}

    // Writes the block to the file and answers where it is read from. Null where it is to stay in memory, and where the
    // file cannot be made or written: for want of room, say. The file lives as long as any source that is in it. A read
    // of the whole block fails with the read fault where the file has other bytes than were written: nothing has made
    // them durable.
    std::shared_ptr<const ByteSource> Put(std::span<const std::byte> bytes);

private:
    MakeFile makeFile_;  // empty once it has been called
    std::uint64_t roomInMemory_;
    std::shared_ptr<compound::File> file_;
    std::uint64_t end_ = 0;  // of what is in the file
};

}  // namespace lumvex::inside
