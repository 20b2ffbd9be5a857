#include "storage/records/record_writer.hpp"

#include <algorithm>

namespace lumvex::inside {

void RecordWriter::ObjectReference(const Reference& reference) {
    Guid(reference.id);
    U32(reference.tag);
}

void RecordWriter::OptionalReference(const std::optional<Reference>& reference) {
    U16(reference ? 1 : 0);
    if (reference) ObjectReference(*reference);
}

void RecordWriter::Text(std::u16string_view text) {
    if (text.empty()) return U32(0);
    U32(static_cast<std::uint32_t>((text.size() + 1) * sizeof(char16_t)));
    Bytes(std::as_bytes(std::span(text)));
    U16(0);
}

void RecordWriter::Grow(std::size_t needed) {
    constexpr std::size_t kLeast = 1024;
    small_.resize(std::max({used_ + needed, 2 * small_.size(), kLeast}));
}

void RecordWriter::Block(std::span<const std::byte> bytes) {
    if (!bytes.empty()) blocks_.push_back({used_, bytes});
}

void RecordWriter::Block(const ByteSource& source, std::uint64_t offset, std::size_t count) {
    auto bytes = std::make_unique_for_overwrite<std::byte[]>(count);
    source.Read(offset, std::span(bytes.get(), count));
    kept_.push_back(std::move(bytes));
    Block(std::span<const std::byte>(kept_.back().get(), count));
}

std::uint64_t RecordWriter::Size() const {
    std::uint64_t size = used_;
    for (const Borrowed& block : blocks_) size += block.bytes.size();
    return size;
}

std::span<const compound::Piece> RecordWriter::Pieces() const {
    pieces_.clear();
    const auto small = std::span<const std::byte>(small_).first(used_);
    std::size_t done = 0;
    for (const Borrowed& block : blocks_) {
        if (block.at > done) pieces_.push_back(small.subspan(done, block.at - done));
        pieces_.push_back(block.bytes);
        done = block.at;
    }
    if (done < small.size()) pieces_.push_back(small.subspan(done));
    return pieces_;
}

std::vector<std::byte> RecordWriter::Joined() const {
    std::vector<std::byte> joined;
    for (const compound::Piece& piece : Pieces()) joined.insert(joined.end(), piece.begin(), piece.end());
    return joined;
}

void RecordWriter::Clear() {
    used_ = 0;
    blocks_.clear();
    kept_.clear();
}

}  // namespace lumvex::inside
