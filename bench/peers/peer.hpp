// A peer is one way of keeping the objects in a file. Each program measures one peer, in a process of its own.
#pragma once

#include <memory>
#include <new>
#include <string>

#include "workload.hpp"

namespace lumvex::bench {

class Peer {
public:
    virtual ~Peer() = default;

    virtual void Save(const Workload& workload) = 0;  // a new file, durable; all that is made for it is made here
    virtual Bytes ReadOne(const Workload& workload, std::uint32_t object) = 0;  // valid as long as the peer
    virtual void ReadAll(const Workload& workload, Tally& tally) = 0;           // in the order that suits the peer
    virtual void ReadEach(const Workload& workload, Tally& tally) = 0;          // one after the other by its ID
    virtual void Change(const Workload& workload, std::uint32_t object, Bytes content) = 0;  // durable
    // The file stays open while its objects are changed one after the other, each change durable before the next.
    virtual void ChangeMany(const Workload&, std::span<const std::uint32_t>) {
        throw std::invalid_argument("this peer changes one object only");
    }
    virtual void Close() {}                                // part of what is measured
    virtual std::uint64_t BytesRead() const { return 0; }  // of the file, by those who know
};

// The mode is one of the peer's own words, or empty.
std::unique_ptr<Peer> MakePeer(const std::string& path, const std::string& mode);

// Memory to read into that nothing has touched yet, as in a program that has just started. It begins at a page
// boundary: reading into memory a few bytes after one, where large allocations usually begin, takes twice as long.
class ReadBuffer {
public:
    std::span<std::byte> First(std::size_t count) const { return {bytes_.get(), count}; }
    std::byte* data() const { return bytes_.get(); }
    static constexpr std::size_t size() { return 512 * 1024; }

private:
    static constexpr std::align_val_t kPage{4096};
    struct Free {
        void operator()(std::byte* bytes) const { operator delete(bytes, kPage); }
    };
    std::unique_ptr<std::byte, Free> bytes_{static_cast<std::byte*>(operator new(size(), kPage))};
};

}  // namespace lumvex::bench
