// Documents under paths that the system's plain functions do not take: longer than 260 characters.
#include "kit/hand_made.hpp"
#include "kit/published.hpp"
#include "lumvex/diagnostics.hpp"
#include "lumvex/maintenance.hpp"

namespace lumvex::tests {
namespace {

namespace fs = std::filesystem;

// What the prefix stands before is taken as it is, whatever its length.
const std::wstring kAsItIs = LR"(\\?\)";

class LongPaths : public ::testing::Test {
protected:
    LongPaths() {
        fs::path below = folder.Path();
        for (int depth = 0; depth < 6; ++depth) {
            below /= std::wstring(49, L'x') + L"\u0416\u65E5\u00E9";
            EXPECT_TRUE(::CreateDirectoryW((kAsItIs + below.native()).c_str(), nullptr));
            made.push_back(below);
        }
        path = below / L"\u65E5 project.lvp";
        library = below / L"\u65E5 library.lvs";
        EXPECT_GT(path.native().size(), 320u);
    }
    ~LongPaths() override {
        for (const fs::path& each : {path, library}) ::DeleteFileW((kAsItIs + each.native()).c_str());
        for (auto each = made.rbegin(); each != made.rend(); ++each)
            EXPECT_TRUE(::RemoveDirectoryW((kAsItIs + each->native()).c_str())) << "something else was left there";
    }

    const Folder folder;
    std::vector<fs::path> made;
    fs::path path, library;
};

TEST_F(LongPaths, AreSavedOpenedChangedCompactedAndChecked) {
    Specifications specifications = Specifications::Create();
    specifications.SaveFileAs(PathText(library));
    Project project = Project::Create();
    project.Specifications(specifications);
    Datum datum = project.Data().Add(u"woofer");
    datum.Data(Floats(std::vector<float>(20000, 0.5f)));
    project.SaveFileAs(PathText(path));
    datum.SampleRate(96000);
    project.SaveFileAs(PathText(path.parent_path() / L"." / path.filename()));  // the same file, spelled otherwise
    datum.Data(Floats({1, 2, 3}));
    project.SaveFile();
    project.CloseFile();
    specifications.CloseFile();

    const Compaction done = CompactDocument(path);
    EXPECT_LT(done.bytesAfter, done.bytesBefore);
    EXPECT_EQ(InspectDocument(path).objects, 3u);
    EXPECT_TRUE(CheckDocument(path).empty());
    Project again = Project::Create();
    again.AccessMode(LX_SHARE_READ);
    again.OpenFile(PathText(path));
    EXPECT_EQ(again.Data().Item(1).SampleRate(), 96000);
    EXPECT_EQ(ContentOf(again.Data().Item(1).Data()), FloatContent({1, 2, 3}));
    EXPECT_EQ(again.Specifications().ID(), specifications.ID()) << "found under its own long path";
    Project other = Project::Create();
    EXPECT_EQ(InHex(other.Get()->SaveFileAs(Bstr(PathText(path)).get())), InHex(STG_E_SHAREVIOLATION));
}

}  // namespace
}  // namespace lumvex::tests
