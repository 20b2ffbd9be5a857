// What the registry holds below a key, to put it back when a change cannot be completed.
#pragma once

#include <vector>

#include "server/registry_key.hpp"

namespace lumvex::inside {

class RegistrySnapshot {
public:
    // Reads `path` below `parent`, which has to live as long. Its status says whether all of it could be read.
    RegistrySnapshot(const RegistryKey& parent, std::wstring path);

    HRESULT Status() const { return status_; }

    // Goes on after a failure, so that as much as possible is as it was; the first one is the answer.
    HRESULT Restore() const noexcept;

private:
    struct Value {
        std::wstring name;
        DWORD type = REG_NONE;
        std::vector<BYTE> bytes;
    };
    struct Content {
        std::wstring name;  // of a subkey
        bool isThere = false;
        std::vector<Value> values;
        std::vector<Content> subkeys;
    };

    static HRESULT Read(HKEY key, Content& content);
    static HRESULT Write(HKEY key, const Content& content) noexcept;

    const RegistryKey& parent_;
    std::wstring path_;
    Content was_;
    HRESULT status_ = S_OK;
};

}  // namespace lumvex::inside
