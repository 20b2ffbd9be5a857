// Reads a file through a mapping that is behind a guard. Where the file cannot be mapped, and after mapped bytes could
// not be read, it reads page by page instead: then an error concerns only the bytes that were asked for. It also begins
// so: making a mapping, the page faults of its first pages and removing it take as long as reading some thirty pages.
#pragma once

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "storage/compound/file/file.hpp"

namespace lumvex::compound {

class FileView {
public:
    explicit FileView(File& file) : file_(file) {}  // empty until Refresh

    // Looks at the file again; pages and bytes that were returned before are not valid any more.
    void Refresh();
    void CutTo(std::uint64_t size) noexcept { size_ = std::min(size, size_); }
    std::uint64_t Size() const { return size_; }

    // So many bytes from offset on, not beyond the next multiple of 4096 or the end of the file. Valid until Refresh.
    const std::byte* Page(std::uint64_t offset, std::size_t count) {
        return mapped_ != nullptr ? mapped_ + offset : Part(offset, count).data();
    }
    // The same of pages that are mostly asked for in order.
    const std::byte* PageInOrder(std::uint64_t offset, std::size_t count) {
        return mapped_ != nullptr ? InMapping(offset) : Page(offset, count);
    }
    // As Page(); the answer may be longer than count: it has what is known already of the rest of the page.
    std::span<const std::byte> Part(std::uint64_t offset, std::size_t count);

    // These bytes will hardly be read again.
    void GiveBack(std::uint64_t offset, std::uint64_t count) const noexcept {
        constexpr std::uint64_t kWhole = ~(std::uint64_t{64 << 10} - 1);  // of systems with long pages, too
        if (mapped_ != nullptr) file_.GiveBack(offset & kWhole, ((offset + count) & kWhole) - (offset & kWhole));
    }

    // Bytes of the file that are adjacent in memory: in a page while few were read, else in the mapping. Null where it
    // cannot be mapped. Valid until Refresh.
    const std::byte* InPlace(std::uint64_t offset, std::uint64_t count) {
        return IsInFewPages(offset, count) || Map() ? Page(offset, static_cast<std::size_t>(count)) : nullptr;
    }

    // Bytes of the file: in the mapping or, where there is none, in the window, into which at least `ahead` bytes are
    // read. Valid until the window is used again.
    class Window {
    public:
        bool Has(std::uint64_t offset, std::size_t count) const {
            return offset >= offset_ && offset - offset_ <= count_ && count <= count_ - (offset - offset_);
        }
        const std::byte* At(std::uint64_t offset) const { return bytes_.get() + (offset - offset_); }
        std::uint64_t End() const { return offset_ + count_; }
        void Fill(const File& file, std::uint64_t offset, std::size_t count);
        void Forget() noexcept { count_ = 0; }

    private:
        std::uint64_t offset_ = 0;
        std::size_t count_ = 0, room_ = 0;
        std::unique_ptr<std::byte[]> bytes_;
    };
    const std::byte* Bytes(std::uint64_t offset, std::size_t count, Window& window, std::size_t ahead = 0) const {
        if (mapped_ != nullptr) return InMapping(offset);
        return !window.Has(offset, count) && MapBefore(std::max(count, ahead))
                   ? InMapping(offset)
                   : BytesOnce(offset, count, window, ahead);
    }
    // The same for who reads every byte once: the file is not mapped for that, however much it is.
    const std::byte* BytesOnce(std::uint64_t offset, std::size_t count, Window& window, std::size_t ahead = 0) const {
        return mapped_ != nullptr ? InMapping(offset) : InWindow(offset, count, window, ahead);
    }

    void Read(std::uint64_t offset, std::span<std::byte> bytes) {
        if (mapped_ == nullptr || bytes.empty() || bytes.size() >= kReadDirectly)
            return ReadLongOrUnmapped(offset, bytes);
        const bool isAhead = ahead_.Has(offset, bytes.size());
        std::memcpy(bytes.data(), isAhead ? ahead_.At(offset) : NotAhead(offset, bytes.size()), bytes.size());
    }

    bool IsMapped() const { return mapped_ != nullptr; }
    bool Map() const;                                                       // now, if it can be; is it mapped?
    void ReadPageByPage() noexcept { mapped_ = nullptr, mayMap_ = false; }  // from now on

private:
    static constexpr std::size_t kPage = 4096;
    static constexpr std::size_t kPagesUnmapped = 64;  // the file is mapped before more are read
    // One page fault of a mapping brings sixteen adjacent pages. So the file is mapped earlier where adjacent pages are
    // read one after the other.
    static constexpr std::size_t kPagesInARow = 3;

    // Are the bytes in one page, and may that still be read without a mapping?
    bool IsInFewPages(std::uint64_t offset, std::uint64_t count) const {
        return count <= kPage - offset % kPage && pagesLeft_ > 0;
    }
    bool MapBefore(std::size_t count) const;
    const std::byte* InWindow(std::uint64_t offset, std::size_t count, Window& window, std::size_t ahead) const;
    const std::byte* NotAhead(std::uint64_t offset, std::size_t count);
    void ReadLongOrUnmapped(std::uint64_t offset, std::span<std::byte> bytes);

    // From so many bytes on a read call into the caller's memory is faster than touching the pages of the mapping.
    static constexpr std::size_t kReadDirectly = std::size_t{64} * 1024;

    // Pages that were read in the mapping count as this process's memory until the file is closed, all of the file for
    // whoever reads it from one end to the other. So a few readers are followed: a read that begins less than kNear
    // behind the last one of a reader is that reader's next one, and each time a reader has gone on by kStep, what it
    // has passed is given back.
    const std::byte* InMapping(std::uint64_t offset) const {
        Reader& reader = readers_[reader_];
        if (offset - reader.at >= kNear || offset - reader.begin >= kStep)
            Follow(offset);
        else
            reader.at = offset;
        return mapped_ + offset;
    }
    void Follow(std::uint64_t offset) const;

    struct Reader {
        std::uint64_t begin = 0, at = 0;  // what is before the beginning was given back
    };
    static constexpr std::uint64_t kNear = std::uint64_t{64} << 10, kStep = std::uint64_t{256} << 10;

    // Fresh memory for a page takes longer than reading the page, and of most pages on the way to one object a few
    // bytes are needed. So the bytes of a page that are asked for first are read with only some that follow them, and
    // the whole page when others of it are asked for.
    static constexpr std::size_t kPart = 512;
    struct KnownPage {
        std::unique_ptr<std::byte[]> bytes;  // kPage; null as long as only a part was asked for
        std::size_t count = 0;               // bytes that are known, from its beginning
        std::unique_ptr<std::byte[]> part;   // at most kPart
        std::size_t partBegin = 0, partCount = 0;

        bool IsNew() const { return bytes == nullptr && part == nullptr; }
        std::span<const std::byte> KnownFrom(std::size_t at) const {
            if (at < count) return std::span(bytes.get(), count).subspan(at);
            if (at < partBegin || at - partBegin >= partCount) return {};
            return std::span(part.get(), partCount).subspan(at - partBegin);
        }
    };
    std::size_t ReadUpTo(std::uint64_t begin, std::byte* bytes, std::size_t wanted, std::size_t needed) const;

    File& file_;
    std::uint64_t size_ = 0;
    mutable const std::byte* mapped_ = nullptr;  // the mapping is made by whoever reads much
    mutable bool mayMap_ = true;
    mutable std::size_t pagesLeft_ = kPagesUnmapped;
    std::uint64_t lastPage_ = 0;  // the one that was read last
    std::size_t pagesInARow_ = 0;
    std::unordered_map<std::uint64_t, KnownPage> pages_;
    Window window_;
    Window ahead_;                 // what a client probably reads next that goes through the file
    std::uint64_t nextInRow_ = 0;  // where the last read ended that was not in it and did not follow it
    std::size_t readsInRow_ = 0;   // so many of these reads began shortly before or behind the end of the one before
    mutable std::array<Reader, 4> readers_;
    mutable std::size_t reader_ = 0;  // the last one
};

}  // namespace lumvex::compound
