// Saving by the functions beside the published interfaces: progress, new documents that replace nothing, and arrays
// that wait for the save in a file.
#include "kit/faulty_disk.hpp"
#include "kit/hand_made.hpp"
#include "kit/published.hpp"
#include "lumvex/maintenance.hpp"
#include "storage/records/byte_spool.hpp"
#include "storage/records/failures.hpp"

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

template <class T>
Variant Counting(VARTYPE type, std::size_t count) {
    std::vector<T> values(count);
    for (std::size_t at = 0; at < count; ++at) {
        if constexpr (std::is_same_v<T, VARIANT>) {
            values[at].vt = VT_R8;
            values[at].dblVal = static_cast<double>(at);
        } else {
            values[at] = static_cast<T>(at % 251);
        }
    }
    return ArrayOf(type, {{static_cast<ULONG>(count), 0}}, values);
}

// Arrays of all elements that a put takes.
std::vector<Variant> ArraysOf(std::size_t count) {
    std::vector<Variant> arrays;
    arrays.push_back(Counting<float>(VT_R4, count));
    arrays.push_back(Counting<double>(VT_R8, count));
    arrays.push_back(Counting<LONG>(VT_I4, count));
    arrays.push_back(Counting<VARIANT>(VT_VARIANT, count));
    arrays.push_back(Counting<BYTE>(VT_UI1, count));
    return arrays;
}

std::vector<double> NumbersOf(const Project& project) {
    std::vector<double> numbers;
    for (const Datum& each : project.Data()) {
        const Array array(each.Data());
        numbers.push_back(static_cast<double>(array.Rows()));
        for (std::size_t row = 0; row < array.Rows(); ++row) numbers.push_back(array(row, 0));
    }
    return numbers;
}

// A document whose arrays wait in a file is the same, at any time, as one whose arrays are in memory. The file has a
// name only where files have to.
TEST_F(Saving, ArraysThatWaitInAFileAreTheSame) {
    constexpr bool kIsNamed = std::filesystem::path::preferred_separator == '\\';  // on Windows
    constexpr std::size_t kShort = inside::ByteSpool::kShort / sizeof(float);
    constexpr std::uint64_t kAll = 1 << 30;
    Project plain = Project::Create();
    for (const std::uint64_t inMemory : {std::uint64_t{0}, std::uint64_t{4 * kShort}, kAll}) {
        const std::size_t waiting = kIsNamed && inMemory != kAll ? 1 : 0;
        Project spooled = Project::Create();
        spooled.AccessMode(LX_SHARE_READWRITE);
        SpoolArrays(spooled.Get(), path, inMemory);
        const auto put = [&](const Project& to, std::size_t add) {
            for (const std::size_t count : {std::size_t{2}, kShort - 1, kShort, kShort + 1, 4 * kShort + 1})
                for (const Variant& array : ArraysOf(count + add)) to.Data().Add(u"datum").Data(array);
        };
        put(plain, 0), put(spooled, 0);
        EXPECT_EQ(NumbersOf(spooled), NumbersOf(plain));
        EXPECT_EQ(FilesInFolder(), waiting);
        EXPECT_THROW(SaveNewDocument(spooled.Get(), path, [](std::size_t, std::size_t) { throw Stopped(); }), Stopped);
        SaveNewDocument(spooled.Get(), path);
        EXPECT_EQ(NumbersOf(Project::Open(PathText(path))), NumbersOf(plain));
        // What was saved already, what replaces it, and what comes with another save.
        spooled.Data().Item(3).Name(u"changed");
        for (const Project& each : {plain, spooled}) each.Data().Item(5).Data(Counting<float>(VT_R4, kShort + 9));
        put(plain, 1), put(spooled, 1);
        SaveDocument(spooled.Get());
        EXPECT_EQ(NumbersOf(Project::Open(PathText(path))), NumbersOf(plain));
        EXPECT_TRUE(CheckDocument(path).empty());
        spooled.CloseFile();
        EXPECT_EQ(NumbersOf(spooled), NumbersOf(plain));
        EXPECT_EQ(FilesInFolder(), waiting + 1);
        spooled = Project();
        EXPECT_EQ(FilesInFolder(), 1u);
        std::filesystem::remove(path);
        plain.Data().RemoveAll();
    }
}

// Arrays of 16 KiB take sectors of 512 bytes, long and very short ones those of 4,096, in a new document and in one
// that is saved elsewhere.
TEST(SectorSizes, FollowWhatADocumentHolds) {
    const struct {
        int members;
        std::size_t floats;
        int version;
    } kCases[] = {{5, 30, 3}, {4000, 30, 4}, {300, 4096, 3}, {1500, 4096, 3}, {10, 131'072, 4}};
    for (const auto& [members, floats, version] : kCases) {
        const Folder folder;
        Project project = Project::Create();
        for (int member = 0; member < members; ++member)
            project.Data().Add(u"member").Data(Floats(std::vector<float>(floats, 1.0f)));
        for (const char* name : {"a.lvp", "b.lvp"}) {
            project.SaveFileAs(PathText(folder / name));
            EXPECT_EQ(FileBytes(folder / name).at(26), std::byte(version)) << members << " of " << floats << name;
            if (floats >= 4096) {
                EXPECT_LT(std::filesystem::file_size(folder / name),
                          static_cast<std::uintmax_t>(members) * floats * sizeof(float) * 106 / 100);
            }
        }
    }
}

TEST(ByteSpool, TakesLongBlocksBeyondItsRoomInMemory) {
    using inside::ByteSpool;
    constexpr std::size_t kShort = ByteSpool::kShort;
    for (std::size_t room : {std::size_t{0}, kShort, kShort + 1, 2 * kShort + 2, 9 * kShort}) {
        int made = 0;
        ByteSpool spool([&] { return ++made, compound::MemoryFile(); }, room);
        std::vector<std::pair<std::shared_ptr<const inside::ByteSource>, Bytes>> taken;
        for (const std::size_t size : {kShort + 1, kShort, std::size_t{0}, 2 * kShort, kShort + 1, 3 * kShort + 5}) {
            const Bytes block(size, static_cast<std::byte>(size + taken.size()));
            const bool stays = size <= kShort || size <= room;
            if (size > kShort && stays) room -= size;
            auto source = spool.Put(block);
            EXPECT_EQ(source == nullptr, stays) << size;
            if (source) taken.emplace_back(std::move(source), block);
        }
        EXPECT_EQ(made, taken.empty() ? 0 : 1);
        for (const auto& [source, block] : taken) {
            Bytes read(block.size());
            source->Read(0, read);
            EXPECT_EQ(read, block);
            Bytes part(5);
            source->Read(block.size() - part.size(), part);
            EXPECT_EQ(part, Bytes(5, block[0]));
            EXPECT_THROW(source->Read(block.size() - 4, part), inside::Failure);
        }
    }
}

// Blocks stay in memory where they cannot be written, and what was lost in the file is not taken for the block.
TEST(ByteSpool, LosesNothingWithItsFile) {
    const Bytes block(9000, std::byte{7});
    Bytes read(block.size());
    int calls = 0;
    inside::ByteSpool none(
        [&]() -> std::unique_ptr<compound::File> {
            ++calls;
            throw compound::StorageError(compound::Status::AccessDenied, "no file here");
        },
        0);
    EXPECT_FALSE(none.Put(block) || none.Put(block));
    EXPECT_EQ(calls, 1);
    for (const auto fault : {FaultyDisk::Fault::Fails, FaultyDisk::Fault::Full, FaultyDisk::Fault::Torn}) {
        FaultyDisk disk;
        compound::File* file = nullptr;
        inside::ByteSpool spool(
            [&] {
                auto made = disk.OpenNew();
                file = made.get();
                return made;
            },
            0);
        const auto first = spool.Put(block);
        disk.FailAt(1, fault);
        EXPECT_FALSE(spool.Put(block));
        const auto last = spool.Put(block);
        for (const auto& each : {first, last}) {
            ASSERT_TRUE(each);
            each->Read(0, read);
            EXPECT_EQ(read, block);
        }
        file->Write(100, Bytes(1, std::byte{8}));
        last->Read(0, read);
        try {
            first->Read(0, read);
            ADD_FAILURE() << "it was taken for the block";
        } catch (const inside::Failure& failure) {
            EXPECT_EQ(InHex(failure.Status()), InHex(inside::kReadFault));
        }
    }
}

}  // namespace
}  // namespace lumvex::tests
