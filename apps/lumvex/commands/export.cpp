#include <algorithm>
#include <functional>
#include <iostream>
#include <memory>
#include <system_error>

#include "commands.hpp"
#include "document.hpp"
#include "files/text_encoding.hpp"
#include "lumvex/diagnostics.hpp"
#include "named_data.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

struct ExportArguments {
    fs::path document;
    std::string name, array = "Data";
    fs::path file;
    bool force = false;
};

// The text is tried as the name of a datum first, and then as an ID: a name may look like an ID.
Object FindItem(const Project& project, std::u16string_view wanted) {
    if (Datum found = NamedData(project.Data()).Find(wanted)) return found;
    return ParseGuid(wanted) ? project.Load(wanted) : Object();
}

// Reads a property by its name, whatever the object's class; nothing where the class has no such property.
std::optional<Variant> PropertyOf(const Object& object, std::u16string_view name) {
    const Bstr text(name);
    BSTR names[] = {text.get()};
    DISPID id = 0;
    if (FAILED(object.Pointer()->GetIDsOfNames(GUID{}, names, 1, LOCALE_USER_DEFAULT, &id))) return std::nullopt;
    DISPPARAMS none{};
    Variant value;
    Check(object.Pointer()->Invoke(id, GUID{}, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, value.Out(), nullptr,
                                   nullptr));
    return value;
}

// In Hz; 0 for an object without one. A room's position has a float, all others an integer.
std::int32_t SampleRateOf(const Object& object) {
    const auto rate = PropertyOf(object, u"SampleRate");
    if (!rate) return 0;
    return rate->vt == VT_I4 ? rate->lVal : rate->vt == VT_R4 ? static_cast<std::int32_t>(rate->fltVal) : 0;
}

// Tells whether each value is above the one before, as the frequencies of a response are.
bool Rise(std::span<const float> values) {
    return std::adjacent_find(values.begin(), values.end(), std::greater_equal<>()) == values.end();
}

// The sample rate alone does not tell a response (0) from an impulse: a new datum has a rate, and a client that stores
// a response may leave it. A first column that rises is taken for frequencies too.
MeasurementFile FileOf(const Object& item, const Array& array, const fs::path& path) {
    MeasurementFile file;
    file.rows = array.Rows();
    file.columns = array.Columns();
    const std::span<const float> values = array.Values<float>();
    file.values.assign(values.begin(), values.end());
    file.sampleRate = SampleRateOf(item);
    const bool isSound = LowerExtension(path) == ".wav";
    const bool isResponse = file.sampleRate == 0 || Rise(values.first(file.rows));
    file.kind = isSound || !isResponse ? MeasurementFile::Kind::Impulse : MeasurementFile::Kind::Response;
    return file;
}

ExitStatus RunExport(const ExportArguments& arguments) {
    const Project project = OpenProject(arguments.document, LX_SHARE_READ);
    std::error_code ignored;
    if (!arguments.force && fs::exists(fs::symlink_status(arguments.file, ignored)))
        throw FileError(arguments.file, "the file exists already; --force replaces it");
    return OnDocument(arguments.document, "cannot be read", [&] {
        const Object item = FindItem(project, FromUtf8(arguments.name));
        if (!item)
            throw FileError(arguments.document,
                            "there is no datum named " + Quoted(arguments.name) + ", and no object of this ID");
        const auto value = PropertyOf(item, FromUtf8(arguments.array));
        if (!value)
            throw FileError(arguments.document, Quoted(arguments.name) + " has no array " + Quoted(arguments.array));
        const MeasurementFile file = FileOf(item, NumbersOf(Array(*value)), arguments.file);
        WriteMeasurementFile(arguments.file, file);
        std::cout << Shown(item.As<Collectable>().Name()) << ": " << ShapeText(file.rows, file.columns)
                  << " written to " << Utf8(arguments.file) << '\n';
        return kDone;
    });
}

}  // namespace

Command commands::Export() {
    const auto arguments = std::make_shared<ExportArguments>();
    const Value array{.shown = "NAME", .choices = {"Data", "Data2", "VerifyMeas"}};
    return {
        .name = "export",
        .summary = "Write an array of a project into a measurement file",
        .options =
            {DocumentOption(arguments->document, "the project; opened for reading only"),
             {"NAME",
              &arguments->name,
              kShown,
              "name of the datum, regardless of case (of several the first), or the ID in braces of any item with "
              "an array",
              {.required = true}},
             {"-o,--output",
              &arguments->file,
              kFile,
              "the file to write; its extension says the format",
              {.required = true}},
             {"--array", &arguments->array, array,
              "which array: Data (without this option), Data2 (a correction's smoothed measurement) or "
              "VerifyMeas"},
             {"--force", &arguments->force, {}, "replace FILE when it exists; without it that is refused"}},
        .details =
            "`tree --ids` prints the IDs: of data, measurements and corrections.\n\n"
            "Formats: .frd and .txt (columns between tabs) and .csv (commas) for frequency responses of two or three\n"
            "columns, frequency in Hz, level in dB and perhaps phase in degrees; .wav (32-bit float, one channel per\n"
            "column, the item's sample rate in Hz) for impulse responses. An array with a sample rate is written as "
            "text\n"
            "only when its first column rises as frequencies do. Importing the file again gives the same bits.\n"
            "FILE is written completely or not at all.",
        .incomplete = "there is no such item or array, or FILE could not be written",
        .run = [arguments] { return RunExport(*arguments); }};
}

}  // namespace lumvex::app
