// Records that end too early or say that they hold more than they do.
#include "storage/records/record_reader.hpp"

#include "kit/hand_made.hpp"
#include "storage/records/failures.hpp"

namespace lumvex::tests {
namespace {

using inside::RecordReader;

template <class Work>
HRESULT StatusOf(const char* record, Work&& work) {
    RecordReader reader(std::make_shared<inside::MemorySource>(Hex(record)));
    try {
        static_cast<void>(work(reader));
    } catch (const inside::Failure& failure) {
        return failure.Status();
    }
    return S_OK;
}

TEST(RecordReader, TextsThatTheRecordCannotHoldAreRefused) {
    const auto text = [](RecordReader& reader) { return reader.Text(); };
    EXPECT_EQ(StatusOf("04 00 00 00 41 00 00 00", text), S_OK);
    EXPECT_EQ(StatusOf("02 00 00 00 00 00", text), S_OK);
    EXPECT_EQ(StatusOf("00 00 00 00", text), S_OK);
    for (const char* record : {"06 00 00 00 41 00 00 00", "FE FF FF FF 41 00 00 00", "03 00 00 00 41 00 00 00",
                               "01 00 00 00 41", "02 00 00 00 00", "00 00 00"})
        EXPECT_EQ(StatusOf(record, text), inside::kReadFault) << record;
}

TEST(RecordReader, NothingIsSkippedThatIsNotThere) {
    for (const std::uint64_t count : {0u, 4u})
        EXPECT_EQ(StatusOf("01 02 03 04", [&](RecordReader& reader) { return reader.Skip(count), reader.Left(); }),
                  S_OK);
    for (const std::uint64_t count : {std::uint64_t{5}, ~std::uint64_t{0}})
        EXPECT_EQ(StatusOf("01 02 03 04", [&](RecordReader& reader) { return reader.Skip(count), 0; }),
                  inside::kReadFault);
}

}  // namespace
}  // namespace lumvex::tests
