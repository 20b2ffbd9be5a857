#include "storage/records/record_reader.hpp"

#include <algorithm>
#include <bit>
#include <cstring>

#include "storage/records/failures.hpp"

namespace lumvex::inside {

static_assert(std::endian::native == std::endian::little, "records are little-endian and copied as they lie in memory");
static_assert(sizeof(GUID) == 16);

void RecordReader::ReadBeyond(std::span<std::byte> bytes) {
    if (!LookAhead(bytes.size()))
        source_->Read(position_, bytes);
    else if (!bytes.empty())
        std::memcpy(bytes.data(), ahead_.data(), bytes.size());
    position_ += bytes.size();
}

// A record begins with many short fields, which are cheaper to find together. False where that is not possible: bytes
// that are not needed yet may be damaged, and must not make this read fail.
bool RecordReader::LookAhead(std::size_t needed) {
    constexpr std::uint64_t kAhead = 256;
    ahead_ = {};
    aheadAt_ = position_;
    if (needed > kAhead || position_ >= size_) return false;
    const auto count = static_cast<std::size_t>(std::min(Left(), kAhead));
    if (count < needed) return false;
    const std::byte* bytes = nullptr;
    try {
        bytes = source_->Contiguous(position_, count);
    } catch (const Failure&) {
        return false;
    }
    if (!bytes) return false;
    ahead_ = {bytes, count};
    return true;
}

void RecordReader::Skip(std::uint64_t count) {
    if (count > Left()) throw Failure(kReadFault);
    position_ += count;
}

Reference RecordReader::ObjectReference() {
    const GUID id = Guid();
    return {id, U32()};
}

std::optional<Reference> RecordReader::OptionalReference() {
    if (U16() == 0) return std::nullopt;
    return ObjectReference();
}

// Empty texts are written with count 0; a count of 2, the bare terminator, reads as empty too.
std::u16string RecordReader::Text() {
    std::u16string text;
    Text(text);
    return text;
}

void RecordReader::Text(std::u16string& text) {
    const std::uint32_t count = U32();
    if (count > Left() || count % 2 != 0) throw Failure(kReadFault);
    text.resize(count / 2);
    Read(std::as_writable_bytes(std::span(text)));
    if (!text.empty()) text.pop_back();
}

}  // namespace lumvex::inside
