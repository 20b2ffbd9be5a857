// clang-format off
#include <windows.h>
// clang-format on

#include <algorithm>

#include "documents/folders.hpp"
#include "files/file_error.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

std::error_code LastWindowsError() { return {static_cast<int>(::GetLastError()), std::system_category()}; }

// The path from the drive on, behind the prefix that lifts the limit of its length; what follows that prefix is taken
// as it is, and must not have "." or "/" in it any more.
std::wstring LongPath(const fs::path& path) {
    const DWORD size = ::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
    std::wstring full(size, L'\0');
    full.resize(size == 0 ? 0 : ::GetFullPathNameW(path.c_str(), size, full.data(), nullptr));
    if (full.empty()) throw FileError(path, LastWindowsError());
    if (full.starts_with(LR"(\\?\)") || full.starts_with(LR"(\\.\)")) return full;
    return full.starts_with(LR"(\\)") ? LR"(\\?\UNC)" + full.substr(1) : LR"(\\?\)" + full;
}

bool IsFolderItself(DWORD attributes) {
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
}

}  // namespace

bool IsFolder(const fs::path& path) {
    const DWORD attributes = ::GetFileAttributesW(LongPath(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

std::vector<FolderEntry> EntriesOf(const fs::path& folder) {
    std::vector<FolderEntry> entries;
    std::wstring pattern = LongPath(folder);
    if (!pattern.ends_with(L'\\')) pattern += L'\\';
    WIN32_FIND_DATAW found;
    const HANDLE search = ::FindFirstFileW((pattern + L'*').c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) throw FileError(folder, LastWindowsError());
    do {
        const std::wstring name = found.cFileName;
        if (name == L"." || name == L"..") continue;
        entries.push_back({folder / name, IsFolderItself(found.dwFileAttributes),
                           (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0});
    } while (::FindNextFileW(search, &found));
    const DWORD end = ::GetLastError();
    ::FindClose(search);
    if (end != ERROR_NO_MORE_FILES)
        throw FileError(folder, std::error_code(static_cast<int>(end), std::system_category()));
    std::ranges::sort(entries, {}, &FolderEntry::path);
    return entries;
}

}  // namespace lumvex::app
