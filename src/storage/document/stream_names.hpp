// The streams of a document's file: one for each object, and these.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "lumvex/values.hpp"
#include "storage/compound/format/names.hpp"

namespace lumvex::inside {

inline constexpr std::u16string_view kVersionInfoStream = u"VERSIONINFO-V000";
inline constexpr std::u16string_view kRootStream = u"ROOT-V200";
inline constexpr std::u16string_view kOldRootStream = u"ROOT";
inline constexpr unsigned kRootVersion = 4096;  // the highest root record this program reads, and the one it writes
inline constexpr std::u16string_view kDirectoryStream = u"ROOTDIR-V100";
inline constexpr std::u16string_view kLocksStream = u"LOCKS-V100";
inline constexpr std::u16string_view kSettingsStream = u"PROJECTSETTINGS-V100";

// The name of an object's stream, and its text.
compound::ObjectName ObjectNameOf(const GUID& id) noexcept;
class StreamName {
public:
    explicit StreamName(const GUID& id) noexcept;
    operator std::u16string_view() const { return {units_.data(), units_.size()}; }

private:
    std::array<char16_t, compound::kObjectNameLength> units_;
};
inline std::u16string StreamNameOf(const GUID& id) { return std::u16string(std::u16string_view(StreamName(id))); }
// The same, to look for the stream: the text is not made.
compound::EntryName EntryNameOf(const GUID& id);
// The ID whose stream has the name; none for any other name.
std::optional<GUID> IdOfStream(std::u16string_view name);

}  // namespace lumvex::inside
