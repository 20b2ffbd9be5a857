// Saving by the functions beside the published interfaces: progress, and new documents that replace nothing.
#include "kit/hand_made.hpp"
#include "kit/published.hpp"
#include "lumvex/maintenance.hpp"

namespace lumvex::tests {
namespace {

struct Stopped {};

class Saving : public ::testing::Test {
protected:
    Saving() : project(Project::Create()) {
        project.AccessMode(LX_SHARE_READWRITE);
        for (int member = 0; member < 9; ++member)
            project.Data().Add(u"member").Data(Floats(std::vector<float>(5000, static_cast<float>(member))));
    }

    std::size_t FilesInFolder() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder.Path()), {}));
    }

    Project project;
    const Folder folder;
    const std::filesystem::path path = folder / "a.lvp";
};

// Whatever is at the path when the new file is complete stays, however late it came, and the document is not lost.
TEST_F(Saving, ANewDocumentReplacesNothing) {
    const Bytes notes = Hex("6E 6F 74 65 73");
    struct Comer {
        std::function<void()> comes;
        std::function<bool()> isKept;
    };
    const Comer comers[] = {
        {[&] { WriteFileBytes(path, notes); }, [&] { return FileBytes(path) == notes; }},
        {[&] { SaveNewDocument(Project::Create().Get(), path); },
         [&] { return InspectDocument(path).objects > 0 && ReadDocument(path).size() < 9; }},
        {[&] { std::filesystem::create_directory(path); }, [&] { return std::filesystem::is_directory(path); }},
    };
    for (const auto& [comes, isKept] : comers) {
        for (const bool early : {true, false}) {
            if (early) comes();
            const auto late = [&, &come = comes](std::size_t done, std::size_t total) {
                if (!early && done == total) come();
            };
            try {
                SaveNewDocument(project.Get(), path, late);
                ADD_FAILURE() << "it was replaced";
            } catch (const Error& error) {
                EXPECT_EQ(InHex(error.Status()), InHex(Status(0x80030050))) << error.what();
            }
            EXPECT_EQ(FilesInFolder(), 1u);
            EXPECT_TRUE(isKept());
            std::filesystem::remove(path);
        }
    }
    SaveNewDocument(project.Get(), path);
    project.Data().Item(1).Name(u"changed");
    SaveDocument(project.Get());
    project.CloseFile();
    project.OpenFile(PathText(path));
    EXPECT_EQ(project.Data().Item(1).Name(), u"changed");
    EXPECT_EQ(project.Data().Count(), 9);
    EXPECT_EQ(FilesInFolder(), 1u);
}

TEST_F(Saving, TellsOfEachObjectAndEndsWhereTheListenerThrows) {
    for (const bool isNew : {true, false}) {
        std::size_t told = 0, all = 0;
        const auto save = [&](const Progress& progress) {
            if (isNew)
                SaveNewDocument(project.Get(), path, progress);
            else
                SaveDocument(project.Get(), progress);
        };
        if (!isNew)
            for (Datum each : project.Data()) each.Data(Floats(std::vector<float>(6000, 3)));
        const Bytes before = isNew ? Bytes() : FileBytes(path);
        const auto stopInTheMiddle = [&](std::size_t done, std::size_t) {
            if (done == 5) throw Stopped();
        };
        EXPECT_THROW(save(stopInTheMiddle), Stopped);
        EXPECT_EQ(FilesInFolder(), isNew ? 0u : 1u);
        EXPECT_TRUE(isNew || FileBytes(path) == before);
        EXPECT_TRUE(project.Modified());
        save([&](std::size_t done, std::size_t total) {
            EXPECT_EQ(done, ++told);
            all = total;
        });
        EXPECT_EQ(told, all);
        EXPECT_GE(all, 9u);
        EXPECT_TRUE(CheckDocument(path).empty());
    }
}

TEST_F(Saving, RefusesWhatIsNoDocumentOfItsOwn) {
    const auto statusOf = [](const auto& work) {
        try {
            work();
            return S_OK;
        } catch (const Error& error) {
            return error.Status();
        }
    };
    EXPECT_EQ(InHex(statusOf([&] { SaveDocument(nullptr); })), InHex(E_NOINTERFACE));
    EXPECT_EQ(InHex(statusOf([&] { SaveNewDocument(nullptr, path); })), InHex(E_NOINTERFACE));
    EXPECT_EQ(InHex(statusOf([&] { SaveDocument(project.Get()); })), InHex(Status(0x80040FA5)));
    EXPECT_EQ(InHex(statusOf([&] { SaveNewDocument(project.Get(), folder / "no" / "a"); })), InHex(Status(0x80030003)));
    EXPECT_EQ(FilesInFolder(), 0u);
}

}  // namespace
}  // namespace lumvex::tests
