#include "server/registry_snapshot.hpp"

#include <algorithm>
#include <utility>

namespace lumvex::inside {

namespace {

class OpenKey {
public:
    OpenKey() = default;
    OpenKey(const OpenKey&) = delete;
    OpenKey& operator=(const OpenKey&) = delete;
    ~OpenKey() {
        if (key_) ::RegCloseKey(key_);
    }
    HKEY get() const { return key_; }
    HKEY* Out() { return &key_; }

private:
    HKEY key_ = nullptr;
};

bool IsMissing(LSTATUS result) { return result == ERROR_FILE_NOT_FOUND || result == ERROR_PATH_NOT_FOUND; }

}  // namespace

RegistrySnapshot::RegistrySnapshot(const RegistryKey& parent, std::wstring path)
    : parent_(parent), path_(std::move(path)) {
    OpenKey key;
    const LSTATUS result = ::RegOpenKeyExW(parent.Handle(), path_.c_str(), 0, KEY_READ, key.Out());
    if (IsMissing(result)) return;
    status_ = result == ERROR_SUCCESS ? Read(key.get(), was_) : HRESULT_FROM_WIN32(result);
}

HRESULT RegistrySnapshot::Read(HKEY key, Content& content) {
    content.isThere = true;
    DWORD subkeys = 0, longestSubkey = 0, values = 0, longestName = 0, longestValue = 0;
    LSTATUS result = ::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subkeys, &longestSubkey, nullptr, &values,
                                        &longestName, &longestValue, nullptr, nullptr);
    std::vector<wchar_t> name(std::max(longestSubkey, longestName) + 1);
    for (DWORD i = 0; result == ERROR_SUCCESS && i < values; ++i) {
        Value value;
        value.bytes.resize(longestValue);
        auto length = static_cast<DWORD>(name.size()), size = longestValue;
        result = ::RegEnumValueW(key, i, name.data(), &length, nullptr, &value.type, value.bytes.data(), &size);
        if (result != ERROR_SUCCESS) break;
        value.name.assign(name.data(), length);
        value.bytes.resize(size);
        content.values.push_back(std::move(value));
    }
    for (DWORD i = 0; result == ERROR_SUCCESS && i < subkeys; ++i) {
        Content& below = content.subkeys.emplace_back();
        auto length = static_cast<DWORD>(name.size());
        result = ::RegEnumKeyExW(key, i, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
        if (result != ERROR_SUCCESS) break;
        below.name.assign(name.data(), length);
        OpenKey subkey;
        result = ::RegOpenKeyExW(key, below.name.c_str(), 0, KEY_READ, subkey.Out());
        if (result != ERROR_SUCCESS) break;
        if (const HRESULT status = Read(subkey.get(), below); FAILED(status)) return status;
    }
    return HRESULT_FROM_WIN32(result);
}

HRESULT RegistrySnapshot::Restore() const noexcept {
    if (!was_.isThere) return RegistryKey::Remove(parent_, path_);
    const RegistryKey key(parent_, path_);
    if (FAILED(key.Status())) return key.Status();
    // All below the key, which stays itself.
    const LSTATUS result = ::RegDeleteTreeW(key.Handle(), nullptr);
    const HRESULT written = Write(key.Handle(), was_);
    return result == ERROR_SUCCESS ? written : HRESULT_FROM_WIN32(result);
}

HRESULT RegistrySnapshot::Write(HKEY key, const Content& content) noexcept {
    HRESULT first = S_OK;
    const auto note = [&](HRESULT status) {
        if (SUCCEEDED(first)) first = status;
    };
    for (const Value& value : content.values)
        note(HRESULT_FROM_WIN32(::RegSetValueExW(key, value.name.c_str(), 0, value.type, value.bytes.data(),
                                                 static_cast<DWORD>(value.bytes.size()))));
    for (const Content& below : content.subkeys) {
        OpenKey subkey;
        const LSTATUS result = ::RegCreateKeyExW(key, below.name.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                                 KEY_READ | KEY_WRITE, nullptr, subkey.Out(), nullptr);
        note(result == ERROR_SUCCESS ? Write(subkey.get(), below) : HRESULT_FROM_WIN32(result));
    }
    return first;
}

}  // namespace lumvex::inside
