#include "core/published/user_settings_windows.hpp"

namespace lumvex::inside {

namespace {

bool ReadUseTypeLibNames() noexcept {
    HKEY key = nullptr;
    if (::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Torvane\\Lumvex", 0, nullptr, REG_OPTION_NON_VOLATILE,
                          KEY_READ | KEY_WRITE, nullptr, &key, nullptr) != ERROR_SUCCESS)
        return false;
    DWORD value = 0, type = REG_NONE, size = sizeof value;
    const bool isRead = ::RegQueryValueExW(key, L"UseTypeLibNames", nullptr, &type, reinterpret_cast<BYTE*>(&value),
                                           &size) == ERROR_SUCCESS;
    ::RegCloseKey(key);
    return isRead && type == REG_DWORD && size == sizeof value && value == 1;
}

}  // namespace

bool UseTypeLibNames() noexcept {
    static const bool use = ReadUseTypeLibNames();
    return use;
}

std::wstring ModulePath(HMODULE module) {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = ::GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
        const bool isWhole = length < path.size();
        if (isWhole) {
            path.resize(length);
            return path;
        }
        path.resize(2 * path.size());
    }
}

}  // namespace lumvex::inside
