#include "files/replaced_file.hpp"

#include <random>
#include <string>
#include <system_error>

#include "files/file_error.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

void CheckMayWrite(const fs::path& path, bool force) {
    std::error_code ignored;
    const bool isThere = fs::exists(fs::symlink_status(path, ignored));
    if (isThere && !force && !IsDevice(path)) throw FileError(path, "the file exists already; --force replaces it");
}

ReplacedFile::ReplacedFile(const fs::path& path) : path_(path), target_(path) {
    std::error_code error;
    if (app::IsDevice(path)) {
        isDevice_ = true;
        temporary_ = path;
        return;
    }
    if (fs::is_symlink(fs::symlink_status(path, error))) {
        target_ = fs::weakly_canonical(path, error);
        if (error) throw FileError(path, error);
    }
    old_ = fs::status(target_, error);
    if (old_.type() == fs::file_type::none) throw FileError(path, error);
    if (fs::is_directory(old_)) throw FileError(path, std::make_error_code(std::errc::is_a_directory));
    // A move would replace even a file that is write-protected, so permission to write is tested first.
    if (fs::exists(old_) && (old_.permissions() & fs::perms::owner_write) == fs::perms::none) {
        throw FileError(path, std::make_error_code(std::errc::permission_denied));
    }
    // The temporary name does not contain the file's own, which may be as long as the system allows already.
    std::random_device random;
    do {
        temporary_ = target_.parent_path() / ("lumvex-" + std::to_string(random()) + ".tmp");
    } while (fs::exists(fs::symlink_status(temporary_, error)));
}

ReplacedFile::~ReplacedFile() {
    std::error_code ignored;
    if (!committed_ && !isDevice_) fs::remove(temporary_, ignored);
}

void ReplacedFile::Commit() {
    if (isDevice_) return;
    std::error_code error;
    if (fs::exists(old_)) fs::permissions(temporary_, old_.permissions(), error);
    if (!error) fs::rename(temporary_, target_, error);
    if (error) throw FileError(path_, error);
    committed_ = true;
}

}  // namespace lumvex::app
