// Records of older programs: every version of every class that has had several. The tables below say on their own what
// versions carry, so that a field that comes or goes with another version is noticed.
#include <gtest/gtest.h>

#include "core/objects/class_info.hpp"
#include "kit/everything.hpp"
#include "kit/hand_made.hpp"
#include "kit/published.hpp"
#include "storage/document/document_file.hpp"

namespace lumvex::tests {
namespace {

constexpr unsigned kNow = 99;

struct Field {
    unsigned since;
    const char* property;  // empty: no property answers it
    std::string hex;       // in the record
    std::string stored, lacking{};
    unsigned until = kNow;  // the first version without it
};

// 1.0 to 7.0; half a second, which the start of a window once was; two floats in an array.
const std::string kOne = "0000803F", kTwo = "00000040", kThree = "00004040", kFour = "00008040", kFive = "0000A040",
                  kSix = "0000C040", kSeven = "0000E040", kHalf = "0000003F",
                  kArray = "0200 01000000 0400 00000000 01000000" + kOne + kTwo, kElements = "00 00 80 3F 00 00 00 40";

const std::map<std::string, std::vector<Field>> kVersions = {
    {"CDatum", {{0, "Data", kArray, kElements}, {2, "SampleRate", "44AC0000", "44100", "48000"}}},
    {"CMeasurement",
     {{0, "", "0000", ""},
      {0, "Data", kArray, kElements},
      {2, "MeasureEnd", kHalf, "0.5", "0"},
      {2, "MeasureStart", kHalf, "500", "", 7},
      {7, "MeasureStart", kHalf, "0.5", "0"},
      {4, "Volume", kFour, "4", "0"},
      {5, "SPLScale", kFive, "5", "1"},
      {6, "IOConfig", "06000000", "6", "0"},
      {8, "SampleRate", "44AC0000", "44100", "48000"}}},
    {"CCorrection",
     {{0, "", "0000", ""},
      {1, "SampleRate", "00442C47", "44100", "48000"},
      {0, "Data", kArray, kElements},
      {2, "Data2", kArray, kElements, ""},
      {3, "ActDelay", kOne, "1", "0"},
      {3, "ActGDError", kTwo, "2", "0"},
      {3, "ActMagError", kThree, "3", "0"},
      {5, "LimitData", kArray, kElements, ""},
      {5, "CrossoverData", kArray, kElements, ""},
      {5, "MaxDelay", kFour, "4", "0"},
      {5, "GDTol", kFive, "5", "0"},
      {5, "MagTol", kSix, "6", "0"},
      {5, "CrossoverMethod", "02000000", "2", "0"},
      {5, "MeasSmoothMethod", "01000000", "1", "0"},
      {5, "MeasSmooth", kSeven, "7", "0"},
      {5, "LmtSmooth", kOne, "1", "0"},
      {5, "MaxOffset", kTwo, "2", "0"},
      {5, "MeasureEnd", kHalf, "0.5", "0"},
      {5, "MeasureStart", kHalf, "500", "", 12},
      {12, "MeasureStart", kHalf, "0.5", "0"},
      {6, "VerifyMeas", kArray, kElements, ""},
      {7, "MeasureScale", kTwo, "2", "1"},
      {8, "OptMethod", "01000000", "1", "0"},
      {9, "MinphaseSmooth", "17000000", "23", "0"},
      {10, "MeasureTweak", kFour, "4", "0"},
      {11, "CorrectionScale", kFive, "5", "1"},
      {13, "FiltChanDelayMs", kOne + kTwo + kThree + kFour + kFive + kSix, "1 2 3 4 5 6", "0 0 0 0 0 0"},
      {14, "FWTarget", kSeven, "7", "0"}}},
    {"CModelConfig", {{0, "", "0100" + std::string(40, '9'), "", "", 2}, {1, "ConfigID", "03000000", "3", "1"}}},
    {"CMicrophone",
     {{1, "CalibrationMethod", "00000000", "0", "1"},
      {1, "Delay", "05000000", "5", "0"},
      {2, "Scale", kHalf, "0.5", "1"},
      {0, "Data", kArray, kElements},
      {3, "SampleRate", "44AC0000", "44100", "48000"}}},
};

bool IsIn(const Field& field, unsigned version) { return field.since <= version && version < field.until; }

// Named A, dated 1.5; what follows the fields of a version that is to come belongs to nobody.
Bytes RecordOf(const std::vector<Field>& fields, unsigned version, unsigned newest) {
    std::string hex = AsHex({std::byte(version)}) + "000180 000000000000F83F 04000000 41000000";
    for (const Field& field : fields)
        if (IsIn(field, version)) hex += field.hex;
    return Hex(hex + (version > newest ? "112233" : ""));
}

std::string TextOfPlaces(const ClassTable& table, IDispatch* object, std::string_view name) {
    const Property& property = *table.Find(name);
    std::string text;
    for (LONG place = 0; place < property.Places(); ++place) {
        const Value value = GetPlace(object, property, place);
        char number[32];
        std::snprintf(number, sizeof number, "%g", value.number);
        text += (place > 0 ? " " : "") + (property.IsArray() ? value.array ? AsHex(value.array->bytes) : "" : number);
    }
    return text;
}

struct Sample {
    const ClassTable& table;
    const std::vector<Field>& fields;
    std::u16string id;
    unsigned newest;  // the version that this program writes

    std::u16string Stream() const { return inside::StreamNameOf(*ParseGuid(id)); }
    Ref<IDispatch> In(IDispatch* root) const {
        const Bstr text(id);
        return Ref<IDispatch>(DoLate(root, member::kLoad, {TextArgument(text.get())}).Object());
    }
    void ExpectVersion(IDispatch* root, unsigned version) const {
        const Ref<IDispatch> object = In(root);
        ASSERT_TRUE(object);
        EXPECT_EQ(GetLate(object.get(), member::kTimestamp).value.date, 1.5);
        std::set<std::string> present;
        for (const Field& field : fields)
            if (*field.property && IsIn(field, version)) {
                present.insert(field.property);
                EXPECT_EQ(TextOfPlaces(table, object.get(), field.property), field.stored) << field.property;
            }
        for (const Field& field : fields)
            if (*field.property && field.until == kNow && !present.contains(field.property)) {
                EXPECT_EQ(TextOfPlaces(table, object.get(), field.property), field.lacking) << field.property;
            }
    }
};

Ref<IDispatch> Opened(const ClassTable& rootTable, const std::filesystem::path& path) {
    Ref<IDispatch> root = NewRoot(rootTable);
    PutLate(root.get(), member::kAccessMode, {LongArgument(LX_SHARE_READWRITE)});
    const Bstr text(PathText(path));
    EXPECT_EQ(DoLate(root.get(), member::kOpenFile, {TextArgument(text.get())}).status, S_OK);
    return root;
}

// Each is read as its version says; a record that was not changed stays, one that was is written as this program
// writes.
TEST(OldRecords, EveryVersionOfEveryClass) {
    const Folder folder;
    Everything everything;
    std::vector<Sample> samples;
    for (const ClassTable& table : ClassTables()) {
        const unsigned newest = inside::FindClass(table.classId)->version.Writer();
        const auto found = kVersions.find(table.name);
        if (found != kVersions.end())
            samples.push_back({table, found->second, IdOf(everything.Of(table)), newest});
        else
            EXPECT_TRUE(table.kind == Kind::Root || table.name == "CSpkrEQDesign" || newest == 1) << table.name;
    }
    for (const ClassTable* rootTable : {&LibraryTable(), &ProjectTable()}) {
        const Bstr path(PathText(folder / rootTable->name));
        ASSERT_EQ(DoLate(everything.Of(*rootTable), member::kSaveFileAs, {TextArgument(path.get())}).status, S_OK);
        DoLate(everything.Of(*rootTable), member::kCloseFile);
        const Streams streams = ReadDocument(folder / rootTable->name);
        for (unsigned version = 0; version <= 15; ++version) {
            SCOPED_TRACE("version " + std::to_string(version));
            const auto each = [&](auto visit) {
                for (const Sample& sample : samples) {
                    SCOPED_TRACE(sample.table.name);
                    if (sample.table.ofLibrary == rootTable->ofLibrary && version <= sample.newest + 1) visit(sample);
                }
            };
            Streams old = streams;
            each([&](const Sample& sample) {
                old.at(sample.Stream()) = RecordOf(sample.fields, version, sample.newest);
            });
            const auto file = folder / "old";
            WriteDocument(file, old);
            Ref<IDispatch> root = Opened(*rootTable, file);
            each([&](const Sample& sample) { sample.ExpectVersion(root.get(), version); });
            ASSERT_EQ(DoLate(root.get(), member::kSaveFile).status, S_OK);
            const Streams untouched = ReadDocument(file);
            each([&](const Sample& sample) {
                EXPECT_EQ(AsHex(untouched.at(sample.Stream())), AsHex(old.at(sample.Stream())));
            });
            VARIANT date{};
            date.vt = VT_DATE;
            date.date = 1.5;
            each([&](const Sample& sample) { PutLate(sample.In(root.get()).get(), member::kTimestamp, {date}); });
            ASSERT_EQ(DoLate(root.get(), member::kSaveFile).status, S_OK);
            const Streams changed = ReadDocument(file);
            each([&](const Sample& sample) { EXPECT_EQ(changed.at(sample.Stream())[0], std::byte(sample.newest)); });
            root = nullptr;
            root = Opened(*rootTable, file);
            each([&](const Sample& sample) { sample.ExpectVersion(root.get(), version); });
        }
    }
}

}  // namespace
}  // namespace lumvex::tests
