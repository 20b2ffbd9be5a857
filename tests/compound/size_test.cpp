// How long files stay that are saved thousands of times, and how long they may become.
#include <unistd.h>

#include <filesystem>
#include <random>

#include "support.hpp"

namespace lumvex::tests {
namespace {

std::uint64_t Total(const Content& content) {
    std::uint64_t total = 0;
    for (const auto& [name, bytes] : content) total += bytes.size();
    return total;
}

struct Wave {
    int version;
    std::size_t largest;     // bytes of a stream
    std::size_t ebb, flood;  // streams
};

class Sizes : public testing::TestWithParam<Wave> {};
INSTANTIATE_TEST_SUITE_P(Waves, Sizes,
                         testing::Values(Wave{3, 300, 20, 1000}, Wave{3, 40000, 5, 60}, Wave{4, 300, 20, 1000},
                                         Wave{4, 300000, 4, 20}));

// The bound of docs/file-format.md.
TEST_P(Sizes, OfFilesThatGrowAndShrinkForThousandsOfSavesAreBounded) {
    const auto [version, largest, ebb, flood] = GetParam();
    auto memory = MemoryFile();
    File& bytes = *memory;
    const auto file = CompoundFile::Create(std::move(memory), version);
    std::mt19937 random(7);
    Content content;
    std::uint64_t most = 0;
    for (unsigned round = 0; round < 2000; ++round) {
        const std::size_t wanted = (round / 40) % 2 == 0 ? flood : ebb;
        const std::size_t changes = 1 + random() % (flood / 10 + 1);
        for (std::size_t i = 0; i < changes; ++i) {
            if (content.size() > wanted) {
                const auto gone = std::next(content.begin(), static_cast<std::ptrdiff_t>(random() % content.size()));
                file->Remove(gone->first);
                content.erase(gone);
            } else {
                const std::u16string name = Name(static_cast<unsigned>(random() % flood));
                Put(*file, name, content[name] = Pattern(random() % (largest + 1), round));
            }
        }
        file->Commit();
        most = std::max(most, Total(content) + 256 * content.size());
        ASSERT_LE(file->FileSize(), 3 * most + 64 * 1024) << "round " << round;
    }
    EXPECT_EQ(GetAll(*file), content);
    EXPECT_TRUE(CheckStructure(bytes).empty());
    for (const auto& [name, gone] : content) file->Remove(name);
    file->Commit();
    for (unsigned i = 0; i < 3; ++i) Put(*file, u"last", Pattern(1, i)), file->Commit();
    EXPECT_LT(file->FileSize(), 64u * 1024);
}

// Skips what is zero, so that gigabytes cost nothing.
class SparseFile final : public File {
public:
    SparseFile(std::unique_ptr<File> file, const std::vector<std::byte>& zeros)
        : file_(std::move(file)), zeros_(zeros) {}
    std::uint64_t Size() const override { return file_->Size(); }
    std::optional<std::span<const std::byte>> Map() override { return file_->Map(); }
    void Read(std::uint64_t offset, std::span<std::byte> bytes) const override { file_->Read(offset, bytes); }
    void Write(std::uint64_t offset, std::span<const Piece> pieces) override {
        for (const Piece& piece : pieces) {
            const bool isZero = piece.data() >= zeros_.data() && piece.data() < zeros_.data() + zeros_.size();
            if (!isZero)
                file_->Write(offset, std::span(&piece, 1));
            else if (offset + piece.size() > file_->Size())
                file_->Resize(offset + piece.size());
            offset += piece.size();
        }
    }
    void Flush() override { file_->Flush(); }
    void Resize(std::uint64_t size) override { file_->Resize(size); }
    bool HasName() const override { return file_->HasName(); }
    void TakeName() override { file_->TakeName(); }

private:
    std::unique_ptr<File> file_;
    const std::vector<std::byte>& zeros_;
};

// Offsets of more than 32 bits, sectors of which programs lock bytes, FAT sectors listed in chains; and the end of
// version 3 before 2 GB.
TEST(Size, FilesOfGigabytesAreWrittenReadAndChanged) {
    namespace fs = std::filesystem;
    constexpr std::uint64_t kGigabyte = std::uint64_t{1} << 30;
    const fs::path path = fs::temp_directory_path() / ("size-" + std::to_string(::getpid()));
    const std::vector<std::byte> zeros(std::size_t{16} << 20);
    const Bytes begin = Pattern(5000, 1), end = Pattern(5000, 2);
    const auto put = [&](CompoundFile& file, std::u16string_view name, std::uint64_t size) {
        std::vector<Piece> pieces{begin};
        for (std::uint64_t left = size - begin.size() - end.size(); left != 0; left -= pieces.back().size())
            pieces.emplace_back(zeros.data(), static_cast<std::size_t>(std::min<std::uint64_t>(zeros.size(), left)));
        pieces.emplace_back(end);
        file.Write(name, pieces);
    };
    const auto expect = [&](const CompoundFile& file, std::u16string_view name, std::uint64_t size) {
        const Stream stream = file.Get(name);
        ASSERT_EQ(stream.Size(), size);
        Bytes bytes(5000);
        stream.Read(0, bytes);
        EXPECT_EQ(bytes, begin);
        stream.Read(size - bytes.size(), bytes);
        EXPECT_EQ(bytes, end);
        stream.Read(size / 2, bytes);
        EXPECT_EQ(bytes, Bytes(5000));
        EXPECT_EQ(StatusOf([&] { stream.Read(size - 4999, bytes); }), Status::ReadFault);
    };
    for (const int version : {3, 4}) {
        {
            auto sparse = std::make_unique<SparseFile>(CreateReplacing(path, Access::Exclusive), zeros);
            const auto file = CompoundFile::Create(std::move(sparse), version);
            if (version == 3) {
                put(*file, u"a", kGigabyte);
                EXPECT_FALSE(file->IsOutgrown());
                EXPECT_EQ(StatusOf([&] { put(*file, u"too large", 2 * kGigabyte); }), Status::MediumFull);
                EXPECT_TRUE(file->IsOutgrown());
                EXPECT_EQ(StatusOf([&] { put(*file, u"b", kGigabyte); }), Status::MediumFull);
            } else {
                put(*file, u"a", 5 * kGigabyte);
            }
            Put(*file, u"small", Pattern(100, 3));
            file->Commit();
            put(*file, u"late", kGigabyte / 2);
            Put(*file, u"small", Pattern(200, 4));
            file->Commit();
            EXPECT_FALSE(file->IsOutgrown());
            if (version == 3) {  // as much as there is room for, and no more
                constexpr std::uint64_t kStep = 256 * 1024;
                std::uint64_t room = kLargestVersion3File - file->FileSize();
                while (StatusOf([&] {
                           put(*file, u"b", room);
                           file->Commit();
                       }) == Status::MediumFull) {
                    EXPECT_TRUE(file->IsOutgrown());
                    file->Revert();
                    room -= kStep;
                }
                EXPECT_GT(file->FileSize(), kLargestVersion3File - 2 * kStep);
                EXPECT_LE(file->FileSize(), kLargestVersion3File);
                EXPECT_LT(file->FileSize(), 2 * kGigabyte);
            } else {
                EXPECT_GT(file->FileSize(), 5 * kGigabyte);
            }
        }
        const auto file = CompoundFile::Open(OpenFile(path, Access::ReadShared), Access::ReadShared);
        expect(*file, u"a", version == 3 ? kGigabyte : 5 * kGigabyte);
        expect(*file, u"late", kGigabyte / 2);
        EXPECT_EQ(Get(*file, u"small"), Pattern(200, 4));
        for (const Problem& problem : CheckStructure(*OpenFile(path, Access::ReadShared)))
            ADD_FAILURE() << problem.where << ": " << problem.what;
        // The sector over the bytes that are locked is nobody's.
        Bytes locked(256);
        if (version == 4) {
            auto opened = OpenFile(path, Access::ReadShared);
            opened->Read(kRangeLockOffset, locked);
            Header::Bytes header;
            opened->Read(0, header);
            Volume volume(std::move(opened), Header::Parse(header));
            volume.Map();
            EXPECT_EQ(Committed(volume).Fat().Next((kRangeLockOffset >> 12) - 1), kEndOfChain);
        }
        EXPECT_EQ(locked, Bytes(256));
    }
    fs::remove(path);
}

}  // namespace
}  // namespace lumvex::tests
