// Files of ours as other programs read them, and files of theirs as we do. The programs (libgsf-bin, p7zip-full or
// 7zip, python3-olefile) have to be installed.
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "support.hpp"

namespace lumvex::tests {
namespace {

namespace fs = std::filesystem;

class Readers : public testing::TestWithParam<int> {
protected:
    Readers() {
        std::string pattern = (fs::temp_directory_path() / "readers-XXXXXX").string();
        folder_ = ::mkdtemp(pattern.data());
        path_ = (folder_ / "file").string();
    }
    ~Readers() override { fs::remove_all(folder_); }

    static std::string OutputOf(const std::string& command) {
        std::FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
        std::string output;
        std::array<char, 65536> part;
        for (std::size_t got; (got = std::fread(part.data(), 1, part.size(), pipe)) != 0;)
            output.append(part.data(), got);
        EXPECT_EQ(::pclose(pipe), 0) << command << "\n" << output;
        return output;
    }
    // Every stream by every reader.
    void Check(const Content& content) {
        const std::string list = OutputOf("gsf list " + path_) + OutputOf("7z l " + path_);
        for (const auto& [name, bytes] : content) {
            const std::string ascii(name.begin(), name.end());
            EXPECT_NE(list.find(ascii), std::string::npos);
            const std::string expected(reinterpret_cast<const char*>(bytes.data()), bytes.size());
            EXPECT_EQ(OutputOf("gsf cat " + path_ + " " + ascii), expected) << ascii;
        }
        OutputOf("7z t " + path_);
        std::ofstream(folder_ / "dump.py") << "import olefile, sys, zlib\n"
                                              "ole = olefile.OleFileIO(sys.argv[1])\n"
                                              "for name in sorted(ole.listdir()):\n"
                                              "    data = ole.openstream(name).read()\n"
                                              "    print('/'.join(name), len(data), sum(data))\n";
        std::string expected;
        for (const auto& [name, bytes] : content) {
            std::size_t sum = 0;
            for (const std::byte byte : bytes) sum += std::to_integer<std::size_t>(byte);
            expected += std::string(name.begin(), name.end()) + " " + std::to_string(bytes.size()) + " " +
                        std::to_string(sum) + "\n";
        }
        EXPECT_EQ(OutputOf("/usr/bin/python3 " + (folder_ / "dump.py").string() + " " + path_), expected);
    }

    fs::path folder_;
    std::string path_;
};
INSTANTIATE_TEST_SUITE_P(Versions, Readers, testing::Values(3, 4));

TEST_P(Readers, SeeWhatWeWroteAndWhatWeChanged) {
    Content content;
    for (const std::size_t size : {1, 63, 64, 65, 4095, 4096, 4097, 70000, 200000})
        content[Name(static_cast<unsigned>(size))] = Pattern(size, static_cast<unsigned>(size));
    for (unsigned i = 0; i < 60; ++i) content[u"Item" + Name(i)] = Pattern(90, i);
    const auto file = CompoundFile::Create(CreateReplacing(path_, Access::ReadWriteDenyWrite), GetParam());
    PutAll(*file, content);
    file->Commit();
    Check(content);
    for (unsigned i = 0; i < 60; i += 3) file->Remove(u"Item" + Name(i)), content.erase(u"Item" + Name(i));
    for (unsigned i = 0; i < 5; ++i)
        Put(*file, Name(64), content[Name(64)] = Pattern(3000 * i + 10, i)), file->Commit();
    content[Name(200000)][70000] ^= std::byte{1};
    Put(*file, Name(200000), content[Name(200000)]);
    file->Commit();
    Check(content);
}

// Another program's file, with a folder in it: read, changed by us, then read again by others.
TEST_F(Readers, AndWritersOfOtherKindsGetOnWithUs) {
    fs::create_directory(folder_ / "Folder");
    Content content{
        {u"zz", Pattern(5000, 1)}, {u"B2", Pattern(50, 2)}, {u"aaa", Pattern(70000, 3)}, {u"q", Pattern(1, 4)}};
    const auto store = [](const fs::path& path, const Bytes& bytes) {
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    };
    std::string names = " Folder";
    for (const auto& [name, bytes] : content) {
        const std::string ascii(name.begin(), name.end());
        store(folder_ / ascii, bytes);
        names += " " + ascii;
    }
    const Bytes inside = Pattern(6000, 5);
    store(folder_ / "Folder" / "inside", inside);
    OutputOf("cd " + folder_.string() + " && gsf createole file" + names);
    const auto file = CompoundFile::Open(OpenFile(path_, Access::ReadWriteDenyWrite), Access::ReadWriteDenyWrite);
    EXPECT_EQ(GetAll(*file), content);
    EXPECT_EQ(StatusOf([&] { Put(*file, u"folder", {}); }), Status::AccessDenied);
    EXPECT_EQ(StatusOf([&] { file->Remove(u"folder"); }), Status::NotFound);
    for (unsigned i = 0; i < 40; ++i) Put(*file, Name(i), content[Name(i)] = Pattern(100 * i + 1, i));
    file->Remove(u"aaa"), content.erase(u"aaa");
    file->Commit();
    file->Remove(u"zz"), content.erase(u"zz");
    file->Commit();
    EXPECT_EQ(GetAll(*file), content);
    for (const Problem& problem : CheckStructure(*OpenFile(path_, Access::ReadShared)))
        ADD_FAILURE() << problem.where << ": " << problem.what;
    // A stream replaced in our file by a program that can do that where the length stays.
    std::ofstream(folder_ / "put.py") << "import olefile, sys\n"
                                         "ole = olefile.OleFileIO(sys.argv[1], write_mode=True)\n"
                                         "ole.write_stream('Stream39', b'z' * 3901)\n"
                                         "ole.write_stream('B2', b'y' * 50)\n"
                                         "ole.close()\n";
    const std::string put = "/usr/bin/python3 " + (folder_ / "put.py").string() + " " + path_;
    OutputOf(put);
    content[Name(39)] = Bytes(3901, std::byte{'z'});
    content[u"B2"] = Bytes(50, std::byte{'y'});
    EXPECT_EQ(GetAll(*CompoundFile::Open(OpenFile(path_, Access::ReadShared), Access::ReadShared)), content);
    const std::string expected(reinterpret_cast<const char*>(inside.data()), inside.size());
    EXPECT_EQ(OutputOf("gsf cat " + path_ + " Folder/inside"), expected);
    content[u"Folder/inside"] = inside;
    Check(content);
}

}  // namespace
}  // namespace lumvex::tests
