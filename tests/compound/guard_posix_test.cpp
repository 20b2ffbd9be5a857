// Files that cannot be read any more where they are mapped: reads answer a read fault, and no signal ends the program.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include <fstream>

#include "elsewhere.hpp"
#include "sharing.hpp"
#include "storage/compound/file/guard.hpp"

namespace lumvex::tests {
namespace {

// What the host of the library does with the signal, from before a file is mapped.
constexpr int kHostsOwn = 42;
void EndOfHost(int) { ::_exit(kHostsOwn); }
const auto hostBefore = ::signal(SIGBUS, EndOfHost);

// Another program does this; ours looks at the size again when the system's clock has ticked.
void CutTo(const fs::path& path, std::uint64_t size) {
    fs::resize_file(path, size);
    timespec tick{};
    ::clock_getres(CLOCK_MONOTONIC_COARSE, &tick);
    ::nanosleep(&tick, nullptr);
    ::nanosleep(&tick, nullptr);
}

TEST_F(Sharing, AFileThatIsCutShortByOthersAnswersReadFaults) {
    Content small, large{{u"large", Pattern(300000, 1)}, {u"larger", Pattern(900000, 2)}};
    for (unsigned i = 0; i < 400; ++i) small[Name(i)] = Pattern(7 * i, i);
    const Content tiny{{u"tiny", Pattern(300, 1)}};  // all of the file in one page
    for (const Content& content : {content_, small, large, tiny})
        for (const int version : {3, 4})
            for (const Access access : {Access::ReadShared, Access::Exclusive})
                for (const char* before : {"nothing", "read", "mapped"})
                    for (const std::uint64_t left : {0, 1024, 5000, 30000}) {
                        SCOPED_TRACE(std::to_string(content.size()) + " streams, version " + std::to_string(version) +
                                     ", cut to " + std::to_string(left) + ", before: " + before);
                        {
                            const auto made = CompoundFile::Create(CreateReplacing(path_, Access::Exclusive), version);
                            PutAll(*made, content);
                            made->Commit();
                        }
                        if (left >= fs::file_size(path_)) continue;
                        const auto file = Open(access);
                        if (before == std::string_view("read")) {
                            EXPECT_TRUE(GetAll(*file) == content);
                        } else if (before == std::string_view("mapped")) {
                            for (const auto& each : content)  // one that is in several pages has the file mapped
                                file->Get(each.first).Contiguous(0, each.second.size());
                        }
                        CutTo(path_, left);
                        int faults = 0;
                        for (int round = 0; round < 2; ++round)
                            for (const auto& each : content) {
                                Bytes found;
                                const Status status = StatusOf([&] { found = Get(*file, each.first); });
                                EXPECT_TRUE(status == Status{} ? found == each.second : status == Status::ReadFault)
                                    << static_cast<std::uint32_t>(status);
                                faults += status == Status::ReadFault ? 1 : 0;
                            }
                        if (before == std::string_view("nothing")) {
                            EXPECT_GT(faults, 0);
                        }
                        Content found;
                        const Status all = StatusOf([&] {
                            file->ReadAll([&](std::u16string_view name, std::span<const std::byte> bytes) {
                                found[std::u16string(name)] = Bytes(bytes.begin(), bytes.end());
                            });
                        });
                        if (access == Access::ReadShared) {  // what was read before the cut may be known still
                            EXPECT_TRUE(all == Status{} ? found == content : all == Status::ReadFault)
                                << static_cast<std::uint32_t>(all);
                            continue;
                        }
                        EXPECT_EQ(all, Status::NotCurrent);
                        EXPECT_EQ(StatusOf([&] { Put(*file, u"new", Pattern(70000, 1)), file->Commit(); }),
                                  Status::NotCurrent);
                        EXPECT_EQ(fs::file_size(path_), left);
                    }
}

// As on a bad disk: the file has its size, but a page could not be read.
TEST_F(Sharing, AMappedPageThatCouldNotBeReadIsReportedWhateverTheFilesSize) {
    const std::uint64_t size = fs::file_size(path_);
    const auto file = OpenFile(path_, Access::ReadShared);
    const auto mapped = file->Map();
    ASSERT_TRUE(mapped);
    EXPECT_EQ(file->LookAtMap(), File::Shown::Whole);
    fs::resize_file(path_, 0);
    const std::byte gone = static_cast<const volatile std::byte*>(mapped->data())[size - 1];
    EXPECT_EQ(gone, std::byte{0});
    fs::resize_file(path_, size);
    EXPECT_EQ(file->LookAtMap(), File::Shown::Failed);
    EXPECT_EQ(file->LookAtMap(), File::Shown::Failed);
}

// After a fault the file is read page by page, and nothing of what was found by the fault is kept.
TEST_F(Sharing, WhatCanBeReadAgainIsReadAfterAFault) {
    const Bytes unread = Pattern(400000, 9);  // in version 3 its chain is in several pages of the FAT
    for (const int version : {3, 4})
        for (const char* fault : {"read", "find", "list"}) {
            SCOPED_TRACE(std::to_string(version) + fault);
            {
                const auto made = CompoundFile::Create(CreateReplacing(path_, Access::Exclusive), version);
                PutAll(*made, content_);
                Put(*made, u"unread", unread);
                made->Commit();
            }
            const auto file = Open(Access::ReadShared);
            const Stream stream = file->Get(u"a"), another = file->Get(u"unread");
            ASSERT_NE(stream.Contiguous(0, stream.Size()), nullptr);  // in several pages: mapped
            Bytes bytes(fs::file_size(path_)), found(stream.Size()), foundUnread(unread.size());
            OpenFile(path_, Access::ReadShared)->Read(0, bytes);
            CutTo(path_, 0);
            EXPECT_EQ(StatusOf([&] {
                          if (fault == std::string_view("read"))
                              another.Read(0, foundUnread);
                          else if (fault == std::string_view("find"))
                              file->Contains(u"missing");
                          else
                              file->ForEachStream([](std::u16string_view, std::uint64_t) {});
                      }),
                      Status::ReadFault);
            std::fstream(path_, std::ios::in | std::ios::out | std::ios::binary)
                .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
            stream.Read(0, found);
            EXPECT_TRUE(found == content_[u"a"]);
            another.Read(0, foundUnread);
            EXPECT_TRUE(foundUnread == unread);
            content_[u"unread"] = unread;
            EXPECT_TRUE(GetAll(*file) == content_);
        }
}

TEST(Guard, PassesOnWhatIsNotItsOwn) {
    const fs::path path = fs::temp_directory_path() / ("guard-" + std::to_string(::getpid()));
    const auto touchWhatIsGone = [&] {
        const int fd = ::open(path.c_str(), O_RDWR | O_CREAT, 0600);
        if (::ftruncate(fd, 8192) != 0) return 1;
        OpenFile(path, Access::ReadShared)->Map();  // the guard is in place from here on
        const void* base = ::mmap(nullptr, 8192, PROT_READ, MAP_SHARED, fd, 0);
        if (::ftruncate(fd, 0) != 0) return 2;
        return static_cast<int>(*static_cast<const volatile char*>(base)) + 3;
    };
    EXPECT_EQ(Elsewhere(touchWhatIsGone).Result(), kHostsOwn);
    const auto sendIt = [&] {
        const auto file = OpenFile(path, Access::ReadShared);
        file->Map();
        ::kill(::getpid(), SIGBUS);
        return 1;
    };
    EXPECT_EQ(Elsewhere(sendIt).Result(), kHostsOwn);
    fs::remove(path);
}

// Then files are read without being mapped.
TEST_F(Sharing, FilesAreReadWithoutAGuardToo) {
    const auto readsUnmapped = [&] {
        if (OpenFile(path_, Access::ReadShared)->Map()) return 1;
        if (GetAll(*Open(Access::ReadShared)) != content_) return 2;
        const auto file = Open(Access::ReadShared);
        CutTo(path_, 2000);
        return StatusOf([&] { Get(*file, u"a"); }) == Status::ReadFault ? 0 : 3;
    };
    EXPECT_TRUE(OpenFile(path_, Access::ReadShared)->Map());
    const auto refused = [&] {
        AllowGuard(false);
        return readsUnmapped();
    };
    EXPECT_EQ(Elsewhere(refused).Result(), 0);
    Make(Access::Exclusive);
    const auto hostWantsTheSignal = [&] {
        ::signal(SIGBUS, EndOfHost);
        return readsUnmapped();
    };
    EXPECT_EQ(Elsewhere(hostWantsTheSignal).Result(), 0);
}

}  // namespace
}  // namespace lumvex::tests
