// Files that are damaged or made to do harm: whatever is done with them ends in a result or a StorageError, after an
// amount of work that the file's length bounds.
#include <random>

#include "kit/folders.hpp"
#include "kit/unreadable_file.hpp"
#include "storage/compound/file/file_view.hpp"
#include "support.hpp"

namespace lumvex::tests {
namespace {

Content SampleContent() {
    Content content{{u"large", Pattern(9000, 1)}, {u"larger", Pattern(20000, 2)}, {u"empty", {}}};
    for (unsigned i = 0; i < 12; ++i) content[Name(i)] = Pattern(60 * i + 1, i);
    return content;
}

// Everything a caller can do.
void Exercise(const Bytes& image) {
    static_cast<void>(CheckStructure(*MemoryFile(image)));
    StatusOf([&] {
        const auto file = OpenBytes(image);
        std::vector<std::u16string> names{u"missing"};
        StatusOf(
            [&] { file->ForEachStream([&](std::u16string_view name, std::uint64_t) { names.emplace_back(name); }); });
        EXPECT_LE(names.size(), image.size() / kEntrySize + 1);
        std::uint64_t bytesRead = 0;
        StatusOf([&] { file->ReadAll([&](std::u16string_view, auto bytes) { bytesRead += bytes.size(); }); });
        EXPECT_LE(bytesRead, 2 * image.size());
        for (const std::u16string& name : names)
            StatusOf([&] {
                const Stream stream = file->Get(name);
                EXPECT_LE(stream.Size(), image.size() + 4096);
                Bytes bytes(stream.Size());
                stream.Read(0, bytes);
                stream.Contiguous(0, bytes.size());
            });
        for (int round = 0; round < 2; ++round) {
            StatusOf([&] { Put(*file, u"small", Pattern(100, static_cast<unsigned>(round))); });
            StatusOf([&] { Put(*file, u"large", Pattern(30000, static_cast<unsigned>(round))); });
            StatusOf([&] { Put(*file, names.back(), Pattern(200, static_cast<unsigned>(round))); });
            StatusOf([&] { file->Remove(names[names.size() / 2]); });
            if (StatusOf([&] { file->Commit(); }) != Status{}) file->Revert();
        }
        StatusOf([&] { file->ForEachStream([](std::u16string_view, std::uint64_t) {}); });
    });
}

// A file to damage at named places.
class Sample {
public:
    explicit Sample(int version) : Sample(version, ImageOf(SampleContent(), version)) {}
    Sample(int version, Bytes bytes) : image(std::move(bytes)), sectorSize_(version == 3 ? 512 : 4096) {}

    std::uint32_t Number(std::size_t offset) const { return Load32(&image[offset]); }
    void Set(std::size_t offset, std::uint32_t number) { Store32(&image[offset], number); }
    std::size_t Sector(SectorId sector) const { return (std::size_t{sector} + 1) * sectorSize_; }
    std::size_t Fat(SectorId sector) const {
        const std::size_t perSector = sectorSize_ / 4, page = sector / perSector;
        const std::size_t listed =
            page < kDifatInHeader ? 76 + 4 * page : Sector(Number(68)) + 4 * (page - kDifatInHeader);
        return Sector(Number(listed)) + 4 * (sector % perSector);
    }
    std::size_t MiniFat(SectorId sector) const { return Sector(Number(60)) + 4 * std::size_t{sector}; }
    std::size_t Entry(EntryId id) const {
        SectorId sector = Number(48);
        for (std::size_t i = 0; i < id * kEntrySize / sectorSize_; ++i) sector = Number(Fat(sector));
        return Sector(sector) + id * kEntrySize % sectorSize_;
    }
    // The entry of a stream.
    std::size_t Entry(std::u16string_view name) const {
        for (EntryId id = 1;; ++id) {
            std::array<char16_t, kMaxNameLength> buffer;
            if (compound::DirectoryEntry(&image[Entry(id)]).Name(buffer) == name) return Entry(id);
        }
    }

    Bytes image;

private:
    std::size_t sectorSize_;
};

class Hostile : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Versions, Hostile, testing::Values(3, 4));

TEST_P(Hostile, ChainsCountsAndSizesAreRefusedOrBounded) {
    struct Damage {
        const char* what;
        std::function<void(Sample&)> make;
    };
    const std::vector<Damage> damages{
        {"the directory's chain is a cycle", [](Sample& s) { s.Set(s.Fat(s.Number(48)), s.Number(48)); }},
        {"the directory begins behind the end", [](Sample& s) { s.Set(48, 5000); }},
        {"the mini FAT's chain is a cycle", [](Sample& s) { s.Set(s.Fat(s.Number(60)), s.Number(60)); }},
        {"the mini stream's chain is a cycle",
         [](Sample& s) { s.Set(s.Fat(s.Number(s.Entry(0) + 116)), s.Number(s.Entry(0) + 116)); }},
        {"a large stream's chain is a cycle",
         [](Sample& s) { s.Set(s.Fat(s.Number(s.Entry(u"larger") + 116)), s.Number(s.Entry(u"larger") + 116)); }},
        {"a large stream's chain goes into a free sector",
         [](Sample& s) { s.Set(s.Fat(s.Number(s.Entry(u"larger") + 116)), kFreeSector); }},
        {"two streams share a chain",
         [](Sample& s) { s.Set(s.Entry(u"larger") + 116, s.Number(s.Entry(u"large") + 116)); }},
        {"a stream's chain is the directory's", [](Sample& s) { s.Set(s.Entry(u"large") + 116, s.Number(48)); }},
        {"a small stream's chain is a cycle",
         [](Sample& s) {
             s.Set(s.MiniFat(s.Number(s.Entry(u"Stream11") + 116)), s.Number(s.Entry(u"Stream11") + 116));
         }},
        {"a small stream begins behind the end", [](Sample& s) { s.Set(s.Entry(u"Stream7") + 116, 77777); }},
        {"two small streams share a chain",
         [](Sample& s) { s.Set(s.Entry(u"Stream7") + 116, s.Number(s.Entry(u"Stream8") + 116)); }},
        {"a stream is larger than the file", [](Sample& s) { s.Set(s.Entry(u"large") + 120, 0x7FFFFFFF); }},
        {"the mini stream is larger than the file", [](Sample& s) { s.Set(s.Entry(0) + 120, 0x7FFFFFFF); }},
        {"the mini stream is smaller than what is in it", [](Sample& s) { s.Set(s.Entry(0) + 120, 64); }},
        {"the FAT lists itself out of range", [](Sample& s) { s.Set(76, 123456); }},
        {"the FAT is missing", [](Sample& s) { s.Set(76, kFreeSector); }},
        {"too many FAT sectors are counted", [](Sample& s) { s.Set(44, 0xFFFFFFF0); }},
        {"too few FAT sectors are counted", [](Sample& s) { s.Set(44, 0); }},
        {"the DIFAT is a cycle",
         [](Sample& s) {
             s.Set(44, 100000), s.Set(72, 100000), s.Set(68, 2);
             const std::size_t last = s.Sector(3) - 4;
             s.Set(last, 2);
         }},
        {"too many mini FAT sectors are counted", [](Sample& s) { s.Set(64, 0xFFFFFFFF); }},
        {"the tree's top is behind the directory's end", [](Sample& s) { s.Set(s.Entry(0) + 76, 1000000); }},
        {"the tree's top is the root", [](Sample& s) { s.Set(s.Entry(0) + 76, 0); }},
        {"an entry is its own left neighbour", [](Sample& s) { s.Set(s.Entry(3) + 68, 3); }},
        {"an entry is its own right neighbour", [](Sample& s) { s.Set(s.Entry(2) + 72, 2); }},
        {"two entries are each other's neighbours",
         [](Sample& s) { s.Set(s.Entry(5) + 72, 6), s.Set(s.Entry(6) + 68, 5); }},
        {"entry 0 is no root", [](Sample& s) { s.image[s.Entry(0) + 66] = std::byte{2}; }},
        {"an entry has a type that is none", [](Sample& s) { s.image[s.Entry(4) + 66] = std::byte{9}; }},
        {"a name's length is too large", [](Sample& s) { s.image[s.Entry(4) + 65] = std::byte{9}; }},
    };
    for (const Damage& damage : damages) {
        SCOPED_TRACE(damage.what);
        Sample sample(GetParam());
        damage.make(sample);
        EXPECT_NE(Problems(sample.image), "");
        Exercise(sample.image);
        sample.Set(52, 0);  // the same as another program's file
        Exercise(sample.image);
    }
}

TEST_P(Hostile, DamageIsNamedWhereItIsMet) {
    struct Damage {
        std::function<std::size_t(Sample&)> place;  // of the number that is changed
        std::uint32_t number;
        std::u16string_view read;
        Status status;
    };
    const auto at = [](std::size_t offset) { return [offset](Sample&) { return offset; }; };
    const auto ofLarge = [](std::size_t field) { return [field](Sample& s) { return s.Entry(u"large") + field; }; };
    const auto linkOfLarge = [](Sample& s) { return s.Fat(s.Number(s.Entry(u"large") + 116)); };
    const Damage damages[] = {
        {ofLarge(120), 0x7FFFFFFF, u"large", Status::Corrupt},
        {linkOfLarge, kEndOfChain, u"large", Status::Corrupt},
        {linkOfLarge, kEndOfChain, u"larger", Status{}},
        {linkOfLarge, 99999, u"large", Status::Corrupt},
        {[](Sample& s) { return s.Entry(0) + 120; }, 0x7FFFFFFF, u"Stream7", Status::Corrupt},
        {at(48), 99999, u"large", Status::Corrupt},
        {at(24), 0x00050000, u"large", Status::InvalidHeader},
        {at(28), 0x000AFFFE, u"large", Status::InvalidHeader},
        {at(32), 7, u"large", Status::InvalidHeader},
        {at(0), 7, u"large", Status::NotACompoundFile},
        // The upper half of a size counts in version 4 only.
        {ofLarge(124), 7, u"large", GetParam() == 3 ? Status{} : Status::Corrupt},
    };
    for (std::size_t i = 0; i < std::size(damages); ++i) {
        Sample sample(GetParam());
        sample.Set(damages[i].place(sample), damages[i].number);
        EXPECT_EQ(StatusOf([&] { Get(*OpenBytes(sample.image), damages[i].read); }), damages[i].status)
            << "damage " << i;
    }
}

TEST_P(Hostile, ATreeThatIsACycleIsNotRead) {
    const auto visit = [](std::u16string_view, const auto&) {};
    for (const std::size_t link : {68, 72}) {
        Sample sample(GetParam());
        sample.Set(sample.Entry(3) + link, 3);
        EXPECT_EQ(StatusOf([&] { OpenBytes(sample.image)->ForEachStream(visit); }), Status::Corrupt);
        EXPECT_EQ(StatusOf([&] { OpenBytes(sample.image)->ReadAll(visit); }), Status::Corrupt);
    }
}

// One after the other, so that the table and the place of the mini stream are known from the stream before.
TEST_P(Hostile, ChainsOfSmallStreamsAreFollowedToTheirEnds) {
    constexpr unsigned kCount = 30, kDamaged = 20;
    Content content;
    for (unsigned i = 0; i < kCount; ++i) content[Name(i)] = Pattern(150, i);
    Sample sample(GetParam(), ImageOf(content, GetParam()));
    sample.Set(sample.MiniFat(sample.Number(sample.Entry(Name(kDamaged)) + 116) + 1), kEndOfChain);
    const auto file = OpenBytes(sample.image);
    std::array<std::byte, 4096> buffer;
    for (unsigned i = 0; i < kCount; ++i)
        EXPECT_EQ(StatusOf([&] { EXPECT_EQ(file->FindOrRead(EntryName(Name(i)), buffer).read, 150u); }),
                  i == kDamaged ? Status::Corrupt : Status{});
    EXPECT_EQ(StatusOf([&] { file->ReadAll([](std::u16string_view, const auto&) {}); }), Status::Corrupt);
}

// Nothing in memory behind the file's end can be taken for a sector by chance, so the error is that of the sector.
TEST_P(Hostile, SectorsBehindTheEndAreNone) {
    Sample sample(GetParam());
    const auto count = static_cast<SectorId>(sample.image.size() / (sample.Sector(1) - sample.Sector(0)) - 1);
    for (const SectorId sector : {count, count + 1}) {
        sample.Set(76, sector);
        try {
            Get(*OpenBytes(sample.image), u"larger");
            FAIL() << "sector " << sector << " was read";
        } catch (const StorageError& error) {
            EXPECT_EQ(error.status(), Status::Corrupt);
            EXPECT_EQ(error.what(), "sector " + std::to_string(sector) + " of " + std::to_string(count));
        }
    }
}

TEST_P(Hostile, ADamagedStreamIsReplacedOrRemoved) {
    const auto startOf = [](Sample& s, std::u16string_view name) { return s.Number(s.Entry(name) + 116); };
    struct Damage {
        std::u16string name;
        std::function<void(Sample&)> make;
    };
    const std::vector<Damage> damages{
        {u"large", [](Sample& s) { s.Set(s.Entry(u"large") + 120, 0x7FFFFFFF); }},
        {u"large", [&](Sample& s) { s.Set(s.Fat(startOf(s, u"large")), startOf(s, u"large")); }},
        {u"larger", [&](Sample& s) { s.Set(s.Fat(startOf(s, u"larger") + 1), 99999); }},
        {u"larger", [&](Sample& s) { s.Set(s.Fat(startOf(s, u"larger")), kFreeSector); }},
        {u"Stream7", [](Sample& s) { s.Set(s.Entry(u"Stream7") + 116, 77777); }},
        {u"Stream11", [&](Sample& s) { s.Set(s.MiniFat(startOf(s, u"Stream11")), startOf(s, u"Stream11")); }},
        {u"Stream11", [&](Sample& s) { s.Set(s.MiniFat(startOf(s, u"Stream11")), kEndOfChain); }},
    };
    for (std::size_t i = 0; i < damages.size(); ++i)
        for (const int size : {-1, 100, 661, 9000, 20000}) {  // negative: removed
            SCOPED_TRACE(std::to_string(i) + ", then " + std::to_string(size) + " bytes");
            Sample sample(GetParam());
            damages[i].make(sample);
            FaultyDisk disk(sample.image);
            const auto file = CompoundFile::Open(disk.Open(), Access::Exclusive);
            Content content = SampleContent();
            const Status read =
                StatusOf([&] { EXPECT_FALSE(Get(*file, damages[i].name) == content[damages[i].name]); });
            EXPECT_TRUE(read == Status{} || read == Status::Corrupt);
            if (size < 0)
                file->Remove(damages[i].name), content.erase(damages[i].name);
            else
                Put(*file, damages[i].name, content[damages[i].name] = Pattern(static_cast<std::size_t>(size), 9));
            file->Commit();
            EXPECT_TRUE(ContentOf(disk.Content()) == content);
        }
}

TEST_P(Hostile, FilesCutShortAnywhereGiveWhatIsThere) {
    const Bytes image = ImageOf(SampleContent(), GetParam());
    for (std::size_t length = 0; length < image.size(); length += length < 2048 ? 97 : 1021) {
        const Bytes cut(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(length));
        const Status status = StatusOf([&] { OpenBytes(cut); });
        EXPECT_EQ(status, length < 512 ? Status::NotACompoundFile : Status{}) << length;
        Exercise(cut);
    }
    // What is behind the last sector does not matter, nor does what the last sector lacks behind a stream's end.
    Bytes longer = image;
    longer.resize(image.size() + 300, std::byte{0xEE});
    EXPECT_EQ(ContentOf(longer), SampleContent());
    Exercise(longer);
}

// A file that a save would turn into one that looks sound, with parts missing: what is there can be read, nothing is
// written.
void ExpectNotWritten(const Bytes& image, const std::string& what) {
    SCOPED_TRACE(what);
    FaultyDisk disk(image);
    const auto file = CompoundFile::Open(disk.Open(), Access::Exclusive);
    for (const std::size_t size : {100, 700000})
        EXPECT_EQ(StatusOf([&] { Put(*file, u"new", Pattern(size, 1)), file->Commit(); }), Status::Corrupt) << size;
    EXPECT_EQ(StatusOf([&] { file->Remove(u"early"), file->Commit(); }), Status::Corrupt);
    EXPECT_TRUE(Get(*file, u"early") == Pattern(5000, 1));
    EXPECT_TRUE(disk.Content() == image);
}

// A file whose last stream is behind all structures and ends `into` bytes into the last sector.
Bytes EndingWithAStream(int version, std::size_t sector, std::size_t into) {
    FaultyDisk disk(ImageOf({{u"early", Pattern(5000, 1)}, {u"gap", Pattern(20 * sector, 1)}}, version));
    const auto file = CompoundFile::Open(disk.Open(), Access::Exclusive);
    Put(*file, u"late", Pattern(40 * sector + into, 2));
    file->Commit();
    file->Remove(u"gap");
    file->Commit();
    Put(*file, u"small", Pattern(100, 3));
    file->Commit();
    Sample sample(version, disk.Content());
    sample.image.resize(sample.Sector(sample.Number(sample.Entry(u"late") + 116) + 41));  // free ones follow
    return sample.image;
}

TEST_P(Hostile, AFileThatWasCutShortIsNotWritten) {
    const std::size_t sector = GetParam() == 3 ? 512 : 4096, into = sector / 2;
    Bytes image = EndingWithAStream(GetParam(), sector, into);
    EXPECT_EQ(Problems(image), "");
    // What the last sector lacks behind the stream's end is nothing.
    for (const std::size_t lacking : {std::size_t{0}, sector / 4, sector - into}) {
        FaultyDisk disk(Bytes(image.begin(), image.end() - static_cast<std::ptrdiff_t>(lacking)));
        const auto file = CompoundFile::Open(disk.Open(), Access::Exclusive);
        Put(*file, u"new", Pattern(700000, 1));
        file->Commit();
        EXPECT_EQ(Problems(disk.Content()), "");
        EXPECT_TRUE(Get(*file, u"late") == Pattern(40 * sector + into, 2));
    }
    for (const std::size_t lacking :
         {sector - into + 1, sector - 1, sector, sector + 1, image.size() / 4, image.size() / 2}) {
        const Bytes cut(image.begin(), image.end() - static_cast<std::ptrdiff_t>(lacking));
        EXPECT_EQ(StatusOf([&] { Get(*OpenBytes(cut), u"late"); }), Status::Corrupt);
        ExpectNotWritten(cut, std::to_string(lacking) + " bytes are missing");
    }
    // Within a structure: the same file with the mini stream, then the directory, moved to its end.
    for (const bool directory : {false, true}) {
        Sample moved(GetParam(), image);
        const std::size_t link = directory ? 48 : moved.Entry(0) + 116;
        const SectorId from = moved.Number(link), to = static_cast<SectorId>(image.size() / sector - 1);
        moved.image.insert(moved.image.end(), moved.image.begin() + static_cast<std::ptrdiff_t>(moved.Sector(from)),
                           moved.image.begin() + static_cast<std::ptrdiff_t>(moved.Sector(from) + sector));
        moved.Set(moved.Fat(to), moved.Number(moved.Fat(from)));
        moved.Set(moved.Fat(from), kFreeSector);
        moved.Set(directory ? 48 : moved.Entry(0) + 116, to);
        EXPECT_EQ(Problems(moved.image), "");
        Bytes cut = moved.image;
        cut.resize(cut.size() - sector + (directory ? sector - 64 : 90));
        ExpectNotWritten(cut, directory ? "the directory" : "the mini stream");
    }
}

TEST_P(Hostile, AFileWhoseStructuresCountAsFreeIsNotWritten) {
    for (const char* what : {"FAT", "DIFAT", "directory", "mini FAT", "mini stream"}) {
        const bool difat = std::string_view(what) == "DIFAT";
        if (difat && GetParam() == 4) continue;  // begins at 450 MB
        Content content{{u"early", Pattern(5000, 1)}, {u"small", Pattern(3000, 3)}};
        if (difat) content[u"large"] = Pattern(7200000, 2);
        Sample sample(GetParam(), ImageOf(content, GetParam()));
        const SectorId sector = sample.Number(what == std::string_view("FAT")         ? 76
                                              : difat                                 ? 68
                                              : what == std::string_view("directory") ? 48
                                              : what == std::string_view("mini FAT")  ? 60
                                                                                      : sample.Entry(0) + 116);
        sample.Set(sample.Fat(sector), kFreeSector);
        ExpectNotWritten(sample.image, what);
    }
}

TEST_P(Hostile, AFileWhoseStructuresAreBehindItsEndIsNotWritten) {
    Sample sample(GetParam(), ImageOf({{u"early", Pattern(5000, 1)}}, GetParam()));
    sample.Set(68, 0x00FFFFFF), sample.Set(72, 1);
    ExpectNotWritten(sample.image, "the DIFAT");
    // A DIFAT of one sector that leads to itself, and of which there should be as many as there are numbers.
    const SectorId content = sample.Number(sample.Entry(u"early") + 116);
    sample.Set(68, content), sample.Set(72, 0xFFFFFFFF);
    sample.Set(sample.Sector(content + 1) - 4, content);
    FaultyDisk disk(sample.image);
    const auto file = CompoundFile::Open(disk.Open(), Access::Exclusive);
    EXPECT_EQ(StatusOf([&] { Put(*file, u"new", Pattern(100, 1)); }), Status::Corrupt);
}

TEST_P(Hostile, TwoStreamsOfOneChainAreNotRemovedTogether) {
    Sample sample(GetParam());
    for (const std::size_t field : {116, 120})
        sample.Set(sample.Entry(u"larger") + field, sample.Number(sample.Entry(u"large") + field));
    FaultyDisk disk(sample.image);
    const auto file = CompoundFile::Open(disk.Open(), Access::Exclusive);
    file->Remove(u"large"), file->Remove(u"larger");
    EXPECT_EQ(StatusOf([&] { file->Commit(); }), Status::Corrupt);
    file->Revert();
    EXPECT_TRUE(Get(*file, u"large") == SampleContent()[u"large"]);
    EXPECT_TRUE(Get(*CompoundFile::Open(disk.Open(), Access::Exclusive), u"large") == SampleContent()[u"large"]);
}

TEST_P(Hostile, AnyByteMayBeAnything) {
    const Bytes image = ImageOf(SampleContent(), GetParam());
    std::mt19937 random(11);
    for (std::size_t at = 0; at < image.size(); ++at) {
        // Structures are behind the streams, of which it is enough to change a few bytes.
        const bool structure = at < 512 || at > 30000;
        if (structure ? at % 4 != random() % 4 : at % 501 != 0) continue;  // the fuzzer goes further
        if (GetParam() == 4 && image[at] == std::byte{0} && at % 7 != 0) continue;
        Bytes damaged = image;
        damaged[at] ^= static_cast<std::byte>(1u << (random() % 8));
        if (random() % 3 == 0) damaged[random() % 512] ^= static_cast<std::byte>(random());
        if (random() % 3 == 0) damaged[30000 + random() % (image.size() - 30000)] ^= static_cast<std::byte>(random());
        Exercise(damaged);
    }
}

// Names that another program orders in its own way.
TEST_P(Hostile, ATreeInAnotherOrderIsReadAndPutInOrder) {
    Sample sample(GetParam());
    sample.Set(52, 0);
    for (EntryId id = 1; id <= SampleContent().size(); ++id) {
        const std::uint32_t left = sample.Number(sample.Entry(id) + 68), right = sample.Number(sample.Entry(id) + 72);
        sample.Set(sample.Entry(id) + 68, right), sample.Set(sample.Entry(id) + 72, left);
    }
    FaultyDisk disk(sample.image);
    EXPECT_NE(Problems(disk.Content()), "");
    const auto file = CompoundFile::Open(disk.Open(), Access::Exclusive);
    EXPECT_EQ(GetAll(*file), SampleContent());
    EXPECT_FALSE(file->Contains(u"missing"));
    Put(*file, u"empty", {std::byte{1}});
    file->Commit();
    EXPECT_EQ(Problems(disk.Content()), "");
    RequireRedBlackTree(disk.Content());
}

// Some programs write their directory as a list: every entry to the right of the one before.
TEST_P(Hostile, AListOfSixtyThousandEntriesIsReadAndMadeATree) {
    Content content;
    for (unsigned i = 0; i < 60000; ++i) content[Name(i)] = Pattern(i % 20, i);
    Bytes image = ImageOf(content, GetParam());
    PutIntoFolders(image, {});  // makes lists of all streams
    Store32(&image[52], 0);
    FaultyDisk disk(std::move(image));
    EXPECT_EQ(Problems(disk.Content()), "");
    const auto file = CompoundFile::Open(disk.Open(), Access::Exclusive);
    EXPECT_EQ(GetAll(*file), content);
    EXPECT_FALSE(file->Contains(u"missing"));
    Put(*file, u"one more", content[u"one more"] = Pattern(5, 5));
    file->Commit();
    EXPECT_EQ(RequireRedBlackTree(disk.Content()), 16u);
    EXPECT_EQ(ContentOf(disk.Content()), content);
}

// A writer cuts what no reader needs off a file; the cut may be within a page of which others need the beginning.
TEST(Views, OfFilesThatBecomeShorterReadWhatIsLeft) {
    const Bytes content = Pattern(20000, 1);
    const auto file = MemoryFile(content);
    FileView view(*file);
    view.Refresh();
    file->Resize(9000);
    const auto is = [&](const std::byte* found, std::size_t offset) {
        return std::equal(found, found + 512, content.begin() + static_cast<std::ptrdiff_t>(offset));
    };
    EXPECT_TRUE(is(view.Page(8192, 512), 8192));
    EXPECT_EQ(StatusOf([&] { view.Page(8704, 512); }), Status::ReadFault);
    file->Resize(20000);
    EXPECT_TRUE(is(view.Page(8192, 512), 8192));
    view.Refresh();
    EXPECT_FALSE(is(view.Page(9216, 512), 9216));  // not from before the cut
    EXPECT_EQ(std::string(StorageError(Status::Corrupt, "sector ", -1, std::string(" of "), 7u).what()),
              "sector -1 of 7");
}

// In parts, in whole pages and across them, before and after the file is mapped, or read so much that it would be.
TEST(Views, AnswerTheSameWhateverWasAskedForBefore) {
    const Bytes content = Pattern(100 * 4096 + 1000, 1);
    std::mt19937 random(5);
    for (const bool isMapped : {true, false}) {
        const auto file = isMapped ? MemoryFile(content) : std::make_unique<UnreadableFile>(content, 0, 0);
        FileView view(*file);
        for (unsigned round = 0; round < 30; ++round) {
            view.Refresh();
            std::vector<std::pair<std::span<const std::byte>, std::size_t>> answers;
            for (unsigned each = 0; each < 20 * (round + 1); ++each) {
                const std::size_t offset = random() % (round % 2 == 0 ? content.size() : 9000);
                const std::size_t inPage = std::min(4096 - offset % 4096, content.size() - offset);
                const std::size_t count =
                    1 + random() % (random() % 2 == 0 ? std::min<std::size_t>(inPage, 700) : inPage);
                const auto part = view.Part(offset, count);
                ASSERT_GE(part.size(), count);
                ASSERT_LE(part.size(), inPage);
                answers.emplace_back(part, offset);
                answers.emplace_back(std::span(view.Page(offset, count), count), offset);
                Bytes bytes(std::min<std::size_t>(random() % 5000, content.size() - offset));
                view.Read(offset, bytes);
                ASSERT_TRUE(std::ranges::equal(bytes, std::span(content).subspan(offset, bytes.size())));
            }
            for (const auto& [bytes, offset] : answers)
                ASSERT_TRUE(std::ranges::equal(bytes, std::span(content).subspan(offset, bytes.size()))) << offset;
        }
        EXPECT_EQ(view.IsMapped(), isMapped);
    }
}

TEST(Views, OfAPageWithABadSectorReadTheOthers) {
    const Bytes content = Pattern(8192, 1);
    UnreadableFile file(content, 1024, 1536);
    for (const std::size_t askedBefore : {0, 128})  // bytes: what is asked for first may be read alone
        for (const auto& [offset, count] : std::vector<std::pair<std::size_t, std::size_t>>{
                 {0, 1024}, {600, 424}, {1000, 24}, {1536, 100}, {3000, 512}, {3996, 100}}) {
            if (askedBefore != 0 && offset > 1024) continue;  // the page is read from its beginning then
            FileView view(file);
            view.Refresh();
            if (askedBefore != 0) static_cast<void>(view.Part(0, askedBefore));
            const auto found = view.Part(offset, count);
            EXPECT_TRUE(std::ranges::equal(found, std::span(content).subspan(offset, found.size()))) << offset;
            EXPECT_EQ(StatusOf([&] { view.Part(1000, 25); }), Status::ReadFault);
        }
}

}  // namespace
}  // namespace lumvex::tests
