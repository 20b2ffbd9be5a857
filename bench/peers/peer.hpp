// One way of keeping the objects in a file. Each program measures one peer, in a process of its own.
#pragma once

#include <memory>
#include <string>

#include "workload.hpp"

namespace lumvex::bench {

class Peer {
public:
    virtual ~Peer() = default;

    virtual void Prepare(const Workload&) {}             // what is in memory before Save is measured
    virtual void Save(const Workload& workload) = 0;     // a new file, durable
    virtual Bytes ReadOne(const Workload& workload, std::uint32_t object) = 0;  // valid as long as the peer
    virtual void ReadAll(const Workload& workload, Tally& tally) = 0;
    virtual void Change(const Workload& workload, std::uint32_t object, Bytes content) = 0;  // durable
    virtual void Close() {}                              // part of what is measured
    virtual std::uint64_t BytesRead() const { return 0; }  // of the file, by those who know
};

// The mode is one of the peer's own words, or empty.
std::unique_ptr<Peer> MakePeer(const std::string& path, const std::string& mode);

// Memory to read into, its pages in place.
inline std::vector<std::byte> ReadBuffer() { return std::vector<std::byte>(512 * 1024, std::byte{1}); }

}  // namespace lumvex::bench
