// Reads a file through a mapping that is behind a guard. Where the file cannot be mapped, and after mapped bytes could
// not be read, it reads page by page instead: then an error concerns only the bytes that were asked for.
#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "storage/compound/file/file.hpp"

namespace lumvex::compound {

class FileView {
public:
    explicit FileView(File& file) : file_(file) {}  // empty until Refresh

    void Refresh();  // looks at the file again; pages and bytes that were returned before are not valid any more
    void CutTo(std::uint64_t size) noexcept { size_ = std::min(size, size_); }
    std::uint64_t Size() const { return size_; }

    // The bytes from offset to the next multiple of 4096, or to the end of the file. Valid until Refresh.
    const std::byte* Page(std::uint64_t offset);

    // Bytes of the file: in the mapping or, where there is none, in the window, into which at least `ahead` bytes are
    // read. Valid until the window is used again.
    struct Window {
        std::uint64_t offset = 0;
        std::vector<std::byte> bytes;
    };
    const std::byte* Bytes(std::uint64_t offset, std::size_t count, Window& window, std::size_t ahead = 0) const;

    void Read(std::uint64_t offset, std::span<std::byte> bytes);

    bool IsMapped() const { return mapped_ != nullptr; }
    void ReadPageByPage() noexcept { mapped_ = nullptr, mayMap_ = false; }  // from now on

private:
    File& file_;
    std::uint64_t size_ = 0;
    const std::byte* mapped_ = nullptr;
    bool mayMap_ = true;
    std::unordered_map<std::uint64_t, std::unique_ptr<std::byte[]>> pages_;
    Window window_;
};

}  // namespace lumvex::compound
