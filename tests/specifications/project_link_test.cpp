// A project and the library it refers to.
#include "kit/hand_made.hpp"
#include "kit/listener.hpp"
#include "model/project/specifications_link.hpp"

namespace lumvex::tests {
namespace {

// In a project's root record, what comes before the link (its own reference, five absent ones) and behind it.
constexpr std::ptrdiff_t kHeadSize = 20 + 5 * 2;
const std::string kNoDataOrWorkspace = " 00 00 00 00";

// A library with one manufacturer "Fostering" in library/a.lvs, and a project in project/p.lvp that refers to it.
class LibraryLink : public ::testing::Test {
protected:
    Folder folder;
    const std::filesystem::path libraryPath = folder / "library" / "a.lvs";
    const std::filesystem::path beside = folder / "project" / "a.lvs";
    const std::filesystem::path projectPath = folder / "project" / "p.lvp";
    std::u16string libraryId;

    void SetUp() override {
        std::filesystem::create_directory(folder / "library");
        std::filesystem::create_directory(folder / "project");
        Specifications library = Specifications::Create();
        library.Manufacturers().Add(u"Fostering");
        library.SaveFileAs(PathText(libraryPath));
        libraryId = library.ID();
        Project project = Project::Create();
        project.Specifications(library);
        project.SaveFileAs(PathText(projectPath));
    }

    Project Opened() {
        Project project = Project::Create();
        project.AccessMode(LX_SHARE_READWRITE);  // so that StoredLink can read beside it
        project.OpenFile(PathText(projectPath));
        return project;
    }

    // The link as the file has it: flag, library ID and path.
    std::string StoredLink() {
        const std::string root = AsHex(ReadDocument(projectPath).at(u"ROOT"));
        EXPECT_TRUE(root.ends_with(kNoDataOrWorkspace));
        return root.substr(kHeadSize * 3, root.size() - kHeadSize * 3 - kNoDataOrWorkspace.size());
    }
    static std::string LinkTo(std::u16string_view id, const std::u16string& path) {
        const GUID guid = ParseGuid(id).value();
        Bytes bytes(sizeof guid + 4 + (path.empty() ? 0 : (path.size() + 1) * 2));
        const auto count = static_cast<std::uint32_t>(bytes.size() - sizeof guid - 4);
        std::memcpy(bytes.data(), &guid, sizeof guid);
        std::memcpy(bytes.data() + sizeof guid, &count, 4);
        std::memcpy(bytes.data() + sizeof guid + 4, path.data(), path.size() * 2);
        return "01 00 " + AsHex(bytes);
    }
};

// Asked for, the library is none, with success, and leaves no text of what went wrong on the way.
::testing::AssertionResult IsOutOfReach(const Project& project) {
    TakeErrorInfo();
    auto* answer = reinterpret_cast<ISpecifications*>(project.Pointer());
    const HRESULT status = project.Get()->get_Specifications(&answer);
    if (status != S_OK) return ::testing::AssertionFailure() << "the status is " << InHex(status);
    if (answer) return ::testing::AssertionFailure() << "there is one";
    if (TakeErrorInfo().present) return ::testing::AssertionFailure() << "it leaves a text";
    return ::testing::AssertionSuccess();
}

TEST_F(LibraryLink, OpensOnFirstUseForReadingAlone) {
    Project project = Opened();
    const Specifications library = project.Specifications();
    ASSERT_TRUE(library);
    EXPECT_EQ(library.ID(), libraryId);
    EXPECT_EQ(library.Manufacturers().Item(1).Name(), u"Fostering");
    EXPECT_EQ(library.AccessMode(), LX_SHARE_READ);
    EXPECT_EQ(project.Specifications().Pointer(), library.Pointer());
    EXPECT_FALSE(IsModified(project)) << "finding the library is no change";

    // A second project, and somebody who edits the library, go on beside it.
    std::filesystem::copy_file(projectPath, folder / "q.lvp");
    Project other = Project::Create();
    other.OpenFile(PathText(folder / "q.lvp"));
    EXPECT_TRUE(other.Specifications());
    Specifications editor = Specifications::Create();
    editor.AccessMode(LX_SHARE_READWRITE);
    editor.OpenFile(PathText(libraryPath));
}

TEST_F(LibraryLink, AProjectWithoutOne) { EXPECT_TRUE(IsOutOfReach(Project::Create())); }

TEST_F(LibraryLink, AnAbsentLibraryLeavesTheLinkAsItIs) {
    const std::string stored = StoredLink();
    EXPECT_EQ(stored, LinkTo(libraryId, PathText(libraryPath)));
    std::filesystem::rename(libraryPath, folder / "elsewhere.lvs");
    Project project = Opened();
    EXPECT_TRUE(IsOutOfReach(project));
    project.Units(LX_UNITS_IMPERIAL);
    project.SaveFile();
    EXPECT_EQ(StoredLink(), stored);
    project.SaveFileAs(PathText(folder / "copy.lvp"));
    project.CloseFile();
    project.SaveFileAs(PathText(projectPath));
    EXPECT_EQ(StoredLink(), stored) << "kept without a file, too";

    std::filesystem::rename(folder / "elsewhere.lvs", libraryPath);
    EXPECT_EQ(project.Specifications().ID(), libraryId) << "back again";
}

TEST_F(LibraryLink, OneThatMovedToTheProjectsFolderIsFoundThere) {
    std::filesystem::rename(libraryPath, beside);
    Project project = Opened();
    ASSERT_TRUE(project.Specifications());
    EXPECT_EQ(project.Specifications().ID(), libraryId);
    project.SaveFile();
    EXPECT_EQ(StoredLink(), LinkTo(libraryId, PathText(beside)));
}

TEST_F(LibraryLink, AnotherLibraryInItsPlaceIsNotTakenForIt) {
    std::filesystem::rename(libraryPath, folder / "kept.lvs");
    Specifications::Create().SaveFileAs(PathText(libraryPath));
    Project project = Opened();
    EXPECT_TRUE(IsOutOfReach(project));
    std::filesystem::rename(folder / "kept.lvs", beside);
    EXPECT_EQ(project.Specifications().ID(), libraryId) << "the right one beside the project";
}

TEST_F(LibraryLink, WhatIsNoLibraryIsNone) {
    const std::string stored = StoredLink();
    const Bytes library = FileBytes(libraryPath);
    WriteFileBytes(libraryPath, FileBytes(projectPath));
    Project project = Opened();
    EXPECT_TRUE(IsOutOfReach(project));
    WriteFileBytes(libraryPath, Bytes(library.begin(), library.begin() + 700));
    EXPECT_TRUE(IsOutOfReach(project));
    WriteFileBytes(libraryPath, {});
    EXPECT_TRUE(IsOutOfReach(project));
    std::filesystem::remove(libraryPath);
    std::filesystem::create_directory(libraryPath);
    EXPECT_TRUE(IsOutOfReach(project));
    std::filesystem::remove(libraryPath);
    WriteFileBytes(libraryPath, library);
    EXPECT_TRUE(project.Specifications());
    project.SaveFile();
    EXPECT_EQ(StoredLink(), stored);
}

TEST_F(LibraryLink, OneThatIsOpenElsewhereExclusivelyIsOutOfReachMeanwhile) {
    Specifications elsewhere = Specifications::Create();
    elsewhere.OpenFile(PathText(libraryPath));
    Project project = Opened();
    EXPECT_TRUE(IsOutOfReach(project));
    elsewhere.CloseFile();
    EXPECT_TRUE(project.Specifications());
}

TEST_F(LibraryLink, PathsOfOtherSystemsAndOddOnes) {
    std::filesystem::copy_file(libraryPath, beside);
    const struct {
        const char* what;
        std::u16string path;
        std::filesystem::path found;  // empty: nowhere
    } cases[] = {{"backslashes", u"C:\\libraries\\a.lvs", beside},
                 {"the name alone", u"a.lvs", beside},
                 {"from the project's folder", u"../library/a.lvs", beside.parent_path() / "../library/a.lvs"},
                 {"empty", u"", {}},
                 {"a folder", u"/nowhere/", {}},
                 {"half a character", u"/nowhere/\xD800.lvs", {}}};
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        Streams streams = ReadDocument(projectPath);
        for (const auto& [name, headSize] : {std::pair(u"ROOT", kHeadSize), std::pair(u"ROOT-V200", kHeadSize + 4)}) {
            Bytes& root = streams[name];
            root =
                Bytes(root.begin(), root.begin() + headSize) + Hex(LinkTo(libraryId, each.path) + kNoDataOrWorkspace);
        }
        WriteDocument(projectPath, streams);
        Project project = Opened();
        if (each.found.empty()) {
            EXPECT_TRUE(IsOutOfReach(project));
        } else {
            EXPECT_TRUE(project.Specifications());
        }
        project.SaveFile();
        project.CloseFile();
        EXPECT_EQ(StoredLink(), LinkTo(libraryId, each.found.empty() ? each.path : PathText(each.found)));
    }
}

TEST_F(LibraryLink, APutLibraryStaysTheVeryObject) {
    Project project = Opened();
    EXPECT_TRUE(project.Specifications());
    Specifications mine = Specifications::Create();
    project.Specifications(mine);
    EXPECT_EQ(project.Specifications().Pointer(), mine.Pointer());
    project.SaveFile();
    EXPECT_EQ(StoredLink(), LinkTo(mine.ID(), u"")) << "it has no file yet";
    EXPECT_EQ(project.Specifications().Pointer(), mine.Pointer());
    mine.SaveFileAs(PathText(folder / "mine.lvs"));
    project.SaveFile();
    EXPECT_EQ(StoredLink(), LinkTo(mine.ID(), PathText(folder / "mine.lvs")));
    project.CloseFile();
    EXPECT_EQ(project.Specifications().Pointer(), mine.Pointer());
    project.OpenFile(PathText(projectPath));
    EXPECT_TRUE(IsOutOfReach(project)) << "a file that is opened brings its own link; the library is open exclusively";
}

TEST_F(LibraryLink, NoneUnlinks) {
    Project project = Opened();
    ASSERT_TRUE(project.Specifications());
    EXPECT_EQ(project.Get()->put_Specifications(nullptr), S_OK);
    EXPECT_TRUE(IsModified(project));
    EXPECT_TRUE(IsOutOfReach(project));
    project.SaveFile();
    EXPECT_EQ(StoredLink(), "00 00");
    project.CloseFile();
    EXPECT_TRUE(IsOutOfReach(Opened()));
}

TEST_F(LibraryLink, ALibraryThatWasClosedSinceIsLookedForAgain) {
    Project project = Opened();
    Specifications library = project.Specifications();
    library.CloseFile();
    project.SaveFile();
    EXPECT_EQ(StoredLink(), LinkTo(libraryId, PathText(libraryPath))) << "where it was";
    const Specifications again = project.Specifications();
    ASSERT_TRUE(again);
    EXPECT_NE(again.Pointer(), library.Pointer());
    EXPECT_EQ(again.Manufacturers().Item(1).Name(), u"Fostering");
    std::filesystem::rename(libraryPath, beside);
    project.Specifications().CloseFile();
    EXPECT_EQ(project.Specifications().ID(), libraryId);
    project.Specifications().CloseFile();
    project.SaveFile();
    EXPECT_EQ(StoredLink(), LinkTo(libraryId, PathText(beside))) << "where it was seen last";
    std::filesystem::remove(beside);
    EXPECT_TRUE(IsOutOfReach(project));
}

TEST_F(LibraryLink, APutLibraryThatWasClosedSinceKeepsItsStoredPath) {
    Project project = Opened();
    Specifications mine = Specifications::Create();
    project.Specifications(mine);
    mine.SaveFileAs(PathText(folder / "mine.lvs"));
    project.SaveFile();
    mine.CloseFile();
    project.SaveFile();
    EXPECT_EQ(StoredLink(), LinkTo(mine.ID(), PathText(folder / "mine.lvs")));
    EXPECT_EQ(project.Specifications().Pointer(), mine.Pointer()) << "it stays the client's";
    mine.OpenFile(PathText(libraryPath));
    project.SaveFile();
    EXPECT_EQ(StoredLink(), LinkTo(libraryId, PathText(libraryPath)));
    mine.SaveFileAs(PathText(folder / "later.lvs"));
    project.Specifications(mine);
    mine.CloseFile();
    project.SaveFile();
    EXPECT_EQ(StoredLink(), LinkTo(libraryId, PathText(folder / "later.lvs"))) << "as it was put";
}

// What the project opened by itself goes with its file; what a client put stays.
TEST_F(LibraryLink, AClosedProjectLetsItsOwnLibraryGo) {
    Project project = Opened();
    ASSERT_TRUE(project.Specifications());
    project.CloseFile();
    Specifications editor = Specifications::Create();
    editor.OpenFile(PathText(libraryPath));  // exclusively: nobody has it open
    EXPECT_TRUE(IsOutOfReach(project));
    editor.CloseFile();
    EXPECT_TRUE(project.Specifications()) << "asked for, it is opened again";
    project.Specifications(project.Specifications());
    project.SaveFileAs(PathText(projectPath));
    project.CloseFile();
    EXPECT_TRUE(project.Specifications()) << "put, it is the client's";
    project.Specifications(editor);
    project.SaveFileAs(PathText(projectPath));
    project.CloseFile();
    EXPECT_EQ(project.Specifications().Pointer(), editor.Pointer());
    project.SaveFileAs(PathText(projectPath));
    EXPECT_EQ(StoredLink(), LinkTo(libraryId, u""));
}

TEST(LibraryPath, LeadsElsewhereOrNot) {
    for (const char16_t* path :
         {u"\\\\host\\share\\a.lvs", u"//host/share/a.lvs", u"\\/host/a.lvs", u"//", u"\\\\?\\C:\\a.lvs",
          u"\\\\.\\pipe\\a", u"\\??\\UNC\\host\\a", u"file:///a.lvs", u"file:a.lvs", u"smb://host/a.lvs", u"/dev/tape"})
        EXPECT_TRUE(inside::LeadsElsewhere(path)) << ToUtf8(path);
    for (const char16_t* path :
         {u"", u"/", u"a.lvs", u"/home/me/a.lvs", u"C:\\libraries\\a.lvs", u"c:a.lvs", u"../a.lvs", u"\\a.lvs",
          u"/a//b.lvs", u"/device/a.lvs", u"/12:30/a.lvs", u"folder\\12:30.lvs"})
        EXPECT_FALSE(inside::LeadsElsewhere(path)) << ToUtf8(path);
}

TEST_F(LibraryLink, PutsAreToldAndRefuseWhatIsNoLibraryOfOurs) {
    Project project = Opened();
    Listener listener(project);
    project.Specifications(Specifications::Create());
    EXPECT_EQ(listener.Taken(), Strings{"root"});
    EXPECT_TRUE(IsModified(project));
    const Specifications kept = project.Specifications();
    IDispatch* const late = project.Pointer();
    EXPECT_EQ(CallByName(late, u"Specifications", DISPATCH_PROPERTYPUT, {Variant::FromDispatch(late)}).status,
              DISP_E_TYPEMISMATCH);
    EXPECT_EQ(project.Specifications().Pointer(), kept.Pointer());
    EXPECT_EQ(listener.Taken(), Strings{});
    EXPECT_EQ(
        CallByName(late, u"Specifications", DISPATCH_PROPERTYPUTREF, {Variant::FromDispatch(kept.Pointer())}).status,
        S_OK);
    EXPECT_EQ(CallByName(late, u"Specifications", DISPATCH_PROPERTYGET).value.pdispVal, kept.Pointer());
    EXPECT_EQ(CallByName(late, u"Specifications", DISPATCH_PROPERTYPUT, {Variant()}).status, S_OK);
    EXPECT_TRUE(IsOutOfReach(project));
}

TEST_F(LibraryLink, TheProjectHoldsTheLibraryAndNothingHoldsTheProject) {
    const std::size_t before = inside::LiveObjects();
    {
        Project project = Opened();
        project.Specifications();
        project.Specifications(project.Specifications());
        Specifications mine = Specifications::Create();
        const Manufacturers manufacturers = mine.Manufacturers();
        project.Specifications(mine);
        mine = Specifications();
        EXPECT_EQ(manufacturers.Add(u"A").Root().Pointer(), project.Specifications().Pointer());
        project = Project();
        EXPECT_TRUE(FailsWith(4009, manufacturers.Get()->RemoveAll())) << "the library went with the project";
    }
    EXPECT_EQ(inside::LiveObjects(), before);
}

}  // namespace
}  // namespace lumvex::tests
