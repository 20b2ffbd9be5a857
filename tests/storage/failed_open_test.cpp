// Files that cannot be opened, and what such an attempt leaves of the root.
#include "kit/hand_made.hpp"
#include "kit/published.hpp"
#include "lumvex/diagnostics.hpp"

namespace lumvex::tests {
namespace {

namespace fs = std::filesystem;

// Refused: the root keeps its ID, is bound to nothing and can be used as before.
void ExpectUsable(Project& project, const std::u16string& id, const fs::path& saved) {
    EXPECT_EQ(project.ID(), id);
    EXPECT_TRUE(FailsWith(4005, project.Get()->SaveFile(), kProject));
    EXPECT_FALSE(project.Modified());
    EXPECT_EQ(project.Data().Count(), 0);
    EXPECT_EQ(project.Units(), LX_UNITS_METRIC);
    EXPECT_TRUE(project.WorkspaceData().Empty());
    project.Data().Add(u"after the failure");
    project.SaveFileAs(PathText(saved));
    EXPECT_EQ(project.Data().Item(1).Name(), u"after the failure");
}

HRESULT Open(const Project& project, const fs::path& from) {
    return project.Get()->OpenFile(Bstr(PathText(from)).get());
}

class FailedOpen : public ::testing::Test {
protected:
    const Folder folder;
    const fs::path path = folder / "a.lvx";
};

// Errors of the client classes name the call, say why in words, and have the status behind them.
TEST_F(FailedOpen, IsToldInWords) {
    Project project = Project::Create();
    const auto name = [](const fs::path& file) { return '"' + ToUtf8(PathText(file)) + '"'; };
    struct Case {
        std::function<void()> work;
        std::string words, what;
    };
    const Case cases[] = {
        {[&] { project.OpenFile(PathText(path)); }, "there is no such file",
         "OpenFile(" + name(path) + "): there is no such file (status 0x80030002)"},
        {[&] { project.Data().Item(7); }, "it is out of range, as there are no members",
         "Item(7): it is out of range, as there are no members (status 0x80070057)"},
        {[&] { project.SetCacheBounds(9, 8); }, "", "SetCacheBounds(9, 8): "},
        {[&] { CheckDocument(path); }, "", ToUtf8(PathText(path)) + ": "},
    };
    for (const Case& each : cases) {
        try {
            each.work();
            ADD_FAILURE() << "no error: " << each.what;
        } catch (const Error& error) {
            const Error copy = error;
            EXPECT_EQ(std::string(copy.what()).substr(0, each.what.size()), each.what);
            EXPECT_NE(std::string(copy.what()).find(copy.Words() + " (status 0x80"), std::string::npos) << copy.what();
            if (!each.words.empty()) {
                EXPECT_EQ(copy.Words(), each.words);
            }
        }
    }
}

TEST_F(FailedOpen, WhatIsNoDocument) {
    fs::create_directory(folder / "directory");
    WriteFileBytes(folder / "empty", {});
    WriteFileBytes(folder / "short", Hex("D0 CF 11 E0"));
    WriteFileBytes(folder / "text", Bytes(4000, std::byte{0x78}));
    WriteDocument(folder / "nothing of ours", {{u"Contents", Hex("01 02 03")}});
    // Systems do not agree on what is missing where a file's folder is.
    const HRESULT missingFolder = fs::path::preferred_separator == '/' ? STG_E_FILENOTFOUND : STG_E_PATHNOTFOUND;
    const struct {
        const char* name;
        HRESULT status;
    } cases[] = {{"missing", STG_E_FILENOTFOUND},    {"missing/below", missingFolder},
                 {"text/below", STG_E_PATHNOTFOUND}, {"directory", STG_E_ACCESSDENIED},
                 {"empty", Status(0x80030050)},      {"short", Status(0x80030050)},
                 {"text", Status(0x80030050)},       {"nothing of ours", STG_E_FILENOTFOUND}};
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        Project project = Project::Create();
        const std::u16string id = project.ID();
        const HRESULT status = Open(project, folder / each.name);
        EXPECT_TRUE(FailsBare(each.status, status));
        ExpectUsable(project, id, folder / "saved.lvx");
    }
    Project project = Project::Create();
    EXPECT_EQ(Open(project, ""), STG_E_FILENOTFOUND);
    EXPECT_EQ(project.Get()->OpenFile(nullptr), E_POINTER);
}

TEST_F(FailedOpen, DocumentsWithBrokenRootStreams) {
    const Streams good = SmallDocument();
    const Bytes root = good.at(u"ROOT-V200");
    const auto first = [](const Bytes& bytes, std::size_t count) {
        return Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
    };
    std::vector<std::pair<std::string, Streams>> broken;
    for (std::size_t length = 0; length < root.size(); ++length) {
        broken.emplace_back("root record of " + std::to_string(length), good);
        broken.back().second[u"ROOT-V200"] = first(root, length);
    }
    for (const char* table : {"", "04 00 00", "05 00 00 00", "FF FF FF FF"}) {
        broken.emplace_back(std::string("directory ") + table, good);
        Bytes& stream = broken.back().second[u"ROOTDIR-V100"];
        stream = std::string_view(table).size() > 8 ? Hex(table) + Bytes(stream.begin() + 4, stream.end()) : Hex(table);
    }
    for (const char* locks : {"01", "01 00 00 00", "FF FF FF FF 00"}) {
        broken.emplace_back(std::string("locks ") + locks, good);
        broken.back().second[u"LOCKS-V100"] = Hex(locks);
    }
    broken.emplace_back("settings", good);
    broken.back().second[u"PROJECTSETTINGS-V100"] = Hex("01 00 01 80 01 00");
    broken.emplace_back("the data collection has the root's ID", good);
    broken.back().second[u"ROOT-V200"] = Hex("00 10 00 90" + kProjectIdBytes +
                                             "07 00 00 00  00 00 00 00 00 00 00 00 00 00  00 00"
                                             "01 00" +
                                             kProjectIdBytes + "00 00 00 00  00 00");
    broken.back().second.erase(u"ROOTDIR-V100");
    for (const auto& [what, streams] : broken) {
        SCOPED_TRACE(what);
        WriteDocument(path, streams);
        Project project = Project::Create();
        const std::u16string id = project.ID();
        const HRESULT status = Open(project, path);
        EXPECT_EQ(static_cast<unsigned>(status) >> 16, 0x8003u) << InHex(status);
        EXPECT_FALSE(TakeErrorInfo().present);
        ExpectUsable(project, id, folder / "saved.lvx");
    }
}

// Cut anywhere, a file is refused or, where the rest was not needed, read as far as it goes: always by a status.
TEST_F(FailedOpen, CutAtManyLengths) {
    WriteDocument(path, SmallDocument());
    const Bytes whole = FileBytes(path);
    std::size_t opened = 0;
    for (std::size_t length = 0; length <= whole.size(); length += length < 600 ? 37 : 64) {
        SCOPED_TRACE(length);
        WriteFileBytes(path, std::span(whole).first(length));
        Project project = Project::Create();
        const std::u16string id = project.ID();
        const HRESULT status = Open(project, path);
        if (FAILED(status)) {
            TakeErrorInfo();
            ExpectUsable(project, id, folder / "saved.lvx");
            continue;
        }
        ++opened;
        Ref<IData> data;
        if (FAILED(project.Get()->get_Data(data.Out()))) continue;
        Ref<IDatum> datum;
        Variant values;
        for (LONG position = 1; position <= 2; ++position)
            if (SUCCEEDED(data->get_Item(position, datum.Out()))) datum->get_Data(values.Out());
    }
    EXPECT_LT(opened, 16u) << "hardly anything of the file is spare";
    TakeErrorInfo();
}

TEST_F(FailedOpen, EveryByteTurnedAround) {
    WriteDocument(path, SmallDocument());
    const Bytes whole = FileBytes(path);
    for (std::size_t at = 0; at < whole.size(); at += 7) {
        SCOPED_TRACE(at);
        Bytes bytes = whole;
        bytes[at] = ~bytes[at];
        WriteFileBytes(path, bytes);
        Project project = Project::Create();
        Ref<IData> data;
        if (FAILED(Open(project, path)) || FAILED(project.Get()->get_Data(data.Out()))) continue;
        LONG count = 0;
        EXPECT_EQ(data->get_Count(&count), S_OK);
        EXPECT_LT(count, 1000) << "more members than the file has bytes for";
        for (LONG position = 1; position <= count; ++position) {
            Ref<IDatum> datum;
            Variant values;
            if (SUCCEEDED(data->get_Item(position, datum.Out()))) datum->get_Data(values.Out());
        }
        project.Get()->SaveFile();
    }
    TakeErrorInfo();
}

TEST_F(FailedOpen, ATreeKeptAfterClosingSurvivesAnAttemptOnAForeignFile) {
    WriteDocument(path, SmallDocument());
    WriteDocument(folder / "foreign", {{u"Contents", Hex("01 02 03")}});
    Streams broken = SmallDocument();
    broken[u"ROOTDIR-V100"] = Hex("FF FF FF FF");
    WriteDocument(folder / "broken", broken);
    Project project = Project::Create();
    project.OpenFile(PathText(path));
    const Datum held = project.Data().Item(1);
    project.Data().Item(2);
    project.CloseFile();
    for (const char* bad : {"foreign", "missing", "broken"}) {
        SCOPED_TRACE(bad);
        EXPECT_TRUE(FAILED(Open(project, folder / bad)));
        EXPECT_EQ(project.ID(), kProjectId);
        ASSERT_EQ(project.Data().Count(), 2);
        EXPECT_EQ(project.Data().Item(1).Pointer(), held.Pointer());
    }
    EXPECT_EQ(project.Get()->SaveFileAs(Bstr(PathText(folder / "again.lvx")).get()), S_OK);
}

}  // namespace
}  // namespace lumvex::tests
