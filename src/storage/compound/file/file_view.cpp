#include "storage/compound/file/file_view.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

namespace lumvex::compound {

namespace {

// From so many bytes on a read call into the caller's memory is faster than touching the pages of the mapping.
constexpr std::size_t kReadDirectly = std::size_t{64} * 1024;

}  // namespace

void FileView::Refresh(std::uint64_t toRead) {
    pages_.clear();
    window_.bytes.clear();
    const bool isToBeMapped = std::exchange(mapped_, nullptr) != nullptr || IsWorthMapping(toRead);
    const auto mapped = isToBeMapped && mayMap_ ? file_.Map() : std::nullopt;
    if (mapped) mapped_ = mapped->data();
    size_ = mapped ? mapped->size() : file_.Size();
}

bool FileView::Map() const {
    if (mapped_ == nullptr && mayMap_) {
        const auto mapped = file_.Map();
        if (mapped && mapped->size() >= size_)
            mapped_ = mapped->data();
        else
            mayMap_ = false;  // a file that has become shorter is read as far as it goes
    }
    return mapped_ != nullptr;
}

// Is the file mapped when so many more bytes are going to be read?
bool FileView::MapBefore(std::size_t count) const {
    if (mapped_ != nullptr) return true;
    const std::size_t pages = (count + kPage - 1) / kPage;
    if (pages > pagesLeft_) return Map();
    pagesLeft_ -= pages;
    return false;
}

const std::byte* FileView::Page(std::uint64_t offset) {
    if (mapped_ != nullptr) return mapped_ + offset;
    const std::uint64_t begin = offset & ~std::uint64_t{kPage - 1};
    auto& page = pages_[begin];
    if (!page) {
        if (MapBefore(kPage)) return mapped_ + offset;
        auto bytes = std::make_unique_for_overwrite<std::byte[]>(kPage);
        file_.Read(begin, {bytes.get(), static_cast<std::size_t>(std::min<std::uint64_t>(kPage, size_ - begin))});
        page = std::move(bytes);
    }
    return page.get() + (offset - begin);
}

const std::byte* FileView::Bytes(std::uint64_t offset, std::size_t count, Window& window, std::size_t ahead) const {
    if (mapped_ != nullptr) return mapped_ + offset;
    if (offset < window.offset || offset + count > window.offset + window.bytes.size()) {
        if (MapBefore(std::max(count, ahead))) return mapped_ + offset;
        const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(std::max(count, ahead), size_ - offset));
        window.bytes.clear();
        std::vector<std::byte> bytes(length);
        try {
            file_.Read(offset, bytes);
        } catch (const StorageError&) {  // maybe only bytes behind those that were asked for cannot be read
            bytes.resize(count);
            file_.Read(offset, bytes);
        }
        window = {offset, std::move(bytes)};
    }
    return window.bytes.data() + (offset - window.offset);
}

void FileView::Read(std::uint64_t offset, std::span<std::byte> bytes) {
    if (bytes.size() >= kReadDirectly || (bytes.size() >= kPage && !MapBefore(bytes.size())))
        file_.Read(offset, bytes);
    else if (!bytes.empty())
        std::memcpy(bytes.data(), Bytes(offset, bytes.size(), window_, kPage), bytes.size());
}

}  // namespace lumvex::compound
