// A file that is written beside its place and moved there when it is complete.
#pragma once

#include <filesystem>

namespace lumvex::app {

// Whatever happens before Commit returns, the old file (or its absence) stays as it was.
class ReplacedFile {
public:
    // Follows links, so that the file behind one is replaced and not the link. Throws FileError when something other
    // than a writable file stands at the path.
    explicit ReplacedFile(const std::filesystem::path& path);
    ReplacedFile(const ReplacedFile&) = delete;
    ReplacedFile& operator=(const ReplacedFile&) = delete;
    ~ReplacedFile();  // removes what was not committed

    const std::filesystem::path& Temporary() const { return temporary_; }  // write and close this one, then commit
    void Commit();                                                         // throws FileError

private:
    std::filesystem::path path_;
    std::filesystem::path target_;
    std::filesystem::path temporary_;
    std::filesystem::file_status old_;
    bool committed_ = false;
};

}  // namespace lumvex::app
