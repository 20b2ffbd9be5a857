// Documents whose file other programs cut short, remove or replace while it is open.
#include <time.h>

#include "kit/documents.hpp"
#include "kit/published.hpp"
#include "lumvex/diagnostics.hpp"
#include "lumvex/host.hpp"

namespace lumvex::tests {
namespace {

namespace fs = std::filesystem;

constexpr HRESULT kReadFault = static_cast<HRESULT>(0x8003001E), kNotFound = static_cast<HRESULT>(0x80030002),
                  kNotCurrent = static_cast<HRESULT>(0x80030101);

template <class Work>
HRESULT StatusOf(Work&& work) {
    try {
        static_cast<void>(work());
    } catch (const Error& error) {
        return error.Status();
    }
    return S_OK;
}

// Thirty members, of which the second half is read only after the file was cut.
TEST(LostFiles, CutShortAnswerReadFaultsAndKeepWhatIsLoaded) {
    const Folder folder;
    const fs::path path = folder / "a.lvx", copy = folder / "b.lvx";
    for (const bool guard : {true, false})
        for (const LXAccessMode mode : {LX_SHARE_READ, LX_EXCLUSIVE_READWRITE})
            for (const int size : {40, 40000}) {
                SCOPED_TRACE(std::to_string(mode) + ", " + std::to_string(size));
                GuardReads(guard);
                Project made = Project::Create();
                for (int member = 0; member < 30; ++member)
                    made.Data().Add(FromUtf8(std::to_string(member))).Data(Floats(std::vector<float>(size, 1.0f)));
                made.SaveFileAs(PathText(path));
                made = Project();
                Project project = Opened(path, mode);
                std::vector<Datum> loaded;
                for (LONG member = 1; member <= 15; ++member) {
                    loaded.push_back(project.Data().Item(member));
                    ContentOf(loaded.back().Data());
                }
                if (mode != LX_SHARE_READ) loaded[0].Data(Floats({1.0f, 2.0f}));
                fs::resize_file(path, 1024);
                const timespec tick{0, 20'000'000};
                ::nanosleep(&tick, nullptr);
                int faults = 0;
                for (LONG member = 16; member <= 30; ++member) {
                    Content content;
                    const HRESULT status = StatusOf([&] { content = ContentOf(project.Data().Item(member).Data()); });
                    EXPECT_TRUE(status == kReadFault || status == S_OK) << std::hex << status;
                    faults += status == kReadFault ? 1 : 0;
                    // What was read before, beside something else, may be there yet.
                    if (status == S_OK) {
                        EXPECT_EQ(content.values, std::vector<double>(static_cast<std::size_t>(size), 1.0));
                    }
                }
                EXPECT_TRUE(faults == 15 || size == 40) << faults;
                for (std::size_t member = 0; member < loaded.size(); ++member)
                    EXPECT_EQ(loaded[member].Name(), FromUtf8(std::to_string(member)));
                if (mode == LX_SHARE_READ) continue;
                EXPECT_EQ(ContentOf(loaded[0].Data()).values, (std::vector<double>{1, 2}));
                EXPECT_EQ(StatusOf([&] { return project.SaveFile(), 0; }), kNotCurrent);
                EXPECT_NE(StatusOf([&] { return project.SaveFileAs(PathText(copy)), 0; }), S_OK);  // half of it is gone
                EXPECT_FALSE(fs::exists(copy));
                EXPECT_EQ(ContentOf(loaded[0].Data()).values, (std::vector<double>{1, 2}));
            }
    GuardReads(true);
}

TEST(LostFiles, RemovedOrReplacedFailToBeSavedAndAreSavedElsewhere) {
    const Folder folder;
    const fs::path path = folder / "a.lvx", copy = folder / "b.lvx", other = folder / "c.lvx";
    for (const bool replaced : {false, true}) {
        MakeDocument(path, 10);
        Project project = Opened(path);
        MakeDocument(other, 3);
        const std::string before = Seen(other);
        project.Data().Item(4).SampleRate(4711);
        if (replaced)
            fs::rename(other, path);
        else
            fs::remove(path);
        for (int round = 0; round < 2; ++round)
            EXPECT_EQ(StatusOf([&] { return project.SaveFile(), 0; }), replaced ? kNotCurrent : kNotFound);
        const std::string seen = Seen(project);
        project.SaveFileAs(PathText(copy));
        EXPECT_EQ(Seen(project), seen);
        project = Project();
        EXPECT_EQ(Seen(copy), seen);
        EXPECT_TRUE(CheckDocument(copy).empty());
        if (replaced) {
            EXPECT_EQ(Seen(path), before);
        } else {
            EXPECT_FALSE(fs::exists(path));
        }
    }
}

}  // namespace
}  // namespace lumvex::tests
