// Keys of the system's registry.
#pragma once

#include <string>

#include "lumvex/automation.hpp"

namespace lumvex::inside {

class RegistryKey {
public:
    // Not owned.
    explicit RegistryKey(HKEY predefined) : key_(predefined) {}
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;
    ~RegistryKey();

    // Below `parent`, created where it is missing. The status is that of all that follows, too.
    RegistryKey(const RegistryKey& parent, const std::wstring& path);

    HRESULT Status() const { return status_; }
    HKEY Handle() const { return key_; }

    // An empty name is the key's default value. After a failure nothing more is written.
    RegistryKey& Put(const std::wstring& name, const std::wstring& text);

    // Removes a key with all that is in it; one that is not there is no failure.
    static HRESULT Remove(const RegistryKey& parent, const std::wstring& path);

    // Whether programs of the other word size (32 bits for 64, 64 for 32) find the key in what they see of the
    // registry.
    static bool IsThereForOtherBits(const RegistryKey& parent, const std::wstring& path);

private:
    HKEY key_ = nullptr;
    bool owned_ = false;
    HRESULT status_ = S_OK;
};

}  // namespace lumvex::inside
