#include "storage/compound/file/hidden_name.hpp"

#include <algorithm>
#include <cstdint>
#include <random>

namespace lumvex::compound {

namespace {

// Always of the same length: the document's own name may be as long as the system allows.
std::string PrefixFor(const std::filesystem::path& target) {
    std::uint64_t hash = 0xCBF29CE484222325u;  // FNV-1a over the file's name
    const std::filesystem::path name = target.filename();
    for (const auto unit : name.native()) hash = (hash ^ static_cast<std::uint64_t>(unit)) * 0x100000001B3u;
    std::string prefix = ".~lumvex-";
    for (int shift = 60; shift >= 0; shift -= 4) prefix += "0123456789abcdef"[hash >> shift & 15];
    return prefix + "-";
}

}  // namespace

std::string HiddenNameFor(const std::filesystem::path& target) {
    std::random_device random;
    return PrefixFor(target) + std::to_string(random()) + std::to_string(random());
}

bool IsHiddenNameFor(const std::filesystem::path& target, std::string_view name) {
    const std::string prefix = PrefixFor(target);
    const auto isDigit = [](char each) { return each >= '0' && each <= '9'; };
    return name.size() > prefix.size() && name.starts_with(prefix) &&
           std::all_of(name.begin() + static_cast<std::ptrdiff_t>(prefix.size()), name.end(), isDigit);
}

}  // namespace lumvex::compound
