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

std::span<const std::byte> FileView::Part(std::uint64_t offset, std::size_t count) {
    const std::uint64_t begin = offset & ~std::uint64_t{kPage - 1};
    const auto at = static_cast<std::size_t>(offset - begin);
    const auto inFile = static_cast<std::size_t>(std::min<std::uint64_t>(kPage, size_ - begin));
    const auto inMapping = [&] { return std::span(mapped_ + offset, inFile - at); };
    if (mapped_ != nullptr) return inMapping();
    KnownPage& page = pages_[begin];
    if (const auto known = page.KnownFrom(at); known.size() >= count) return known;
    if (page.IsNew()) {
        pagesInARow_ = begin == lastPage_ + kPage ? pagesInARow_ + 1 : 1;
        lastPage_ = begin;
        if (pagesInARow_ > kPagesInARow ? Map() : MapBefore(kPage)) return inMapping();
        if (count <= kPart) {
            const std::size_t wanted = std::min(kPart, inFile - at);
            page.part = std::make_unique_for_overwrite<std::byte[]>(wanted);
            page.partBegin = at;
            page.partCount = ReadUpTo(offset, page.part.get(), wanted, count);
            return page.KnownFrom(at);
        }
    }
    if (page.bytes == nullptr) page.bytes = std::make_unique_for_overwrite<std::byte[]>(kPage);
    std::byte* const rest = page.bytes.get() + page.count;
    page.count += ReadUpTo(begin + page.count, rest, inFile - page.count, at + count - page.count);
    return page.KnownFrom(at);
}

// Reads so many wanted bytes, at least those that are needed; how many were read. What is behind these may be
// unreadable, or gone: a writer cuts what no reader needs off the file.
std::size_t FileView::ReadUpTo(std::uint64_t begin, std::byte* bytes, std::size_t wanted, std::size_t needed) const {
    try {
        file_.Read(begin, std::span(bytes, wanted));
        return wanted;
    } catch (const StorageError&) {
        if (needed == wanted) throw;
        file_.Read(begin, std::span(bytes, needed));
        return needed;
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
    const std::size_t count = bytes.size();
    if (mapped_ == nullptr && IsInFewPages(offset, count)) {
        std::memcpy(bytes.data(), Page(offset, count), count);
        return;
    }
    // As long as few pages were read, what lies across two of them is read alone. After that the file is mapped; where
    // it cannot be, short reads go through the window.
    const bool mayReadAlone = count >= kPage || pagesLeft_ > 0;
    if (count >= kReadDirectly || (mayReadAlone && !MapBefore(count)))
        file_.Read(offset, bytes);
    else
        std::memcpy(bytes.data(), Bytes(offset, count, window_, kPage), count);
}

}  // namespace lumvex::compound
