// A file in a folder of its own, for the tests of who may open it beside whom.
#pragma once

#include <filesystem>
#include <random>

#include "support.hpp"

namespace lumvex::tests {

namespace fs = std::filesystem;

class Sharing : public testing::Test {
protected:
    Sharing() {
        std::random_device random;
        folder_ = fs::temp_directory_path() / ("sharing-" + std::to_string(random()) + std::to_string(random()));
        fs::create_directory(folder_);
        path_ = folder_ / "file";
        Make(Access::Exclusive);
    }
    ~Sharing() override { fs::remove_all(folder_); }

    std::unique_ptr<CompoundFile> Make(Access access) {
        auto file = CompoundFile::Create(CreateReplacing(path_, access), 3);
        PutAll(*file, content_);
        file->Commit();
        return file;
    }
    std::unique_ptr<CompoundFile> Open(Access access) { return CompoundFile::Open(OpenFile(path_, access), access); }

    static int LowByte(Status status) { return static_cast<int>(status) & 0xFF; }

    std::size_t FilesInFolder() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder_), fs::directory_iterator()));
    }

    fs::path folder_, path_;
    Content content_{{u"a", Pattern(20000, 1)}, {u"b", Pattern(100, 2)}};
};

}  // namespace lumvex::tests
