#include "memory_files.hpp"

#include <utility>

namespace lumvex::fuzz {

namespace {

using namespace compound;

std::filesystem::path thePath;
std::shared_ptr<File> theFile;

// Open as often as it is asked for; it stays when it is closed.
class OpenedFileInMemory final : public File {
public:
    explicit OpenedFileInMemory(std::shared_ptr<File> file) : file_(std::move(file)) {}
    std::uint64_t Size() const override { return file_->Size(); }
    std::optional<std::span<const std::byte>> Map() override { return file_->Map(); }
    void Read(std::uint64_t offset, std::span<std::byte> bytes) const override { file_->Read(offset, bytes); }
    void Write(std::uint64_t offset, std::span<const Piece> pieces) override { file_->Write(offset, pieces); }
    void Flush() override {}
    void Resize(std::uint64_t size) override { file_->Resize(size); }

private:
    std::shared_ptr<File> file_;
};

}  // namespace

void SetFile(const std::filesystem::path& path, std::vector<std::byte> content) {
    thePath = path;
    theFile = MemoryFile(std::move(content));
}

std::unique_ptr<File> OpenedFile() { return std::make_unique<OpenedFileInMemory>(theFile); }

}  // namespace lumvex::fuzz

namespace lumvex::compound {

std::unique_ptr<File> OpenFile(std::filesystem::path path, Access) {
    if (path != fuzz::thePath) throw StorageError(Status::NotFound, "there is one file alone");
    return fuzz::OpenedFile();
}

std::unique_ptr<File> CreateReplacing(const std::filesystem::path&, Access) {
    throw StorageError(Status::AccessDenied, "no file is made here");
}

std::unique_ptr<File> CreateNew(const std::filesystem::path& path, Access access) {
    return CreateReplacing(path, access);
}

bool IsSameFile(const std::filesystem::path& left, const std::filesystem::path& right) { return left == right; }

}  // namespace lumvex::compound
