// Records of one size, in blocks of memory that others can use again when these records are gone.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

#include "generic/long_block.hpp"
#include "storage/compound/file/file.hpp"

namespace lumvex::inside {

class RecordBlocks {
public:
    explicit RecordBlocks(std::size_t recordSize) : recordSize_(recordSize) {}

    std::size_t Count() const { return count_; }
    bool Empty() const { return count_ == 0; }
    std::byte* At(std::size_t place) const {
        return blocks_[place / kPerBlock].Data() + place % kPerBlock * recordSize_;
    }

    // A copy of the record's bytes. Throws std::bad_alloc.
    void Append(const void* record) {
        if (count_ == blocks_.size() * kPerBlock)
            blocks_.emplace_back(kPerBlock * recordSize_, Filling::LittleByLittle);
        std::memcpy(At(count_), record, recordSize_);
        ++count_;
    }

    // All of them in order; valid as long as this, and until more are appended.
    void AppendTo(std::vector<compound::Piece>& pieces) const {
        for (std::size_t first = 0; first < count_; first += kPerBlock)
            pieces.emplace_back(At(first), std::min(kPerBlock, count_ - first) * recordSize_);
    }

private:
    static constexpr std::size_t kPerBlock = 1024;

    std::size_t recordSize_;
    std::vector<LongBlock> blocks_;
    std::size_t count_ = 0;
};

}  // namespace lumvex::inside
