// Object IDs as entry names: an entry's name holds at most 31 characters, so the 16 bytes of an ID are written as 26
// characters of base32hex (0-9, A-V, no padding).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace lumvex::compound {

inline constexpr std::size_t kObjectNameLength = 26;  // 128 bits in groups of five, the last padded with two zero bits

// Such a name as two numbers: the bytes that the ID's text shows first, and the others, each with the first byte as the
// highest. These order as the names do.
struct ObjectName {
    std::uint64_t first = 0, second = 0;
    bool operator==(const ObjectName&) const = default;
    bool operator<(const ObjectName& other) const {
        return first != other.first ? first < other.first : second < other.second;
    }
};
void WriteText(const ObjectName& object, std::span<char16_t, kObjectNameLength> name) noexcept;
void WriteText(const ObjectName& object, std::byte* littleEndian) noexcept;  // as 52 bytes
// The object name that has this text, in upper case; none where no name of an object has it.
[[nodiscard]] std::optional<ObjectName> ObjectNameOf(std::u16string_view text) noexcept;
// The numbers of a name that is in an entry's field for it, as it is in the file, in upper or lower case; what follows
// the name in the field does not count. False where it is no name of an ID; then the numbers mean nothing. (They are
// passed one by one: a pair of them that is copied as a whole would wait until both are in the cache.)
inline constexpr std::size_t kNameField = 64;  // bytes
[[nodiscard]] bool ReadNameOfId(std::span<const std::byte, kNameField> name, std::uint64_t& first,
                                std::uint64_t& second) noexcept;

// The bytes are in the order in which the ID's text shows them.
[[nodiscard]] std::u16string NameOfId(std::span<const std::byte, 16> idInTextOrder);

// The ID that NameOfId makes this name of, or its lower case, as names compare without regard to case; none where there
// is no such ID.
[[nodiscard]] std::optional<std::array<std::byte, 16>> IdOfName(std::u16string_view name);

}  // namespace lumvex::compound
