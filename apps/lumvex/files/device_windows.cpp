// Names of devices, NUL and CON, mean these in every folder. Windows says so of a full path: it is \\.\NUL. A pipe is
// not asked for its kind, as opening it would take the place of the program that it is meant for.
#include <windows.h>

#include <string>
#include <string_view>

#include "files/replaced_file.hpp"

namespace lumvex::app {

bool IsDevice(const std::filesystem::path& path) {
    constexpr std::wstring_view kDevices = LR"(\\.\)", kPipes = LR"(\\.\pipe\)";
    const DWORD size = ::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
    std::wstring full(size, L'\0');
    full.resize(size == 0 ? 0 : ::GetFullPathNameW(path.c_str(), size, full.data(), nullptr));
    if (full.starts_with(kPipes)) return true;
    // What has folders behind the prefix is a file of the drive that comes first.
    return full.starts_with(kDevices) && full.find(L'\\', kDevices.size()) == std::wstring::npos;
}

}  // namespace lumvex::app
