// A file that is written beside its place and moved there when it is complete. A device or pipe is written as it is.
#pragma once

#include <filesystem>

namespace lumvex::app {

// A device or pipe: it is there, and is neither file nor folder.
bool IsDevice(const std::filesystem::path& path);

// For files that a command makes: throws FileError when there is one already, unless it is to be replaced. Devices and
// pipes are no such files.
void CheckMayWrite(const std::filesystem::path& path, bool force);

// Whatever happens before Commit returns, the old file (or its absence) stays as it was.
class ReplacedFile {
public:
    // Follows links, so that the file behind one is replaced and not the link. Throws FileError for a folder or a file
    // that is write-protected.
    explicit ReplacedFile(const std::filesystem::path& path);
    ReplacedFile(const ReplacedFile&) = delete;
    ReplacedFile& operator=(const ReplacedFile&) = delete;
    ~ReplacedFile();  // removes what was not committed

    // A device or pipe, which may take bytes in their order alone.
    bool IsDevice() const { return isDevice_; }

    // Write and close this one, then commit. Of a device it is the device.
    const std::filesystem::path& Temporary() const { return temporary_; }
    void Commit();  // throws FileError

private:
    std::filesystem::path path_;
    std::filesystem::path target_;
    std::filesystem::path temporary_;
    std::filesystem::file_status old_;
    bool isDevice_ = false, committed_ = false;
};

}  // namespace lumvex::app
