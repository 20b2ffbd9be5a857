#include <algorithm>
#include <new>
#include <utility>

#include "storage/compound/file/file.hpp"

namespace lumvex::compound {

namespace {

class FileInMemory final : public File {
public:
    explicit FileInMemory(std::vector<std::byte> content) : content_(std::move(content)) {}

    std::uint64_t Size() const override { return content_.size(); }

    std::optional<std::span<const std::byte>> Map() override {
        retired_.clear();
        return content_;
    }

    void Read(std::uint64_t offset, std::span<std::byte> bytes) const override {
        if (offset > content_.size() || bytes.size() > content_.size() - offset)
            throw StorageError(Status::ReadFault, "bytes ", offset, " to ", offset + bytes.size(), " of ",
                               content_.size());
        std::copy_n(content_.begin() + static_cast<std::ptrdiff_t>(offset), bytes.size(), bytes.begin());
    }

    void Write(std::uint64_t offset, std::span<const Piece> pieces) override {
        std::uint64_t end = offset;
        for (const Piece& piece : pieces) end += piece.size();
        if (end > content_.size()) Resize(end);
        auto to = content_.begin() + static_cast<std::ptrdiff_t>(offset);
        for (const Piece& piece : pieces) to = std::copy(piece.begin(), piece.end(), to);
    }

    void Flush() override {}

    // What Map() returned stays valid: where the content has to move in memory, the old copy is kept.
    void Resize(std::uint64_t newSize) override {
        const auto size = static_cast<std::size_t>(newSize);
        if (size != newSize) throw std::bad_alloc();
        if (size > content_.capacity()) {
            std::vector<std::byte> grown;
            grown.reserve(std::max(size, 2 * content_.capacity()));
            grown = content_;
            retired_.push_back(std::move(content_));
            content_ = std::move(grown);
        }
        content_.resize(size);
    }

private:
    std::vector<std::byte> content_;
    std::vector<std::vector<std::byte>> retired_;
};

}  // namespace

std::unique_ptr<File> MemoryFile(std::vector<std::byte> content) {
    return std::make_unique<FileInMemory>(std::move(content));
}

}  // namespace lumvex::compound
