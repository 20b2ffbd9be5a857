// Streams of every size on both sides of each boundary, in both versions: written, read back, changed, removed.
#include <algorithm>
#include <bit>
#include <numeric>
#include <random>
#include <set>

#include "kit/unreadable_file.hpp"
#include "storage/compound/format/object_name.hpp"
#include "support.hpp"

namespace lumvex::tests {
namespace {

const std::size_t kSizes[] = {0,    1,    63,   64,   65,   511,  512,   513,   4031,  4032,   4095,   4096,  4097,
                              4607, 4608, 4609, 8191, 8192, 8193, 65535, 65536, 65537, 512000, 524288, 524289};

class Streams : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Versions, Streams, testing::Values(3, 4));

TEST_P(Streams, OfEverySizeComeBackBeforeAndAfterCommitAndReopening) {
    FaultyDisk disk;
    Content content;
    {
        const auto file = CompoundFile::Create(disk.Open(), GetParam());
        unsigned number = 0;
        for (const std::size_t size : kSizes) content[Name(number)] = Pattern(size, number), ++number;
        PutAll(*file, content);
        EXPECT_EQ(GetUncommitted(*file), content);
        file->Commit();
        EXPECT_EQ(GetAll(*file), content);
    }
    const auto file = CompoundFile::Open(disk.Open(), Access::ReadShared);
    EXPECT_EQ(file->Version(), GetParam());
    EXPECT_EQ(GetAll(*file), content);
    EXPECT_EQ(Problems(disk.Content()), "");
}

TEST_P(Streams, ChangeFromEverySizeToEveryOther) {
    for (const std::size_t from : kSizes)
        for (const std::size_t to : {0, 1, 64, 65, 130, 4095, 4096, 4097, 9000, 70000}) {
            Content content{{u"other", Pattern(5000, 1)}, {u"small", Pattern(70, 2)}, {u"x", Pattern(from, 3)}};
            FaultyDisk disk(ImageOf(content, GetParam()));
            const auto file = CompoundFile::Open(disk.Open(), Access::Exclusive);
            // The same beginning, so that sectors can stay.
            Bytes& changed = content[u"x"];
            changed.resize(to, std::byte{7});
            if (to > 5000) changed[to / 2] ^= std::byte{1};
            Put(*file, u"x", changed);
            EXPECT_EQ(GetUncommitted(*file), content) << from << " to " << to;
            file->Commit();
            EXPECT_EQ(GetAll(*file), content) << from << " to " << to;
            EXPECT_EQ(ContentOf(disk.Content()), content) << from << " to " << to;
            EXPECT_EQ(Problems(disk.Content()), "") << from << " to " << to;
        }
}

TEST_P(Streams, ArePutTogetherFromPiecesAndReadInParts) {
    const Bytes whole = Pattern(100003, 9);
    std::vector<Piece> pieces;
    for (std::size_t at = 0, length = 0; at < whole.size(); at += length) {
        length = std::min(whole.size() - at, at % 977);  // empty ones too
        pieces.push_back(Piece(whole).subspan(at, length));
        if (length == 0) pieces.push_back(Piece(whole).subspan(at, length = 1));
    }
    FaultyDisk disk;
    const auto file = CompoundFile::Create(disk.Open(), GetParam());
    file->Write(u"pieces", pieces);
    for (int round = 0; round < 2; ++round) {
        const Stream stream = file->Get(u"PIECES");
        for (const std::size_t offset : {0, 1, 511, 512, 4095, 4096, 99999}) {
            Bytes part(std::min<std::size_t>(5000, whole.size() - offset));
            stream.Read(offset, part);
            EXPECT_TRUE(std::equal(part.begin(), part.end(), whole.begin() + static_cast<std::ptrdiff_t>(offset)));
        }
        Bytes beyond(2);
        EXPECT_EQ(StatusOf([&] { stream.Read(whole.size() - 1, beyond); }), Status::ReadFault);
        EXPECT_EQ(StatusOf([&] { stream.Read(~std::uint64_t{0}, beyond); }), Status::ReadFault);
        file->Commit();
    }
    EXPECT_NE(file->Get(u"pieces").Contiguous(0, whole.size()), nullptr);
}

TEST_P(Streams, CanBeWrittenFromTheFilesOwnBytes) {
    const Content content{{u"a", Pattern(60000, 1)}, {u"b", Pattern(300, 2)}};
    FaultyDisk disk(ImageOf(content, GetParam()));
    const auto file = CompoundFile::Open(disk.Open(), Access::Exclusive);
    const Piece a(file->Get(u"a").Contiguous(0, 60000), 60000), b(file->Get(u"b").Contiguous(0, 300), 300);
    const Piece exchanged[] = {a.subspan(30000), b, a.first(30000)};
    for (unsigned i = 0; i < 40; ++i) file->Write(Name(i), exchanged);  // the file grows by much
    file->Write(u"a", exchanged);
    file->Write(u"b", std::span(&a, 1));
    file->Commit();
    Bytes expected(content.at(u"a").begin() + 30000, content.at(u"a").end());
    expected.insert(expected.end(), content.at(u"b").begin(), content.at(u"b").end());
    expected.insert(expected.end(), content.at(u"a").begin(), content.at(u"a").begin() + 30000);
    EXPECT_EQ(Get(*file, u"a"), expected);
    EXPECT_EQ(Get(*file, u"b"), content.at(u"a"));
    EXPECT_EQ(Get(*file, Name(39)), expected);
}

TEST_P(Streams, ThatGrowByWhatStandsBehindThemGetSectorsOfTheirOwn) {
    Content content{{u"a", Pattern(65536, 1)}, {u"b", Pattern(8192, 2)}};
    FaultyDisk disk(ImageOf(content, GetParam()));
    const auto file = CompoundFile::Open(disk.Open(), Access::Exclusive);
    ASSERT_EQ(file->Get(u"a").Contiguous(0, 65536) + 65536, file->Get(u"b").Contiguous(0, 8192));
    content[u"a"].insert(content[u"a"].end(), content[u"b"].begin(), content[u"b"].end());
    Put(*file, u"a", content[u"a"]);
    file->Commit();
    file->Remove(u"b");
    content.erase(u"b");
    file->Commit();
    EXPECT_EQ(ContentOf(disk.Content()), content);
    EXPECT_EQ(Problems(disk.Content()), "");
}

TEST_P(Streams, PendingOnesAreRevertedReplacedAndRemoved) {
    const Content old{{u"big", Pattern(20000, 1)}, {u"small", Pattern(100, 2)}, {u"gone", Pattern(10, 3)}};
    FaultyDisk disk(ImageOf(old, GetParam()));
    const auto file = CompoundFile::Open(disk.Open(), Access::Exclusive);
    Put(*file, u"BIG", Pattern(30000, 4));
    Put(*file, u"new", Pattern(5, 5));
    file->Remove(u"gone");
    EXPECT_EQ(StatusOf([&] { file->Remove(u"Gone"); }), Status::NotFound);
    EXPECT_FALSE(file->Contains(u"gone"));
    file->Revert();
    EXPECT_EQ(GetAll(*file), old);
    Put(*file, u"new", Pattern(9000, 6));
    file->Remove(u"new");
    file->Remove(u"gone");
    Put(*file, u"gone", Pattern(10, 3));  // what it was
    file->Commit();
    EXPECT_EQ(file->Counters().commits, 0u);
    const Stream before = file->Get(u"big");
    Put(*file, u"Small", Pattern(50, 7));
    file->Commit();
    Bytes bytes(10);
    EXPECT_EQ(StatusOf([&] { before.Read(0, bytes); }), Status::ReadFault);  // its sectors may be another's now
    EXPECT_EQ(ContentOf(disk.Content()),
              (Content{{u"big", Pattern(20000, 1)}, {u"small", Pattern(50, 7)}, {u"gone", Pattern(10, 3)}}));
}

TEST_P(Streams, NamesAreComparedWithoutCaseAndCheckedWhenWritten) {
    FaultyDisk disk;
    const auto file = CompoundFile::Create(disk.Open(), GetParam());
    const std::u16string longest(31, u'x');
    Put(*file, longest, Pattern(3, 1));
    Put(*file, u"\u00E4\u0436\u0188\u01A1\u0253", Pattern(4, 2));
    file->Commit();
    EXPECT_TRUE(file->Contains(std::u16string(31, u'X')));
    EXPECT_TRUE(file->Contains(u"\u00C4\u0416\u0187\u01A0\u0181"));
    EXPECT_FALSE(file->Contains(longest + u"x"));
    EXPECT_FALSE(file->Contains(u""));
    for (const std::u16string& name : {std::u16string(32, u'x'), std::u16string(), std::u16string(u"a/b"),
                                       std::u16string(u"a\\b"), std::u16string(u"a:b"), std::u16string(u"a!b")})
        EXPECT_EQ(StatusOf([&] { Put(*file, name, {}); }), Status::InvalidName);
    EXPECT_EQ(StatusOf([&] { file->Get(u"missing"); }), Status::NotFound);
    EXPECT_EQ(StatusOf([&] { file->Remove(longest + u"x"); }), Status::NotFound);
    const auto reader = CompoundFile::Open(disk.Open(), Access::ReadShared);
    EXPECT_EQ(StatusOf([&] { Put(*reader, u"a", {}); }), Status::AccessDenied);
    EXPECT_EQ(StatusOf([&] { reader->Remove(longest); }), Status::AccessDenied);
    EXPECT_EQ(StatusOf([&] { reader->Commit(); }), Status::AccessDenied);
}

// Names of objects are kept as numbers until they are written. Others of the same length may be anywhere between them,
// and each may be given in another case.
TEST_P(Streams, NamesOfObjectsAndOtherNamesAreInOneOrder) {
    Content content;
    std::mt19937 random(11);
    const auto put = [&](CompoundFile& file, const std::u16string& name) {
        Put(file, name, content[name] = Pattern(random() % 200, static_cast<unsigned>(content.size())));
    };
    FaultyDisk disk;
    auto file = CompoundFile::Create(disk.Open(), GetParam());
    for (int round = 0; round < 3; ++round) {  // from the second on, among what was committed
        for (int i = 0; i < 150; ++i) {
            std::array<std::byte, 16> id;
            for (std::byte& byte : id) byte = static_cast<std::byte>(i % 3 == 0 && &byte < &id[12] ? 7 : random());
            const std::u16string name = NameOfId(id);
            put(*file, name);
            const std::u16string known = i % 2 == 0 ? name : content.begin()->first;
            std::u16string inLowerCase = known;
            for (char16_t& unit : inLowerCase)
                unit = unit == u'I'                   ? u'\u0131'
                       : unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32)
                                                      : unit;
            Put(*file, inLowerCase, content[known] = Pattern(random() % 200, static_cast<unsigned>(i)));
            if (i % 5 == 0) put(*file, name.substr(0, 25) + u"T");
            if (i % 7 == 0) put(*file, u"Z" + name.substr(1));
            if (i % 11 == 0) put(*file, name.substr(0, 25));
            if (i % 13 == 0) put(*file, name + u"0");
        }
        if (round == 0) {
            EXPECT_EQ(GetUncommitted(*file), content);
        }
        file->Commit();
        EXPECT_EQ(ContentOf(disk.Content()), content);
        EXPECT_EQ(Problems(disk.Content()), "");
        RequireRedBlackTree(disk.Content());
        file = CompoundFile::Open(disk.Open(), Access::Exclusive);
    }
}

// 109 FAT sectors are listed in the header: 109 * 128 * 512 bytes in version 3.
TEST(LargeFiles, CrossTheFirstSectorsOfTheDifatUpAndDown) {
    constexpr std::size_t kListedInHeader = 109 * 128 * 512;
    FaultyDisk disk;
    auto file = CompoundFile::Create(disk.Open(), 3);
    Content content;
    const auto commitAndCheck = [&] {
        file->Commit();
        EXPECT_EQ(Problems(disk.Content()), "");
        EXPECT_EQ(ContentOf(disk.Content()), content);
        file = CompoundFile::Open(disk.Open(), Access::Exclusive);
    };
    unsigned number = 0;
    for (const std::size_t part : {kListedInHeader - 128 * 512 * 2, std::size_t{40000}, std::size_t{25600},
                                   std::size_t{40000}, std::size_t{127 * 128 * 512}, std::size_t{70000}}) {
        content[Name(number)] = Pattern(part, number);
        Put(*file, Name(number), content[Name(number)]);
        ++number;
        commitAndCheck();
    }
    const std::uint64_t largest = file->FileSize();
    Put(*file, Name(0), content[Name(0)] = Pattern(content[Name(0)].size(), 77));
    commitAndCheck();
    for (unsigned i = number; i-- > 0;) {
        file->Remove(Name(i));
        content.erase(Name(i));
        commitAndCheck();
    }
    for (unsigned i = 0; i < 3; ++i) {
        Put(*file, u"last", content[u"last"] = Pattern(100, i));
        commitAndCheck();
    }
    EXPECT_LT(file->FileSize(), largest / 100);
}

// Behind what was removed there are structures, which only shortening moves.
// A disk that loses the header with the 4,096 bytes around it loses nothing else.
TEST_P(Streams, AreNeverBesideTheHeader) {
    FaultyDisk disk;
    const auto file = CompoundFile::Create(disk.Open(), GetParam());
    Content content;
    for (std::size_t round = 0; round < 100; ++round) {
        const std::u16string name(1 + round % 7, u'a');
        if (round % 5 == 4 && content.erase(name) != 0)
            file->Remove(name);
        else
            Put(*file, name, content[name] = Pattern(round * 7919 % 30'000, static_cast<unsigned>(round)));
        file->Commit();
        Bytes image = disk.Content();
        std::fill(image.begin() + 512, image.begin() + 4096, std::byte{0xEE});
        ASSERT_EQ(Problems(image), "");
        ASSERT_TRUE(ContentOf(image) == content) << round;
    }
}

TEST_P(Streams, RemovedFromTheEndLeaveAShortFile) {
    Content content{{u"a", Pattern(5'000'000, 1)}, {u"b", Pattern(11'000'000, 2)}};
    FaultyDisk disk(ImageOf(content, GetParam()));
    const auto file = CompoundFile::Open(disk.Open(), Access::Exclusive);
    file->Remove(u"b");
    file->Commit();
    for (unsigned i = 0; i < 4; ++i) {
        Put(*file, u"c", content[u"c"] = Pattern(10, i));
        file->Commit();
    }
    content.erase(u"b");
    EXPECT_LT(file->FileSize(), 5'500'000u);
    EXPECT_EQ(ContentOf(disk.Content()), content);
    EXPECT_EQ(Problems(disk.Content()), "");
}

// Whatever is read, and however often: the statistics have each sector once.
TEST_P(Streams, CountEachSectorOnceWhenReadInParts) {
    const std::size_t sectorSize = GetParam() == 3 ? 512 : 4096, count = 6000, size = count * sectorSize;
    const auto file = OpenBytes(ImageOf({{u"long", Pattern(size, 1)}}, GetParam()), Access::ReadShared);
    const Stream stream = file->Get(u"long");
    std::set<std::size_t> read{count - 1};
    Bytes bytes(1);
    stream.Read(size - 1, bytes);  // follows the chain to its end
    const compound::Statistics before = file->Counters();
    std::mt19937 random(7);
    const std::size_t lengths[] = {1, 63 * sectorSize, 64 * sectorSize, 65 * sectorSize + 1, 4097 * sectorSize};
    for (int round = 0; round < 60; ++round) {
        const std::size_t length = lengths[random() % std::size(lengths)], begin = random() % (size - length);
        bytes.resize(length);
        stream.Read(begin, bytes);
        for (std::size_t sector = begin / sectorSize; sector <= (begin + length - 1) / sectorSize; ++sector)
            read.insert(sector);
        EXPECT_EQ(file->Counters().sectorsRead - before.sectorsRead, read.size() - 1) << "round " << round;
    }
    EXPECT_EQ(file->Counters().bytesRead - before.bytesRead, (read.size() - 1) * sectorSize);
}

// A table of fixed records, kept in order, that grows by one record at a time.
TEST_P(Streams, RewrittenWithLittleChangedCostLittle) {
    Bytes table = Pattern(3000000, 1);
    FaultyDisk disk(ImageOf({{u"table", table}, {u"other", Pattern(50, 2)}}, GetParam()));
    const auto file = CompoundFile::Open(disk.Open(), Access::Exclusive);
    for (unsigned round = 0; round < 30; ++round) {
        const Bytes record = Pattern(36, round);
        table.insert(table.end(), record.begin(), record.end());
        table[round * 90001] ^= std::byte{1};
        const std::uint64_t before = file->Counters().bytesWritten;
        Put(*file, u"table", table);
        file->Commit();
        EXPECT_LT(file->Counters().bytesWritten - before, 60000u) << "round " << round;
    }
    EXPECT_EQ(Get(*file, u"table"), table);
    EXPECT_EQ(ContentOf(disk.Content()).at(u"table"), table);
    EXPECT_EQ(Problems(disk.Content()), "");
    std::rotate(table.begin(), table.begin() + 1, table.end());  // everything moves: written anew, in one piece
    Put(*file, u"table", table);
    file->Commit();
    EXPECT_NE(file->Get(u"table").Contiguous(0, table.size()), nullptr);
}

TEST_P(Streams, InALargeDirectoryTouchAFewOfItsSectors) {
    Content content;
    for (unsigned i = 0; i < 6000; ++i) content[Name(i)] = Pattern(40 + i % 100, i);
    FaultyDisk disk(ImageOf(content, GetParam()));
    const std::size_t minimal = std::bit_width(content.size());
    EXPECT_EQ(RequireRedBlackTree(disk.Content()), minimal);
    const auto file = CompoundFile::Open(disk.Open(), Access::Exclusive);
    const std::size_t sectorSize = GetParam() == 3 ? 512 : 4096;
    std::mt19937 random(5);
    for (unsigned round = 0; round < 400; ++round) {
        const unsigned number = static_cast<unsigned>(random() % 9000);
        const std::uint64_t before = file->Counters().bytesWritten;
        if (content.contains(Name(number)) && round % 2 == 0) {
            content.erase(Name(number));
            file->Remove(Name(number));
        } else {
            Put(*file, Name(number), content[Name(number)] = Pattern(random() % 200, round));
        }
        file->Commit();
        EXPECT_LT(file->Counters().bytesWritten - before, 40 * sectorSize);
        if (round % 50 == 49) {
            ASSERT_EQ(Problems(disk.Content()), "");
            EXPECT_LE(RequireRedBlackTree(disk.Content()), 2 * minimal);
        }
    }
    EXPECT_EQ(ContentOf(disk.Content()), content);
    for (unsigned number = 0; number < 9000; ++number)
        EXPECT_EQ(file->Contains(Name(number)), content.contains(Name(number)));
}

// Many look-ups make an index; until then each one searches the tree. Another program may have left two entries of one
// name: then it is one of them that is found, whatever was asked for before. It may have written a name in lower case,
// or with a letter that is another one in upper case, and leave rubbish behind a name.
TEST_P(Streams, ComeBackInWhateverOrderTheyAreAskedFor) {
    constexpr unsigned kCount = 2000, kHidden = 1001, kHiding = 1000, kOtherCase = 77, kRubbish = 88;
    const auto objectName = [](unsigned number) {
        std::array<std::byte, 16> id{};
        for (unsigned at = 0; at < 4; ++at) id[at] = id[15 - at] = static_cast<std::byte>(number >> (24 - 8 * at));
        std::u16string name = NameOfId(id);
        name[10] = u'S';
        return name;
    };
    std::vector<std::vector<unsigned>> orders(3, std::vector<unsigned>(kCount));
    for (auto& order : orders) std::iota(order.begin(), order.end(), 0u);
    std::ranges::reverse(orders[1]);
    std::shuffle(orders[2].begin(), orders[2].end(), std::mt19937(3));
    for (const bool areObjects : {false, true})
        for (const bool isHidden : {false, true}) {
            const auto nameOf = [&](unsigned number) { return areObjects ? objectName(number) : Name(number); };
            Content content;
            for (unsigned i = 0; i < kCount; ++i) content[nameOf(i)] = Pattern(i % 50 == 3 ? 5000 : i % 100 + 1, i);
            Bytes image = ImageOf(content, GetParam());
            const auto rename = [&](unsigned number, const std::u16string& newName) {
                const std::u16string name = nameOf(number);
                const auto bytes = std::as_bytes(std::span(name.c_str(), name.size() + 1));
                const auto entry = std::search(image.begin(), image.end(), bytes.begin(), bytes.end());
                std::ranges::copy(std::as_bytes(std::span(newName)), entry);
                constexpr std::ptrdiff_t kField = 64;
                std::fill(entry + static_cast<std::ptrdiff_t>(bytes.size()), entry + kField, std::byte{0xAB});
            };
            rename(kRubbish, nameOf(kRubbish));
            if (isHidden) rename(kHidden, nameOf(kHiding));
            std::u16string otherCase = nameOf(kOtherCase);
            for (char16_t& unit : otherCase) unit = unit >= u'A' && unit <= u'Z' ? unit + 32 : unit;
            if (areObjects) otherCase[10] = u'\u017F';  // the long s
            rename(kOtherCase, otherCase);
            for (const auto& first : orders) {
                const auto file = OpenBytes(image);
                const Bytes found = Get(*file, nameOf(kHiding));
                if (!isHidden) {
                    ASSERT_EQ(found, content[nameOf(kHiding)]);
                }
                for (const std::vector<unsigned>* order :
                     {&first, &std::as_const(orders[0]), &std::as_const(orders[2])})
                    for (const unsigned number : *order) {
                        if (isHidden && number == kHidden) continue;
                        for (int time = number == kHiding ? 2 : 1; time > 0; --time)
                            ASSERT_EQ(Get(*file, nameOf(number)), number == kHiding ? found : content[nameOf(number)])
                                << number;
                        if (number % 10 == 0) {
                            ASSERT_FALSE(file->Contains(nameOf(number + kCount)));
                        }
                    }
            }
        }
}

// Streams that are read in the order of the file are read ahead. What was read ahead is not what they are after a
// commit.
TEST_P(Streams, ReadInTheirOrderAreThoseOfTheLastCommit) {
    Content content;
    for (unsigned i = 0; i < 2000; ++i) content[Name(i)] = Pattern(i % 100 + 1, i);
    const auto file = OpenBytes(ImageOf(content, GetParam()));
    std::vector<std::u16string> names;
    file->ReadAll([&](std::u16string_view name, std::span<const std::byte>) { names.emplace_back(name); });
    std::vector<std::byte> bytes(100);
    for (unsigned round = 1; round <= 3; ++round) {
        for (std::size_t at = 0; at < names.size(); ++at) {
            const Stream stream = file->Get(names[at]);
            const auto found = std::span(bytes).first(stream.Size());
            stream.Read(0, found);
            ASSERT_TRUE(std::ranges::equal(found, content[names[at]])) << round << ", " << at;
            if (at % 500 != 250) continue;  // in the middle of what was read ahead
            for (const std::size_t changed : {at - 1, at + 1, at + 2})
                Put(*file, names[changed], content[names[changed]] = Pattern(changed % 100 + 1, 10 * round));
            file->Commit();
        }
    }
}

// Entries may be left in the directory that its tree does not reach: they are no streams, whichever way one is looked
// for.
TEST_P(Streams, ThatTheTreeDoesNotReachAreNotFound) {
    constexpr unsigned kCount = 2000;
    Content content;
    for (unsigned i = 0; i < kCount; ++i) content[Name(i)] = Pattern(i % 100 + 1, i);
    Bytes image = ImageOf(content, GetParam());
    for (unsigned number = 100; number < 110; ++number) {  // of adjacent names few have no left neighbour
        const std::u16string name = Name(number);
        const auto bytes = std::as_bytes(std::span(name.c_str(), name.size() + 1));
        const auto entry = std::search(image.begin(), image.end(), bytes.begin(), bytes.end());
        constexpr std::ptrdiff_t kLeft = 68;
        Store(&*(entry + kLeft), kNoEntry);
    }
    Content reached;
    OpenBytes(image)->ForEachStream(
        [&](std::u16string_view name, std::uint64_t) { reached.emplace(name, content.at(std::u16string(name))); });
    ASSERT_LT(reached.size(), content.size());
    ASSERT_GT(reached.size(), content.size() / 2);
    const auto file = OpenBytes(image);
    for (int time = 0; time < 2; ++time)
        for (const auto& [name, bytes] : content) {
            ASSERT_EQ(file->Contains(name), reached.contains(name));
            if (!reached.contains(name)) continue;
            ASSERT_EQ(Get(*file, name), bytes);
        }
    EXPECT_EQ(GetAll(*file), reached);
}

// Counts the bytes of its mapping that are given back.
class MappedFile final : public File {
public:
    MappedFile(const Bytes& image, std::uint64_t& givenBack) : file_(MemoryFile(image)), givenBack_(givenBack) {}
    std::uint64_t Size() const override { return file_->Size(); }
    std::optional<std::span<const std::byte>> Map() override { return file_->Map(); }
    void GiveBack(std::uint64_t offset, std::uint64_t count) noexcept override {
        EXPECT_LE(offset + count, Size());
        givenBack_ += count;
    }
    void Read(std::uint64_t offset, std::span<std::byte> bytes) const override { file_->Read(offset, bytes); }
    void Write(std::uint64_t offset, std::span<const Piece> pieces) override { file_->Write(offset, pieces); }
    void Flush() override {}
    void Resize(std::uint64_t size) override { file_->Resize(size); }

private:
    std::unique_ptr<File> file_;
    std::uint64_t& givenBack_;
};

// Also where a sector that holds nothing any more cannot be read, as the one of the directory here.
TEST_P(Streams, ThatCanBeReadOneByOneCanBeReadInOneGo) {
    Content content;
    for (unsigned i = 0; i < 80; ++i) content[Name(i)] = Pattern(50 * i, i);
    FaultyDisk disk;
    {
        const auto made = CompoundFile::Create(disk.Open(), GetParam());
        PutAll(*made, content);
        made->Commit();
        const CommittedImage image(disk.Content());
        const EntryId perSector = GetParam() == 3 ? 4 : 32;
        for (EntryId id = perSector; id < 2 * perSector; ++id) {
            std::array<char16_t, kMaxNameLength> buffer;
            const std::u16string name(image->At(id).Name(buffer));
            made->Remove(name);
            made->Commit();
            content.erase(name);
        }
    }
    const Bytes image = disk.Content();
    const std::size_t sector = GetParam() == 3 ? 512 : 4096;
    unsigned readable = 0;
    for (std::size_t begin = sector; begin < image.size(); begin += sector) {
        std::unique_ptr<CompoundFile> file;
        Content oneByOne, together;
        try {
            file =
                CompoundFile::Open(std::make_unique<UnreadableFile>(image, begin, begin + sector), Access::ReadShared);
            oneByOne = GetUncommitted(*file);
        } catch (const StorageError&) {
            continue;
        }
        ++readable;
        EXPECT_EQ(oneByOne, content);
        EXPECT_NO_THROW(file->ReadAll([&](std::u16string_view name, std::span<const std::byte> bytes) {
            together.emplace(name, Bytes(bytes.begin(), bytes.end()));
        })) << begin;
        EXPECT_EQ(together, content);
    }
    EXPECT_GT(readable, 0u);
}

// Each of these bad sectors holds a part of the allocation table.
TEST_P(Streams, AreReadWhereTheTableOfOthersIsNot) {
    const PerPage perPage = TableEntriesPerPage(GetParam() == 3 ? 9 : 12);
    const std::size_t sectorSize = GetParam() == 3 ? 512 : 4096;
    Content content;
    for (unsigned i = 0; i < 30; ++i) content[Name(i)] = Pattern(perPage.Count() * sectorSize / 7, i);
    const Bytes image = ImageOf(content, GetParam());
    const CommittedImage committed(image);
    Volume& volume = committed->GetVolume();
    const auto pageOf = [&](std::uint64_t offset) {
        return perPage.PageOf(static_cast<SectorId>(offset / sectorSize - 1));
    };
    std::size_t read = 0, lost = 0;
    for (std::uint32_t page = 0; page < pageOf(volume.OffsetOf(volume.Head().FirstDirectory())); ++page) {
        const std::uint64_t begin = volume.OffsetOf(committed->FatSectors().Location(page));
        const auto file =
            CompoundFile::Open(std::make_unique<UnreadableFile>(image, begin, begin + sectorSize), Access::ReadShared);
        for (const auto& each : content) {
            const DirectoryEntry entry = committed->At(committed->Find(FoldedName(each.first)));
            const std::uint64_t first = volume.OffsetOf(entry.Start()), last = first + each.second.size() - 1;
            const bool isLost = pageOf(first) <= page && page <= pageOf(last);
            const auto readIt = [&] { EXPECT_TRUE(Get(*file, each.first) == each.second); };
            EXPECT_EQ(StatusOf(readIt), isLost ? Status::ReadFault : Status{}) << "page " << page;
            ++(isLost ? lost : read);
        }
    }
    EXPECT_GE(lost, content.size());
    EXPECT_GT(read, 2 * content.size());
}

// Mapped pages count as the process's memory. Whoever goes through the whole file must not keep all of it; whoever
// reads here and there keeps what was read, as it may be read again, but for the directory.
TEST_P(Streams, ThatArePassedDoNotStayInMemory) {
    Content content;
    for (unsigned i = 0; i < 16'000; ++i) content[Name(i)] = Pattern(i % 50 == 3 ? 5000 : 600, i);
    const Bytes image = ImageOf(content, GetParam());
    std::vector<std::u16string> names;
    OpenBytes(image)->ReadAll([&](std::u16string_view name, std::span<const std::byte>) { names.emplace_back(name); });
    const auto givenBack = [&] {
        std::uint64_t bytes = 0;
        const auto file = CompoundFile::Open(std::make_unique<MappedFile>(image, bytes), Access::ReadShared);
        for (const std::u16string& name : names) EXPECT_EQ(Get(*file, name), content[name]);
        return bytes;
    };
    constexpr std::uint64_t kMiB = 1 << 20;
    const std::uint64_t inOrder = givenBack();
    EXPECT_GT(inOrder, image.size() - 3 * kMiB);
    EXPECT_LE(inOrder, image.size() + kMiB);
    std::shuffle(names.begin(), names.end(), std::mt19937(4));
    EXPECT_LE(givenBack(), content.size() * kEntrySize + kMiB);
}

}  // namespace
}  // namespace lumvex::tests
