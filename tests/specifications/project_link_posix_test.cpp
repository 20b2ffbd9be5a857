// Libraries and projects in places whose names are no UTF-8.
#include "kit/hand_made.hpp"
#include "kit/published.hpp"
#include "storage/document/document_file.hpp"

namespace lumvex::tests {
namespace {

TEST(LibraryInAnOddPlace, IsSavedAndFoundAgain) {
    const Folder folder;
    const std::filesystem::path before = std::filesystem::current_path(), odd = folder / "odd \xFF\xE9\x80\xC3\xA9";
    std::filesystem::create_directory(odd);
    std::filesystem::current_path(odd);
    Specifications library = Specifications::Create();
    library.Manufacturers().Add(u"Fostering");
    Project project = Project::Create();
    project.Specifications(library);
    const HRESULT librarySaved = library.Get()->SaveFileAs(Bstr(u"a.lvs").get());
    const HRESULT saved = project.Get()->SaveFileAs(Bstr(u"p.lvp").get());
    std::filesystem::current_path(before);
    ASSERT_EQ(InHex(librarySaved), InHex(S_OK));
    ASSERT_EQ(InHex(saved), InHex(S_OK));
    const std::u16string id = library.ID();
    project.SaveFileAs(PathText(folder / "q.lvp"));
    project.CloseFile();
    library.CloseFile();

    const auto finds = [&](std::u16string_view path) {
        Project opened = Project::Create();
        opened.AccessMode(LX_SHARE_READ);
        opened.OpenFile(path);
        const Specifications found = opened.Specifications();
        return found && found.ID() == id;
    };
    EXPECT_TRUE(finds(PathText(folder / "q.lvp"))) << "by the path that the project stores";
    EXPECT_TRUE(finds(inside::TextOfPath(odd / "p.lvp"))) << "such a place has a text that leads there";
    std::filesystem::rename(odd, folder / "moved \xFE");
    EXPECT_FALSE(finds(PathText(folder / "q.lvp")));
    EXPECT_TRUE(finds(inside::TextOfPath(folder / "moved \xFE" / "p.lvp"))) << "beside the project";
}

TEST(LibraryInAnOddPlace, TextsOfPathsLeadBack) {
    for (const std::string bytes :
         {"/plain", "/\xC3\xA9\xE2\x82\xAC\xF0\x9F\x92\x80", "\xFF", "\x80\x80", "a\xC3", "\xC3/\xA9", "\xE2\x82",
          "\xED\xA0\x80", "\xF5\x80\x80\x80", "\xC0\xAF", "\xEF\xBF\xBD"}) {
        const std::u16string text = inside::TextOfPath(bytes);
        EXPECT_EQ(inside::PathOf(text).native(), bytes) << ToUtf8(text);
    }
    EXPECT_EQ(inside::TextOfPath("\xC3\xA9"), u"\u00E9");
    EXPECT_EQ(inside::PathOf(u"\U0001F480").native(), "\xF0\x9F\x92\x80") << "half of a pair is no byte";
    EXPECT_EQ(inside::PathOf(u"\xD800-\xDC7F-\xDD00").native(), "\xEF\xBF\xBD-\xEF\xBF\xBD-\xEF\xBF\xBD");
}

}  // namespace
}  // namespace lumvex::tests
