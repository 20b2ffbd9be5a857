// What is left of the header, and directory entries wherever they are.
#include <algorithm>
#include <array>
#include <cstring>

#include "storage/compound/format/object_name.hpp"
#include "storage/compound/salvage/salvaged_file.hpp"

namespace lumvex::compound {

namespace {

constexpr std::size_t kObjectNameLength = 26;

bool IsAllZero(std::span<const std::byte> bytes) {
    return std::ranges::all_of(bytes, [](std::byte each) { return each == std::byte{0}; });
}

// The first characters of an entry, whatever its other fields say: a damaged one must not cost the name of an object.
std::u16string ObjectNameAt(const std::byte* entry) {
    std::u16string name;
    for (std::size_t at = 0; at < kObjectNameLength; ++at) name.push_back(Load<char16_t>(entry + 2 * at));
    return IdOfName(name) && Load<char16_t>(entry + 2 * kObjectNameLength) == 0 ? name : std::u16string();
}

// The name of another stream, where all of the entry looks like one.
std::u16string OtherNameAt(const std::byte* bytes) {
    const DirectoryEntry entry(bytes);
    const std::uint16_t count = entry.NameBytes();
    if (entry.Type() != EntryType::Stream || bytes[67] > std::byte{1} || entry.Child() != kNoEntry) return {};
    if (count < 4 || count > 64 || count % 2 != 0) return {};
    std::array<char16_t, kMaxNameLength> buffer;
    const std::u16string_view name = entry.Name(buffer);
    if (std::ranges::any_of(name, [](char16_t unit) { return unit == 0; })) return {};
    if (!IsAllZero(std::span(bytes + count - 2, 64 - count + 2u))) return {};
    return std::u16string(name);
}

bool IsRoot(const std::byte* bytes) {
    constexpr std::u16string_view kName = u"Root Entry";
    for (std::size_t at = 0; at < kName.size(); ++at)
        if (Load<char16_t>(bytes + 2 * at) != kName[at]) return false;
    return true;
}

}  // namespace

// The file's first bytes, or where these are none, those of another sector that are a header: it was put elsewhere.
Header SalvagedFile::FindHeader() const {
    constexpr std::array<std::uint8_t, 8> kSignature{0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
    const auto isSound = [](const Header& header) {
        const bool is3 = header.Version() == 3 && header.SectorShift() == 9;
        return (is3 || (header.Version() == 4 && header.SectorShift() == 12)) && header.MiniCutoff() == kMiniCutoff;
    };
    Header::Bytes first{}, bytes{};
    Read(0, first);
    if (isSound(Header(first))) return Header(first);
    std::vector<std::byte> block(kBlock);
    for (std::uint64_t offset = 0; offset < size_; offset += kBlock) {
        Read(offset, block);
        for (std::size_t at = 0; at + kHeaderSize <= kBlock; at += kHeaderSize) {
            if (std::memcmp(&block[at], kSignature.data(), kSignature.size()) != 0) continue;
            std::copy_n(block.begin() + static_cast<std::ptrdiff_t>(at), kHeaderSize, bytes.begin());
            const Header header(bytes);
            if (!isSound(header)) continue;
            std::array<std::byte, kEntrySize> entry;
            Read((std::uint64_t{header.FirstDirectory()} + 1) << header.SectorShift(), entry);
            if (IsRoot(entry.data())) return header;
        }
    }
    return Header(first);
}

// Where the header's fields do not agree: that size under which more streams begin as they should or, without streams,
// that of a file whose header is not followed by zeros.
unsigned SalvagedFile::ShiftOf(const Header& header) const {
    const bool says3 = header.Version() == 3, says4 = header.Version() == 4;
    if (says3 && header.SectorShift() == 9) return 9;
    if (says4 && header.SectorShift() == 12) return 12;
    std::size_t hits3 = 0, hits4 = 0;
    for (const SalvagedEntry& entry : entries_) {
        if (!IsLarge(entry)) continue;
        if (BeginsAt((std::uint64_t{entry.start} + 1) << 9)) ++hits3;
        if (BeginsAt((std::uint64_t{entry.start} + 1) << 12)) ++hits4;
    }
    if (hits3 != hits4) return hits3 > hits4 ? 9 : 12;
    std::vector<std::byte> rest(4096 - kHeaderSize);
    return Read(kHeaderSize, rest) && IsAllZero(rest) ? 12 : 9;
}

// Entries begin at multiples of their size in the file as well, since sectors do.
void SalvagedFile::FindEntries() {
    std::vector<std::byte> block(kBlock);
    for (std::uint64_t offset = 0; offset < size_; offset += kBlock) {
        Read(offset, block);
        for (std::size_t at = 0; at < kBlock && offset + at < size_; at += kEntrySize)
            NoteEntry(offset + at, &block[at]);
    }
}

void SalvagedFile::NoteEntry(std::uint64_t offset, const std::byte* bytes) {
    // Names of objects and of all streams that are known begin with a character below 128.
    if (bytes[0] == std::byte{0} || bytes[1] != std::byte{0}) return;
    const DirectoryEntry entry(bytes);
    const auto unknown = SalvagedEntry::Standing::Unknown;
    if (IsRoot(bytes)) {
        roots_.push_back({entry.Start(), entry.Size(3), unknown});
        rootOffsets_.push_back(offset);
        return;
    }
    std::u16string name = ObjectNameAt(bytes);
    if (name.empty()) name = OtherNameAt(bytes);
    if (name.empty()) return;
    // No stream is longer than 4 GB in a file that is shorter.
    const std::uint64_t size = size_ > 0xFFFFFFFF ? entry.Size(4) : entry.Size(3);
    entries_.push_back({std::move(name), entry.Start(), size, unknown});
    entryOffsets_.push_back(offset);
}

// Which entries are those of the directory that the header leads to, and which are in sectors that are free.
void SalvagedFile::JudgeEntries() {
    using Standing = SalvagedEntry::Standing;
    std::unordered_map<SectorId, Standing> holders;
    SectorId sector = hasHeader_ ? firstDirectory_ : kEndOfChain;
    Standing standing = Standing::Current;
    for (; IsRegular(sector) && sector < sectors_ && holders.emplace(sector, standing).second;
         sector = fat_.Next(sector))
        if (!fat_.IsCertain(sector) && fat_.Next(sector) != kEndOfChain) standing = Standing::Likely;
    directoryWhole_ = sector == kEndOfChain && !holders.empty() && standing == Standing::Current;
    if (holders.empty()) holders = LikelyDirectory();
    const auto judge = [&](std::uint64_t offset) {
        const auto holder = static_cast<SectorId>((offset >> shift_) - 1);
        const auto found = holders.find(holder);
        return found != holders.end()             ? found->second
               : fat_.Next(holder) == kFreeSector ? Standing::Free
                                                  : Standing::Unknown;
    };
    for (std::size_t at = 0; at < entries_.size(); ++at) entries_[at].standing = judge(entryOffsets_[at]);
    for (std::size_t at = 0; at < roots_.size(); ++at) roots_[at].standing = judge(rootOffsets_[at]);
    // A sector of the directory without an entry that is recognised was overwritten.
    std::unordered_set<SectorId> holding;
    for (const std::uint64_t offset : entryOffsets_) holding.insert(static_cast<SectorId>((offset >> shift_) - 1));
    std::vector<std::byte> bytes(std::size_t{1} << shift_);
    for (const auto& [each, unused] : holders) {
        if (holding.contains(each)) continue;
        Read(OffsetOf(each), bytes);
        for (std::size_t at = 0; at < bytes.size(); at += kEntrySize) {
            const DirectoryEntry entry(&bytes[at]);
            directoryWhole_ = directoryWhole_ && (entry.Type() == EntryType::Root || entry.NameBytes() == 0) &&
                              (entry.Type() == EntryType::Root || entry.Left() == kNoEntry);
        }
    }
}

// Without a header, the directory is the longest chain that begins with a root entry.
std::unordered_map<SectorId, SalvagedEntry::Standing> SalvagedFile::LikelyDirectory() const {
    std::unordered_map<SectorId, SalvagedEntry::Standing> best;
    for (const std::uint64_t offset : rootOffsets_) {
        std::unordered_map<SectorId, SalvagedEntry::Standing> holders;
        auto sector = static_cast<SectorId>((offset >> shift_) - 1);
        for (; IsRegular(sector) && sector < sectors_; sector = fat_.Next(sector))
            if (!holders.emplace(sector, SalvagedEntry::Standing::Likely).second) break;
        if (sector == kEndOfChain && holders.size() > best.size()) best = std::move(holders);
    }
    return best;
}

}  // namespace lumvex::compound
