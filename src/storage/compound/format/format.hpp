// The compound file on disk: constants, the header, a directory entry. Every number is little-endian.
//
//   version  sector  header occupies  FAT entries per sector  directory entries per sector
//      3      512        512 + 3584           128                        4
//      4     4096       4096                 1024                       32
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "storage/compound/base/little_endian.hpp"
#include "storage/compound/format/object_name.hpp"

namespace lumvex::compound {

using SectorId = std::uint32_t;  // sector n begins at byte (n + 1) << sector shift
using EntryId = std::uint32_t;   // position in the directory stream

constexpr SectorId kMaxSector = 0xFFFFFFFA;  // higher numbers are marks, not sectors
constexpr SectorId kDifatSector = 0xFFFFFFFC;
constexpr SectorId kFatSector = 0xFFFFFFFD;
constexpr SectorId kEndOfChain = 0xFFFFFFFE;
constexpr SectorId kFreeSector = 0xFFFFFFFF;
constexpr EntryId kNoEntry = 0xFFFFFFFF;

constexpr std::size_t kHeaderSize = 512;
// A disk may write or lose the header together with the physical sector of 4,096 bytes around it. So nothing else is
// put there: in version 3, no content is written to the sectors that begin before this byte.
constexpr std::size_t kFrontSize = 4096;
constexpr std::size_t kEntrySize = 128;
constexpr std::size_t kMiniSectorSize = 64;
constexpr unsigned kMiniSectorShift = 6;
constexpr std::uint32_t kMiniCutoff = 4096;  // streams shorter than this lie in the mini stream
constexpr std::size_t kDifatInHeader = 109;
constexpr std::size_t kMaxNameLength = 31;  // UTF-16 code units
static_assert(2 * (kMaxNameLength + 1) == kNameField);

// Other programs lock bytes from here on, so the sector that covers this offset never holds data.
constexpr std::uint64_t kRangeLockOffset = 0x7FFFFF00;

// Files of version 3 end before it, at the last whole sector below 2 GB: other readers refuse longer ones.
constexpr std::uint64_t kLargestVersion3File = kRangeLockOffset & ~std::uint64_t{511};

// How many table entries, directory entries or mini sectors a page (a sector of one of the file's structures) holds,
// and where among the pages one of them is. The number per page is a power of two.
class PerPage {
public:
    constexpr explicit PerPage(unsigned shift) : shift_(shift) {}

    constexpr unsigned Shift() const { return shift_; }
    constexpr std::uint32_t Count() const { return 1u << shift_; }
    constexpr std::uint32_t PageOf(std::uint32_t number) const { return number >> shift_; }
    constexpr std::uint32_t IndexOf(std::uint32_t number) const { return number & (Count() - 1); }

private:
    unsigned shift_;
};

// Of pages of 1 << pageShift bytes.
constexpr PerPage TableEntriesPerPage(unsigned pageShift) { return PerPage(pageShift - 2); }  // FAT, mini FAT or DIFAT
constexpr PerPage DirectoryEntriesPerPage(unsigned pageShift) { return PerPage(pageShift - 7); }
constexpr PerPage MiniSectorsPerPage(unsigned pageShift) { return PerPage(pageShift - kMiniSectorShift); }

// A DIFAT sector lists so many FAT sectors; its last entry is the link to the next DIFAT sector.
constexpr std::uint32_t ListedPerDifatSector(unsigned pageShift) { return TableEntriesPerPage(pageShift).Count() - 1; }

// The index-th number of a page of a table.
[[nodiscard]] inline std::uint32_t TableEntry(const std::byte* page, std::uint32_t index) {
    return Load32(page + 4 * std::size_t{index});
}

constexpr std::uint64_t MiniSectorsFor(std::uint64_t bytes) {
    return (bytes + kMiniSectorSize - 1) >> kMiniSectorShift;
}

// The header keeps its bytes, so that fields that are not ours stay as another program left them.
class Header {
public:
    using Bytes = std::array<std::byte, kHeaderSize>;

    Header() = default;

    static Header Make(int version);
    static Header Parse(const Bytes& bytes);                // NotACompoundFile, InvalidHeader
    explicit Header(const Bytes& bytes) : bytes_(bytes) {}  // unchecked

    const Bytes& bytes() const { return bytes_; }

    int Version() const { return Load<std::uint16_t>(&bytes_[26]); }
    unsigned SectorShift() const { return Load<std::uint16_t>(&bytes_[30]); }

    std::uint32_t DirectorySectors() const { return Load32(&bytes_[40]); }  // 0 in version 3
    std::uint32_t FatSectors() const { return Load32(&bytes_[44]); }
    SectorId FirstDirectory() const { return Load32(&bytes_[48]); }
    // The transaction signature. Its even part counts the commits. Its lowest bit is written after the header was
    // flushed: a header that is read with this bit is on the disk. Other programs leave 0.
    std::uint32_t Generation() const { return Load32(&bytes_[52]) & ~kKnownDurable; }
    bool IsKnownDurable() const { return (Load32(&bytes_[52]) & kKnownDurable) != 0; }
    bool IsWrittenByUs() const { return Load32(&bytes_[52]) != 0; }
    std::uint32_t MiniCutoff() const { return Load32(&bytes_[56]); }
    SectorId FirstMiniFat() const { return Load32(&bytes_[60]); }
    std::uint32_t MiniFatSectors() const { return Load32(&bytes_[64]); }
    SectorId FirstDifat() const { return Load32(&bytes_[68]); }
    std::uint32_t DifatSectors() const { return Load32(&bytes_[72]); }
    SectorId Difat(std::size_t index) const { return Load32(&bytes_[76 + 4 * index]); }

    void SetDirectory(SectorId first, std::uint32_t count) { Set(48, first), Set(40, Version() == 4 ? count : 0); }
    void SetFatSectors(std::uint32_t count) { Set(44, count); }
    void SetGeneration(std::uint32_t generation) { Set(52, generation & ~kKnownDurable); }
    void SetKnownDurable(bool known) { Set(52, Generation() | (known ? kKnownDurable : 0)); }
    std::span<const std::byte> DurableMark() const { return std::span(bytes_).subspan(kDurableMarkAt, 1); }
    void SetMiniFat(SectorId first, std::uint32_t count) { Set(60, first), Set(64, count); }
    void SetDifatChain(SectorId first, std::uint32_t count) { Set(68, first), Set(72, count); }
    void SetDifat(std::size_t index, SectorId sector) { Set(76 + 4 * index, sector); }

    static constexpr std::size_t kDurableMarkAt = 52;  // the byte with the lowest bit

    // Do both describe the same state, whether or not they are known to be on the disk? (Arrays compare byte by byte.)
    bool IsSameState(const Header& other) const {
        Header mine = *this;
        mine.SetKnownDurable(other.IsKnownDurable());
        return std::memcmp(mine.bytes_.data(), other.bytes_.data(), kHeaderSize) == 0;
    }

private:
    static constexpr std::uint32_t kKnownDurable = 1;

    void Set(std::size_t offset, std::uint32_t number) { Store32(&bytes_[offset], number); }

    Bytes bytes_{};
};

enum class EntryType : std::uint8_t { Unallocated = 0, Storage = 1, Stream = 2, Root = 5 };
[[nodiscard]] constexpr bool IsMember(EntryType type) {  // of a tree: a stream or a folder
    return type == EntryType::Stream || type == EntryType::Storage;
}

enum class Colour : std::uint8_t { Red = 0, Black = 1 };

// Reads a directory entry in place.
class DirectoryEntry {
public:
    explicit DirectoryEntry(const std::byte* at) : at_(at) {}

    // At most 31 code units, whatever the length field says.
    std::u16string_view Name(std::array<char16_t, kMaxNameLength>& buffer) const;
    std::size_t NameLength() const {  // in code units
        const std::size_t units = NameBytes() / 2u;
        return units == 0 ? 0 : std::min(units - 1, kMaxNameLength);
    }
    std::uint16_t NameBytes() const { return Load<std::uint16_t>(at_ + 64); }  // the terminating zero included
    EntryType Type() const { return static_cast<EntryType>(at_[66]); }
    Colour ColourOf() const { return at_[67] == std::byte{0} ? Colour::Red : Colour::Black; }
    EntryId Left() const { return Load32(at_ + 68); }
    EntryId Right() const { return Load32(at_ + 72); }
    EntryId Child() const { return Load32(at_ + 76); }
    SectorId Start() const { return Load32(at_ + 116); }

    // Programs leave rubbish in the upper half of a version 3 size.
    std::uint64_t Size(int version) const { return version == 3 ? Load32(at_ + 120) : Load<std::uint64_t>(at_ + 120); }

    const std::byte* bytes() const { return at_; }

private:
    const std::byte* at_;
};

class DirectoryEntryWriter {
public:
    explicit DirectoryEntryWriter(std::byte* at) : at_(at) {}

    void Clear();  // unallocated
    void CopyFrom(const std::byte* entry) { std::memcpy(at_, entry, kEntrySize); }
    void MakeStream(std::u16string_view name);
    void MakeStream(const ObjectName& name);
    void MakeRoot();
    void SetFactsOf(const std::byte* entry) { std::memcpy(at_ + 80, entry + 80, 36); }  // class ID, state bits, times
    void SetType(EntryType type) { at_[66] = static_cast<std::byte>(type); }
    void SetColour(Colour colour) { at_[67] = static_cast<std::byte>(colour); }
    void SetLeft(EntryId id) { Store32(at_ + 68, id); }
    void SetRight(EntryId id) { Store32(at_ + 72, id); }
    void SetChild(EntryId id) { Store32(at_ + 76, id); }
    void SetContent(SectorId start, std::uint64_t size) { Store32(at_ + 116, start), Store(at_ + 120, size); }

private:
    void Make(std::size_t nameLength, EntryType type);
    void WriteName(std::u16string_view name);

    std::byte* at_;
};

}  // namespace lumvex::compound
