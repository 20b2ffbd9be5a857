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

    // An empty name is the key's default value. After a failure nothing more is written.
    RegistryKey& Put(const std::wstring& name, const std::wstring& text);

    // Removes a key with all that is in it; one that is not there is no failure.
    static HRESULT Remove(const RegistryKey& parent, const std::wstring& path);

private:
    HKEY key_ = nullptr;
    bool owned_ = false;
    HRESULT status_ = S_OK;
};

}  // namespace lumvex::inside
