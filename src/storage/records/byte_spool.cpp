#include "storage/records/byte_spool.hpp"

#include <cstring>
#include <utility>

#include "storage/records/failures.hpp"

namespace lumvex::inside {

namespace {

// Finds blocks that were lost or mixed up; no protection against anybody.
std::uint64_t SumOf(std::span<const std::byte> bytes) {
    constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15;
    std::uint64_t sum = bytes.size();
    while (!bytes.empty()) {
        std::uint64_t word = 0;
        const std::size_t count = std::min(bytes.size(), sizeof word);
        std::memcpy(&word, bytes.data(), count);
        sum = (sum ^ word) * kFactor;
        sum ^= sum >> 32;
        bytes = bytes.subspan(count);
    }
    return sum;
}

class SpooledBytes final : public ByteSource {
public:
    SpooledBytes(std::shared_ptr<compound::File> file, std::uint64_t start, std::span<const std::byte> bytes)
        : file_(std::move(file)), start_(start), size_(bytes.size()), sum_(SumOf(bytes)) {}

    std::uint64_t Size() const override { return size_; }
    void Read(std::uint64_t offset, std::span<std::byte> bytes) const override {
        if (offset > size_ || bytes.size() > size_ - offset) throw Failure(kReadFault);
        OnStorage([&] { file_->Read(start_ + offset, bytes); });
        if (bytes.size() == size_ && SumOf(bytes) != sum_)
            throw Failure(kReadFault, "an array that waited in a temporary file for the save was lost there");
    }
    const std::byte* Contiguous(std::uint64_t, std::uint64_t) const override { return nullptr; }
    bool IsLasting() const override { return true; }

private:
    std::shared_ptr<compound::File> file_;
    std::uint64_t start_, size_, sum_;
};

}  // namespace

std::shared_ptr<const ByteSource> ByteSpool::Put(std::span<const std::byte> bytes) {
    if (bytes.size() <= kShort) return nullptr;
    if (bytes.size() <= roomInMemory_) {
        roomInMemory_ -= bytes.size();
        return nullptr;
    }
    try {
        if (makeFile_) file_ = std::exchange(makeFile_, nullptr)();
        if (!file_) return nullptr;
        auto source = std::make_shared<SpooledBytes>(file_, end_, bytes);
        file_->Write(end_, bytes);
        end_ += bytes.size();
        return source;
    } catch (const compound::StorageError&) {
        return nullptr;
    }
}

}  // namespace lumvex::inside
