#include "storage/compound/format/format.hpp"

#include <algorithm>
#include <bit>

#include "storage/compound/base/error.hpp"

namespace lumvex::compound {

namespace {

constexpr std::array<std::uint8_t, 8> kMagic{0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
constexpr std::uint16_t kLittleEndianMark = 0xFFFE;

unsigned ShiftOfVersion(int version) { return version == 3 ? 9 : 12; }

}  // namespace

Header Header::Make(int version) {
    Header header;
    std::byte* at = header.bytes_.data();
    std::memcpy(at, kMagic.data(), kMagic.size());
    Store<std::uint16_t>(at + 24, 0x3E);
    Store<std::uint16_t>(at + 26, static_cast<std::uint16_t>(version));
    Store<std::uint16_t>(at + 28, kLittleEndianMark);
    Store<std::uint16_t>(at + 30, static_cast<std::uint16_t>(ShiftOfVersion(version)));
    Store<std::uint16_t>(at + 32, kMiniSectorShift);
    header.Set(56, kMiniCutoff);
    header.SetDirectory(kEndOfChain, 0);
    header.SetMiniFat(kEndOfChain, 0);
    header.SetDifatChain(kEndOfChain, 0);
    for (std::size_t i = 0; i < kDifatInHeader; ++i) header.SetDifat(i, kFreeSector);
    return header;
}

Header Header::Parse(const Bytes& bytes) {
    if (std::memcmp(bytes.data(), kMagic.data(), kMagic.size()) != 0)
        throw StorageError(Status::NotACompoundFile, "no compound file: it begins with other bytes");
    const Header header(bytes);
    const int version = header.Version();
    if (version != 3 && version != 4) throw StorageError(Status::InvalidHeader, "version ", version, ", not 3 or 4");
    const auto order = Load<std::uint16_t>(&bytes[28]);
    if (order != kLittleEndianMark) throw StorageError(Status::InvalidHeader, "byte order mark ", order);
    if (header.SectorShift() != ShiftOfVersion(version))
        throw StorageError(Status::InvalidHeader, "sector shift ", header.SectorShift(), " in version ", version);
    const auto miniShift = Load<std::uint16_t>(&bytes[32]);
    if (miniShift != kMiniSectorShift) throw StorageError(Status::InvalidHeader, "mini sector shift ", miniShift);
    return header;
}

std::u16string_view DirectoryEntry::Name(std::array<char16_t, kMaxNameLength>& buffer) const {
    const std::size_t length = NameLength();
    if constexpr (std::endian::native == std::endian::little)
        std::memcpy(buffer.data(), at_, sizeof buffer);  // a fixed number of bytes is copied in fewer steps
    else
        for (std::size_t i = 0; i < length; ++i) buffer[i] = Load<char16_t>(at_ + 2 * i);
    return {buffer.data(), length};
}

void DirectoryEntryWriter::Clear() {
    std::fill_n(at_, kEntrySize, std::byte{0});
    SetLeft(kNoEntry);
    SetRight(kNoEntry);
    SetChild(kNoEntry);
}

void DirectoryEntryWriter::WriteName(std::u16string_view name) {
    for (std::size_t i = 0; i < name.size(); ++i) Store<char16_t>(at_ + 2 * i, name[i]);
}

void DirectoryEntryWriter::Make(std::size_t nameLength, EntryType type) {
    Clear();
    Store<std::uint16_t>(at_ + 64, static_cast<std::uint16_t>(2 * nameLength + 2));
    at_[66] = static_cast<std::byte>(type);
    SetColour(Colour::Black);
    SetContent(kEndOfChain, 0);
}

void DirectoryEntryWriter::MakeStream(std::u16string_view name) {
    Make(name.size(), EntryType::Stream);
    WriteName(name);
}

void DirectoryEntryWriter::MakeStream(const ObjectName& name) {
    Make(kObjectNameLength, EntryType::Stream);
    WriteText(name, at_);
}

void DirectoryEntryWriter::MakeRoot() {
    constexpr std::u16string_view kName = u"Root Entry";
    Make(kName.size(), EntryType::Root);
    WriteName(kName);
}

}  // namespace lumvex::compound
