// Symbolic links to documents.
#include "kit/hand_made.hpp"
#include "kit/published.hpp"

namespace lumvex::tests {
namespace {

namespace fs = std::filesystem;

TEST(Links, AreAnotherSpellingOfThePath) {
    const Folder folder;
    const fs::path path = folder / "a.lvx", link = folder / "link.lvx";
    Project project = Project::Create();
    const Datum datum = project.Data().Add(u"A");
    ASSERT_EQ(project.Get()->SaveFileAs(Bstr(PathText(path)).get()), S_OK);
    fs::create_symlink(path, link);
    Datum(datum).SampleRate(1001);
    EXPECT_EQ(project.Get()->SaveFileAs(Bstr(PathText(link)).get()), S_OK);
    EXPECT_TRUE(fs::is_symlink(link));
    project.CloseFile();
    Project again = Project::Create();
    again.OpenFile(PathText(link));
    EXPECT_EQ(again.Data().Item(1).SampleRate(), 1001);
}

}  // namespace
}  // namespace lumvex::tests
