// Documents put together by hand, stream by stream, and what stands in documents that were saved.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "lumvex/values.hpp"
#include "storage/compound/engine/compound_file.hpp"

namespace lumvex::tests {

using Bytes = std::vector<std::byte>;

// "02 00 01 80": hexadecimal digits in pairs; blanks between them as it reads best.
inline Bytes Hex(std::string_view text) {
    Bytes bytes;
    unsigned value = 0, digits = 0;
    for (const char c : text) {
        if (c == ' ') continue;
        value = value * 16 + static_cast<unsigned>(c <= '9' ? c - '0' : c - 'A' + 10);
        if (++digits % 2 == 0) bytes.push_back(static_cast<std::byte>(value & 0xFF));
    }
    EXPECT_EQ(digits % 2, 0u) << text;
    return bytes;
}

inline std::string AsHex(const Bytes& bytes) {
    std::string text;
    char digits[4];
    for (const std::byte byte : bytes) {
        std::snprintf(digits, sizeof digits, "%02X ", static_cast<unsigned>(byte));
        text += digits;
    }
    if (!text.empty()) text.pop_back();
    return text;
}

inline Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

inline std::u16string PathText(const std::filesystem::path& path) { return path.u16string(); }

inline Bytes FileBytes(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    Bytes bytes(file ? static_cast<std::size_t>(file.tellg()) : 0);
    file.seekg(0).read(reinterpret_cast<char*>(bytes.data()), std::ssize(bytes));
    return bytes;
}

inline void WriteFileBytes(const std::filesystem::path& path, std::span<const std::byte> bytes) {
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
}

// A folder of its own for each test.
class Folder {
public:
    Folder() {
        GUID id;
        CoCreateGuid(&id);
        // Tests that have the same IDs in every run need folders of their own, too, with paths of the same length.
        constexpr unsigned kTenDigits = 1'000'000'000;
        const std::string own = '-' + std::to_string(kTenDigits + std::random_device()() % kTenDigits);
        path_ = std::filesystem::temp_directory_path() / (ToText(id) + std::u16string(own.begin(), own.end()));
        std::filesystem::create_directory(path_);
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::filesystem::path operator/(std::string_view name) const { return path_ / name; }
    const std::filesystem::path& Path() const { return path_; }

private:
    std::filesystem::path path_;
};

// ---- streams ----

using Streams = std::map<std::u16string, Bytes>;

inline void WriteDocument(const std::filesystem::path& path, const Streams& streams) {
    using namespace compound;
    const auto file = CompoundFile::Create(CreateReplacing(path, Access::Exclusive), 3);
    for (const auto& [name, bytes] : streams) {
        const Piece piece = bytes;
        file->Write(name, std::span(&piece, 1));
    }
    file->Commit();
}

inline Streams ReadDocument(const std::filesystem::path& path) {
    using namespace compound;
    const auto file = CompoundFile::Open(OpenFile(path, Access::ReadShared), Access::ReadShared);
    Streams streams;
    file->ForEachStream([&](std::u16string_view name, std::uint64_t size) {
        Bytes bytes(size);
        file->Get(name).Read(0, bytes);
        streams.emplace(name, std::move(bytes));
    });
    return streams;
}

// ---- one small document: a project with two named arrays ----

// IDs whose bytes in memory count upwards: the project 00 01 ... 0F, its data collection 10 ... 1F, and so on.
inline const std::string kProjectIdBytes = "00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F";
inline const std::string kDataIdBytes = "10 11 12 13 14 15 16 17 18 19 1A 1B 1C 1D 1E 1F";
inline const std::string kFirstIdBytes = "20 21 22 23 24 25 26 27 28 29 2A 2B 2C 2D 2E 2F";
inline const std::string kSecondIdBytes = "30 31 32 33 34 35 36 37 38 39 3A 3B 3C 3D 3E 3F";
inline constexpr std::u16string_view kProjectId = u"{03020100-0504-0706-0809-0A0B0C0D0E0F}";
inline constexpr std::u16string_view kDataId = u"{13121110-1514-1716-1819-1A1B1C1D1E1F}";
inline constexpr std::u16string_view kFirstId = u"{23222120-2524-2726-2829-2A2B2C2D2E2F}";
inline constexpr std::u16string_view kSecondId = u"{33323130-3534-3736-3839-3A3B3C3D3E3F}";
inline const std::u16string kDataStream = u"2C91240L2GBHC60P38DHO78U3S";
inline const std::u16string kFirstStream = u"4CH228154GJICA1958LIOB9E5S";
inline const std::u16string kSecondStream = u"6CP32C1L6GRJCE1P78TJOF9U7S";

inline const std::string kNoId = "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";
inline const std::string kProjectClass = "EB CD A5 09 33 29 88 4F 91 96 E1 3F 80 99 3A BB";
inline const std::string kDataClass = "2C A1 BA 6B 75 ED E8 42 8D A3 F1 04 62 B6 EE CC";
inline const std::string kDatumClass = "14 49 B4 42 9B FE 2B 48 97 7D 01 1B D3 79 E3 7A";

// The root record behind the version word: own reference, five absent references, no library, the data collection, no
// workspace.
inline Bytes SmallRootRecord() {
    return Hex(kProjectIdBytes + "07 00 00 00  00 00  00 00  00 00  00 00  00 00  00 00  01 00" + kDataIdBytes +
               "00 00 00 00  00 00");
}

// A datum named "A", dated 1.5: 1.0, 2.0, 3.0 at 44100 Hz.
inline Bytes FirstRecord() {
    return Hex(
        "02 00 01 80  00 00 00 00 00 00 F8 3F  04 00 00 00 41 00 00 00  02 00 01 00 00 00 04 00  00 00 00 00 02 00 00 "
        "00"
        "00 00 80 3F  00 00 00 40  00 00 40 40  44 AC 00 00");
}

// A datum named "Second", undated, without an array, at 48000 Hz.
inline Bytes SecondRecord() {
    return Hex(
        "02 00 01 80  00 00 00 00 00 00 00 00  0E 00 00 00 53 00 65 00 63 00 6F 00 6E 00 64 00 00 00  00 00"
        "80 BB 00 00");
}

inline Streams SmallDocument() {
    return {
        {u"VERSIONINFO-V000", Hex("00 00 00 00")},
        {u"ROOT-V200", Hex("00 10 00 90") + SmallRootRecord()},
        {u"ROOT", SmallRootRecord()},
        {u"ROOTDIR-V100",
         Hex("04 00 00 00" +                                            //
             kProjectIdBytes + kNoId + kProjectClass + "07 00 00 00" +  //
             kDataIdBytes + kNoId + kDataClass + "00 00 00 00" +        //
             kFirstIdBytes + kNoId + kDatumClass + "05 00 00 00" +      //
             kSecondIdBytes + kSecondIdBytes + kDatumClass + "00 00 00 00")},
        {kDataStream, Hex("01 00 01 80  02 00 00 00" + kFirstIdBytes + "05 00 00 00" + kSecondIdBytes + "00 00 00 00")},
        {kFirstStream, FirstRecord()},
        {kSecondStream, SecondRecord()}};
}

}  // namespace lumvex::tests
