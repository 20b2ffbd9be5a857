// What every peer stores: a number of objects of given sizes, each with an ID, and a directory with the class of each.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace lumvex::bench {

using Bytes = std::span<const std::byte>;
using Id = std::array<std::byte, 16>;

class Workload {
public:
    // A: 40 to 200 bytes; B: 512 KiB; C: 16 KiB. count 0: 60,000, 400 and 5,000 objects.
    Workload(char kind, std::uint32_t count) : kind_(kind), count_(count) {
        if (kind < 'A' || kind > 'C') throw std::invalid_argument("the workloads are A, B and C");
        static constexpr std::uint32_t kUsual[] = {60'000, 400, 5'000};
        if (count_ == 0) count_ = kUsual[kind - 'A'];
        pool_.resize(kPool + Largest());
        for (std::size_t at = 0; at + 8 <= pool_.size(); at += 8) {
            const std::uint64_t value = Mixed(at);
            std::memcpy(pool_.data() + at, &value, 8);
        }
        offsets_.reserve(std::size_t{count_} + 1);
        for (std::uint32_t object = 0; object < count_; ++object) offsets_.push_back(offsets_.back() + SizeOf(object));
    }

    std::uint32_t Count() const { return count_; }
    std::size_t Largest() const { return kind_ == 'A' ? 200 : kind_ == 'B' ? 512 * 1024 : 16 * 1024; }  // bytes

    // A multiple of 4.
    std::size_t SizeOf(std::uint32_t object) const {
        return kind_ == 'A' ? 40 + 4 * static_cast<std::size_t>(Mixed(object) % 41) : Largest();
    }

    // Each version of an object has content of its own.
    Bytes ContentOf(std::uint32_t object, std::uint32_t version = 0) const {
        const std::uint64_t seed = Mixed((std::uint64_t{version} << 32) + object + 1);
        return Bytes(pool_).subspan(static_cast<std::size_t>(seed % (kPool / 8)) * 8, SizeOf(object));
    }

    Id IdOf(std::uint32_t object) const {
        const std::uint64_t halves[] = {Mixed(2 * std::uint64_t{object}), Mixed(2 * std::uint64_t{object} + 1)};
        Id id;
        std::memcpy(id.data(), halves, id.size());
        return id;
    }
    Id ClassOf() const { return Id{}; }

    // The offset of an object when all are stored one after the other.
    std::uint64_t OffsetOf(std::uint32_t object) const { return offsets_.at(object); }
    std::uint64_t Payload() const { return offsets_.back(); }

    // The directory as bytes, for peers that have no columns: ID, class and a tag of 32 bits for each object.
    std::vector<std::byte> Directory() const {
        std::vector<std::byte> table(std::size_t{count_} * 36);
        for (std::uint32_t object = 0; object < count_; ++object) {
            const Id id = IdOf(object);
            std::memcpy(table.data() + std::size_t{object} * 36, id.data(), id.size());
        }
        return table;
    }

private:
    static constexpr std::size_t kPool = std::size_t{32} << 20;

    static std::uint64_t Mixed(std::uint64_t value) {
        value += 0x9E3779B97F4A7C15u;
        value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9u;
        value = (value ^ value >> 27) * 0x94D049BB133111EBu;
        return value ^ value >> 31;
    }

    char kind_;
    std::uint32_t count_;
    std::vector<std::byte> pool_;
    std::vector<std::uint64_t> offsets_{0};
};

// An ID as a name of 26 characters, five bits each: 32 hexadecimal digits would be too long a name for some peers.
inline std::string NameOf(const Id& id) {
    static constexpr char kDigits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUV";
    std::string name;
    unsigned bits = 0, held = 0;
    for (const std::byte byte : id) {
        bits = bits << 8 | static_cast<unsigned>(byte);
        for (held += 8; held >= 5; held -= 5) name += kDigits[bits >> (held - 5) & 31];
    }
    return name + kDigits[bits << (5 - held) & 31];
}

// Counts and sums what was read. It looks at every byte, so that no peer is fast because it did not read.
struct Tally {
    std::uint64_t objects = 0, bytes = 0, sum = 0;

    void Add(Bytes content) {
        std::uint64_t added = 0;
        for (std::size_t at = 0; at + 8 <= content.size(); at += 8) {
            std::uint64_t value = 0;
            std::memcpy(&value, content.data() + at, 8);
            added += value;
        }
        if (content.size() % 8 != 0) {  // sizes are multiples of 4
            std::uint32_t value = 0;
            std::memcpy(&value, content.data() + content.size() - 4, 4);
            added += value;
        }
        ++objects;
        bytes += content.size();
        sum += added;
    }
    bool operator==(const Tally&) const = default;
};

}  // namespace lumvex::bench
