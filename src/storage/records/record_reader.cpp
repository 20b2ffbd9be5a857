#include "storage/records/record_reader.hpp"

#include <algorithm>
#include <bit>
#include <cstring>

#include "storage/records/failures.hpp"

namespace lumvex::inside {

static_assert(std::endian::native == std::endian::little, "records are little-endian and copied as they lie in memory");
static_assert(sizeof(GUID) == 16);

std::shared_ptr<const ByteSource> RecordReader::Source() const {
    if (source_) return source_;
    return std::make_shared<MemorySource>(std::vector<std::byte>(end_ - size_, end_));
}

void RecordReader::ReadBeyond(std::span<std::byte> bytes) {
    if (LookAhead(bytes.size())) return Read(bytes);
    if (!source_) throw Failure(kReadFault);
    source_->Read(Position(), bytes);
    SkipBeyond(bytes.size());
}

// A record begins with many short fields, which are cheaper to find together. False where that is not possible: bytes
// that are not needed yet may be damaged, and must not make this read fail.
bool RecordReader::LookAhead(std::size_t needed) {
    constexpr std::uint64_t kAhead = 256;
    if (!source_ || needed > kAhead || needed > Left()) return false;
    const auto count = static_cast<std::size_t>(std::min(Left(), kAhead));
    const std::byte* bytes = nullptr;
    try {
        bytes = source_->Contiguous(Position(), count);
    } catch (const Failure&) {
        return false;
    }
    if (!bytes) return false;
    See({bytes, count});
    return true;
}

void RecordReader::SkipBeyond(std::uint64_t count) {
    if (count > Left()) throw Failure(kReadFault);
    behind_ = Left() - count;
    end_ = next_;
}

Reference RecordReader::ObjectReference() {
    const GUID id = Guid();
    return {id, U32()};
}

std::optional<Reference> RecordReader::OptionalReference() {
    if (U16() == 0) return std::nullopt;
    return ObjectReference();
}

inline std::uint32_t RecordReader::TextBytes() {
    const std::uint32_t count = U32();
    if (count > Left() || count % sizeof(char16_t) != 0) throw Failure(kReadFault);
    return count;
}

// Empty texts are written with count 0; a count of 2, the bare terminator, reads as empty too.
std::u16string RecordReader::Text() {
    std::u16string text;
    Text(text);
    return text;
}

void RecordReader::Text(std::u16string& text) {
    text.resize(TextBytes() / sizeof(char16_t));
    Read(std::as_writable_bytes(std::span(text)));
    if (!text.empty()) text.pop_back();
}

void RecordReader::Text(ShortText& text) {
    try {
        constexpr std::uint32_t kUnit = sizeof(char16_t);
        const std::uint32_t bytes = TextBytes(), units = bytes == 0 ? 0 : bytes / kUnit - 1;
        Read(std::as_writable_bytes(std::span(text.Make(units), units)));
        if (bytes != 0) Skip(kUnit);
    } catch (...) {
        text.Make(0);
        throw;
    }
}

}  // namespace lumvex::inside
