// Makes what the fuzzers start from: base.lvp, rooms.lvp and library.lvs, which have an item of every class together,
// and the first inputs of each corpus. Run again when records or classes change.
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>
#include <vector>

#include "lumvex/lumvex.hpp"
#include "storage/document/document_file.hpp"
#include "storage/records/object_record.hpp"
#include "storage/records/sorted_records.hpp"

namespace {

using namespace lumvex;
namespace fs = std::filesystem;
using Bytes = std::vector<std::byte>;

void WriteFile(const fs::path& path, const Bytes& bytes) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
}

void MakeDocument(const fs::path& path) {
    Project project = Project::Create();
    project.Data().Add(u"numbers").Data(Array::FromColumns(std::vector<float>{1, 2, 3, 4, 5, 6}, 3, 2));
    Datum locked = project.Data().Add(u"locked");
    locked.Locks(1);
    Specifications library = Specifications::Create();
    Model model = library.Manufacturers().Add(u"Acme").Models().Add(u"Alpha");
    ModelConfig single = model.ModelConfigs().Add(library.Configs().Item(LX_SINGLEAMP));
    Experiment experiment = project.Experiments().Add(u"E");
    SpkrEQConfig config = project.SpeakerEQs().Add(u"Main", model).SpkrEQConfigs().Add(single);
    Measurement measurement = config.Measurements().Add(u"M", experiment);
    Correction correction = config.Corrections().Add(u"C", measurement);
    experiment.ExpMeasureLinks().Add(measurement);
    SpkrEQDesign design = project.CrossoverConfigs().Item(LX_SINGLEAMP).SpkrEQDesigns().Add(u"T");
    design.SpkrMeasureLinks().Add(measurement);
    design.SpkrCorrectionGroups().Add(u"G").SpkrCorrectionLinks().Add(correction);
    project.Units(LX_UNITS_IMPERIAL);
    project.SaveFileAs(path.u16string());
}

void MakeRooms(const fs::path& path) {
    Project project = Project::Create();
    RoomEQ room = project.Rooms().Add(u"Studio");
    room.CorrectionGroups().Add(u"G").Corrections().Add(u"C");
    room.Positions()
        .Add(u"Listener")
        .Measurements()
        .Add(u"M")
        .Data(Array::FromColumns(std::vector<float>{1, 2, 3}, 3, 1));
    project.BoxCfgs().Add(u"Box");
    project.SaveFileAs(path.u16string());
}

void MakeLibrary(const fs::path& path) {
    Specifications library = Specifications::Create();
    Model model = library.Manufacturers().Add(u"Acme").Models().Add(u"Alpha");
    model.ModelConfigs().Add(library.Configs().Item(LX_SINGLEAMP));
    library.Microphones().Add(u"Microphone");
    library.SaveFileAs(path.u16string());
}

// One record of each class that the document has, behind the number of its class.
void MakeRecords(const fs::path& document, const fs::path& folder) {
    constexpr std::size_t kTableRecord = 52, kClassAt = 32;
    const auto file = std::make_shared<inside::DocumentFile>();
    file->Replace(inside::OpenCompoundFile(document, compound::Access::ReadShared));
    inside::SortedRecords table(kTableRecord);
    table.Open(file->Find(inside::kDirectoryStream));
    const auto& classes = inside::AllClasses();
    for (std::size_t at = 0; at < table.Count(); ++at) {
        GUID classId;
        std::memcpy(&classId, table.At(at).data() + kClassAt, sizeof classId);
        const inside::ClassInfo* info = inside::FindClass(classId);
        const bool isRoot = info->kind == inside::ClassKind::Root;
        const auto source =
            file->Find(isRoot ? std::u16string(inside::kRootStream) : inside::StreamNameOf(table.IdAt(at)));
        constexpr std::size_t kRootReference = 20;  // which the root's loader does not read
        Bytes record(source->Size());
        source->Read(0, record);
        if (isRoot) record.erase(record.begin() + 4, record.begin() + 4 + kRootReference);
        const auto number = std::find(classes.begin(), classes.end(), info) - classes.begin();
        record.insert(record.begin(), static_cast<std::byte>(number));
        WriteFile(folder / ToUtf8(info->name), record);
    }
}

void MakeFile(const fs::path& path, int version, std::size_t largeSize = 4100) {
    const auto file =
        compound::CompoundFile::Create(compound::CreateReplacing(path, compound::Access::Exclusive), version);
    const auto put = [&](std::u16string_view name, std::size_t size) {
        const Bytes bytes(size, std::byte{0x33});
        const compound::Piece piece = bytes;
        file->Write(name, std::span(&piece, 1));
    };
    for (const char16_t* name : {u"a", u"bb", u"ccc", u"dddd"}) put(name, 70);
    put(u"large", largeSize);
    file->Commit();
    file->Remove(u"bb");
    put(u"small", 200);
    file->Commit();
}

// A version 3 file whose stream "large" has a chain that leads out of the file after its first sector.
void MakeFileWithDamagedStream(const fs::path& path) {
    MakeFile(path, 3, 20000);
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    const auto numberAt = [&file](std::uint64_t offset) {
        std::uint32_t number = 0;
        file.seekg(static_cast<std::streamoff>(offset)).read(reinterpret_cast<char*>(&number), sizeof number);
        return number;
    };
    const std::u16string_view name = u"large";
    std::array<char16_t, 5> found{};
    std::uint64_t entry = 0;  // of the directory, where the name stands
    while (name != std::u16string_view(found.data(), found.size()))
        file.seekg(static_cast<std::streamoff>(entry += 128)).read(reinterpret_cast<char*>(found.data()), sizeof found);
    const std::uint32_t beyond = 0xEEEE;
    file.seekp(static_cast<std::streamoff>((std::uint64_t{numberAt(76)} + 1) * 512 +
                                           4 * std::uint64_t{numberAt(entry + 116)}))
        .write(reinterpret_cast<const char*>(&beyond), sizeof beyond);
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::fputs("usage: fuzz_make_seeds FOLDER (the folder of base.lvp and of the corpora)\n", stderr);
        return 2;
    }
    const fs::path folder = arguments[1], corpus = folder / "corpus";
    fs::create_directories(corpus / "engine");
    MakeDocument(folder / "base.lvp");
    MakeRooms(folder / "rooms.lvp");
    MakeLibrary(folder / "library.lvs");
    MakeFile(corpus / "engine" / "version3", 3);
    MakeFile(corpus / "engine" / "version4", 4);
    MakeFileWithDamagedStream(corpus / "engine" / "damaged");
    MakeRecords(folder / "base.lvp", corpus / "records");
    const auto bytesOf = [](std::initializer_list<int> values) {
        Bytes bytes;
        for (const int value : values) bytes.push_back(static_cast<std::byte>(value));
        return bytes;
    };
    // A record of three floats; of two texts; a client's array of 64-bit floats, of variants.
    WriteFile(corpus / "arrays" / "floats", bytesOf({0, 2, 0,   1,  0, 0, 0, 4,  0, 0, 0,  0, 0, 2, 0, 0, 0,  //
                                                     0, 0, 128, 63, 0, 0, 0, 64, 0, 0, 64, 64}));
    WriteFile(corpus / "arrays" / "texts", bytesOf({0, 2, 0, 1, 0,  0, 0, 8, 0, 0, 0, 0, 0, 1, 0, 0, 0,  //
                                                    4, 0, 0, 0, 65, 0, 0, 0, 0, 0, 0, 0}));
    WriteFile(corpus / "arrays" / "client", bytesOf({1, 255, 1, 0, 2, 0, 0, 0, 0, 0, 0, 0, 240, 63}));
    WriteFile(corpus / "arrays" / "variants", bytesOf({1, 255, 4, 0, 2, 0, 1, 0, 0, 128, 63}));
    // Edits: a count, a word, bytes put in, a stream cut, one removed.
    WriteFile(corpus / "document" / "edits",
              bytesOf({1, 0, 0, 0, 4, 255, 255, 255, 127, 2, 1, 8, 0, 1, 7, 9, 3, 10, 0, 0}));
    for (int stream = 0; stream < 8; ++stream)
        WriteFile(corpus / "document" / ("removed" + std::to_string(stream)), bytesOf({stream * 4, 4, 0, 0, 0}));
    return 0;
}
