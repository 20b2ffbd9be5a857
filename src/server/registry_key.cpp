#include "server/registry_key.hpp"

namespace lumvex::inside {

RegistryKey::RegistryKey(const RegistryKey& parent, const std::wstring& path) : status_(parent.status_) {
    if (FAILED(status_)) return;
    const LSTATUS result = ::RegCreateKeyExW(parent.key_, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                             KEY_READ | KEY_WRITE, nullptr, &key_, nullptr);
    owned_ = result == ERROR_SUCCESS;
    status_ = HRESULT_FROM_WIN32(result);
}

RegistryKey::~RegistryKey() {
    if (owned_) ::RegCloseKey(key_);
}

RegistryKey& RegistryKey::Put(const std::wstring& name, const std::wstring& text) {
    if (FAILED(status_)) return *this;
    const auto bytes = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
    status_ = HRESULT_FROM_WIN32(
        ::RegSetValueExW(key_, name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()), bytes));
    return *this;
}

bool RegistryKey::IsThereForOtherBits(const RegistryKey& parent, const std::wstring& path) {
    constexpr REGSAM kOther = sizeof(void*) == 8 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
    HKEY key = nullptr;
    const LSTATUS result = ::RegOpenKeyExW(parent.key_, path.c_str(), 0, KEY_QUERY_VALUE | kOther, &key);
    if (result == ERROR_SUCCESS) ::RegCloseKey(key);
    return result == ERROR_SUCCESS;
}

HRESULT RegistryKey::Remove(const RegistryKey& parent, const std::wstring& path) {
    if (FAILED(parent.status_)) return parent.status_;
    const LSTATUS result = ::RegDeleteTreeW(parent.key_, path.c_str());
    return result == ERROR_FILE_NOT_FOUND || result == ERROR_PATH_NOT_FOUND ? S_OK : HRESULT_FROM_WIN32(result);
}

}  // namespace lumvex::inside
