// A file with a part that cannot be read, on a system that cannot map it.
#pragma once

#include <memory>
#include <vector>

#include "storage/compound/base/error.hpp"
#include "storage/compound/file/file.hpp"

namespace lumvex::tests {

class UnreadableFile final : public compound::File {
public:
    // What cannot be read is from begin on and before end.
    UnreadableFile(const std::vector<std::byte>& image, std::uint64_t begin, std::uint64_t end)
        : file_(compound::MemoryFile(image)), begin_(begin), end_(end) {}
    std::uint64_t Size() const override { return file_->Size(); }
    std::optional<std::span<const std::byte>> Map() override { return std::nullopt; }
    void Read(std::uint64_t offset, std::span<std::byte> bytes) const override {
        if (offset < end_ && offset + bytes.size() > begin_)
            throw compound::StorageError(compound::Status::ReadFault, "a bad sector");
        file_->Read(offset, bytes);
    }
    void Write(std::uint64_t offset, std::span<const compound::Piece> pieces) override { file_->Write(offset, pieces); }
    void Flush() override {}
    void Resize(std::uint64_t size) override { file_->Resize(size); }

private:
    std::unique_ptr<compound::File> file_;
    std::uint64_t begin_, end_;
};

}  // namespace lumvex::tests
