#include "storage/compound/file/file_view.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

namespace lumvex::compound {

void FileView::Refresh() {
    pages_.clear();
    window_.Forget();
    ahead_.Forget();
    readsInRow_ = 0;
    readers_ = {};
    const bool wasMapped = std::exchange(mapped_, nullptr) != nullptr;
    const auto mapped = wasMapped && mayMap_ ? file_.Map() : std::nullopt;
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

void FileView::Follow(std::uint64_t offset) const {
    const auto isNear = [offset](const Reader& reader) { return offset - reader.at < kNear; };
    const auto found = std::ranges::find_if(readers_, isNear);
    if (found == readers_.end()) {
        reader_ = (reader_ + 1) % readers_.size();
        readers_[reader_] = {offset, offset};
        return;
    }
    reader_ = static_cast<std::size_t>(found - readers_.begin());
    found->at = offset;
    if (offset - found->begin < kStep) return;
    GiveBack(found->begin, offset - found->begin);
    found->begin = offset;
}

const std::byte* FileView::Page(std::uint64_t offset, std::size_t count) {
    if (mapped_ != nullptr) return mapped_ + offset;
    const std::uint64_t begin = offset & ~std::uint64_t{kPage - 1};
    KnownPage& page = pages_[begin];
    const auto needed = static_cast<std::size_t>(offset - begin) + count;
    if (page.count < needed) {
        if (page.count == 0) {
            pagesInARow_ = begin == lastPage_ + kPage ? pagesInARow_ + 1 : 1;
            lastPage_ = begin;
            if (pagesInARow_ > kPagesInARow ? Map() : MapBefore(kPage)) return mapped_ + offset;
            page.bytes = std::make_unique_for_overwrite<std::byte[]>(kPage);
        }
        page.count = ReadPage(begin, page, needed);
    }
    return page.bytes.get() + (offset - begin);
}

// Reads what is not known of the page, at least up to `needed`. What is behind that may be unreadable, or gone: a
// writer cuts what no reader needs off the file.
std::size_t FileView::ReadPage(std::uint64_t begin, const KnownPage& page, std::size_t needed) const {
    const auto readUpTo = [&](std::size_t end) {
        file_.Read(begin + page.count, std::span(page.bytes.get(), end).subspan(page.count));
        return end;
    };
    const auto whole = static_cast<std::size_t>(std::min<std::uint64_t>(kPage, size_ - begin));
    try {
        return readUpTo(whole);
    } catch (const StorageError&) {
        if (needed == whole) throw;
        return readUpTo(needed);
    }
}

void FileView::Window::Fill(const File& file, std::uint64_t offset, std::size_t count) {
    count_ = 0;
    if (room_ < count) {
        bytes_ = std::make_unique_for_overwrite<std::byte[]>(count);
        room_ = count;
    }
    file.Read(offset, std::span(bytes_.get(), count));
    offset_ = offset;
    count_ = count;
}

// Bytes that were not read ahead, of a file that is mapped. Once a client's short reads have followed each other for a
// while, the next ones are read ahead: mapping pages and letting them go again takes a quarter longer. Reads of other
// places in between change nothing.
const std::byte* FileView::NotAhead(std::uint64_t offset, std::size_t count) {
    constexpr std::uint64_t kShortly = 4096;
    constexpr std::size_t kMany = 16, kReadAhead = std::size_t{64} * 1024;
    const auto isNear = [offset](std::uint64_t end) { return offset + kShortly - end < 2 * kShortly; };
    const std::byte* const mapped = InMapping(offset);  // gives back what others have mapped on the way, too
    if (count >= kShortly) return mapped;
    if (!isNear(ahead_.End())) {
        readsInRow_ = isNear(nextInRow_) ? readsInRow_ + 1 : 0;
        nextInRow_ = offset + count;
        if (readsInRow_ < kMany) return mapped;
    }
    return InWindow(offset, count, ahead_, kReadAhead);
}

const std::byte* FileView::InWindow(std::uint64_t offset, std::size_t count, Window& window, std::size_t ahead) const {
    if (!window.Has(offset, count)) {
        const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(std::max(count, ahead), size_ - offset));
        try {
            window.Fill(file_, offset, length);
        } catch (const StorageError&) {  // maybe only bytes behind those that were asked for cannot be read
            if (length == count) throw;
            window.Fill(file_, offset, count);
        }
    }
    return window.At(offset);
}

void FileView::ReadLongOrUnmapped(std::uint64_t offset, std::span<std::byte> bytes) {
    if (bytes.empty()) return;
    if (mapped_ == nullptr && IsInFewPages(offset, bytes.size()))
        std::memcpy(bytes.data(), Page(offset, bytes.size()), bytes.size());
    else if (bytes.size() >= kReadDirectly || (bytes.size() >= kPage && !MapBefore(bytes.size())))
        file_.Read(offset, bytes);
    else
        std::memcpy(bytes.data(), Bytes(offset, bytes.size(), window_, kPage), bytes.size());
}

}  // namespace lumvex::compound
