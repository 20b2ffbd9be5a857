// A file's bytes as they are now: mapped behind a guard or, where the file cannot be mapped or once mapped bytes could not
// be read, read page by page. Then every error is that of the bytes that were asked for.
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

    void Refresh();  // what the file has become; pages and bytes that were handed out are gone
    void CutTo(std::uint64_t size) noexcept { size_ = std::min(size, size_); }
    std::uint64_t Size() const { return size_; }

    // The bytes from there to the next multiple of 4096, as far as the file has them; kept until Refresh.
    const std::byte* Page(std::uint64_t offset);

    // Bytes of the file where they are, else in the window, which is at least `ahead` long; until this window is used for
    // others.
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
