#include <algorithm>
#include <iostream>
#include <memory>

#include "command_line/progress_line.hpp"
#include "command_line/run_options.hpp"
#include "commands/commands.hpp"
#include "documents/document.hpp"
#include "files/file_error.hpp"
#include "files/text_encoding.hpp"
#include "files/text_table.hpp"
#include "measurements/channels.hpp"
#include "measurements/model_lookup.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

struct CatalogueArguments {
    fs::path library;
    fs::path table;
};

const std::vector<std::string> kColumns = {"manufacturer", "model", "configuration"};

// The rows of the table without its header line. A row with too few or too many fields has that as its problem.
std::vector<TableRow> ReadCatalogue(const fs::path& path) {
    std::vector<TableRow> rows = ReadTable(path);
    DropHeader(path, rows, kColumns);
    for (TableRow& row : rows) {
        if (!row.problem.empty()) continue;
        const auto empty = std::ranges::find(row.fields, "");
        if (row.fields.size() != kColumns.size()) {
            row.problem =
                "expected 3 fields (manufacturer, model, configuration), found " + std::to_string(row.fields.size());
        } else if (empty != row.fields.end()) {
            row.problem = "the " + kColumns[static_cast<std::size_t>(empty - row.fields.begin())] + " is empty";
        }
    }
    return rows;
}

// One run of the command. Adds the rows to the library in memory, and saves it once.
class CatalogueRun {
public:
    explicit CatalogueRun(const CatalogueArguments& arguments)
        : arguments_(arguments), rows_(ReadCatalogue(arguments.table)), document_(arguments.library) {
        if (!document_.AsLibrary())
            throw FileError(arguments.library, document_.IsNew() ? "a new library has to be called .lvs"
                                                                 : "it is a project, not a library");
        library_ = *document_.AsLibrary();
    }

    ExitStatus Run() {
        OnDocument(arguments_.library, "cannot be read", [&] {
            manufacturers_ = library_.Manufacturers();
            configs_ = library_.Configs();
        });
        std::size_t done = 0, good = 0;
        for (const TableRow& row : rows_) {
            progress_.Show(++done, rows_.size());
            const std::string problem = row.problem.empty() ? Add(row) : row.problem;
            if (problem.empty()) {
                ++good;
                continue;
            }
            progress_.Clear();
            std::cerr << Utf8(arguments_.table) << ':' << row.line << ": " << problem << '\n';
        }
        progress_.Clear();
        if (addedManufacturers_ + addedModels_ + addedConfigs_ != 0)
            document_.Save("cannot be saved, nothing was added");
        Reports() << good << " of " << rows_.size() << " rows are in " << Utf8(arguments_.library) << "; added "
                  << CountOf(addedManufacturers_, "manufacturer") << ", " << CountOf(addedModels_, "model") << ", "
                  << CountOf(addedConfigs_, "configuration") << '\n';
        return good == rows_.size() ? kDone : kIncomplete;
    }

private:
    template <class Collection>
    static auto Member(const Collection& collection, const std::string& name, std::size_t& added) {
        const LONG before = collection.Count();
        auto item = FindOrAdd(collection, FromUtf8(name));
        added += static_cast<std::size_t>(collection.Count() - before);
        return item;
    }

    // Adds a row. Returns why it is refused; empty when it has been added or was there before.
    std::string Add(const TableRow& row) {
        const Config config = FindConfig(configs_, row.fields[2]);
        if (!config) return "there is no configuration " + Quoted(row.fields[2]) + ", only " + ConfigNames(configs_);
        try {
            const auto manufacturer = Member(manufacturers_, row.fields[0], addedManufacturers_);
            const auto model = Member(manufacturer.Models(), row.fields[1], addedModels_);
            const ModelConfigs configs = model.ModelConfigs();
            const LONG before = configs.Count();
            configs.Add(config);
            addedConfigs_ += static_cast<std::size_t>(configs.Count() - before);
            return {};
        } catch (const Error& error) {
            return "cannot be added: " + Describe(error);
        }
    }

    const CatalogueArguments& arguments_;
    std::vector<TableRow> rows_;
    EditedDocument document_;
    Specifications library_;
    Manufacturers manufacturers_;
    Configs configs_;
    ProgressLine progress_{"adding row"};
    std::size_t addedManufacturers_ = 0, addedModels_ = 0, addedConfigs_ = 0;
};

}  // namespace

Command commands::Catalogue() {
    const auto arguments = std::make_shared<CatalogueArguments>();
    return {
        .name = "catalogue",
        .summary = "Fill a library with manufacturers, models and configurations",
        .use = DocumentUse::Makes,
        .options = {DocumentOption(arguments->library,
                                   "the library; created when there is no such file, and is called .lvs then"),
                    {"FILE", &arguments->table, kShown, "the table, as text", {.required = true}}},
        .details =
            "Each line of the table holds a manufacturer, a model and a configuration (Single amp, Bi amp, Tri amp or\n"
            "Subwoofer), between commas, semicolons or tabs; in quotation marks a name may hold any. A first line of\n"
            "these three words is a header, and may have them in another order. Names are compared regardless of case; "
            "what is there "
            "already\n"
            "is left as it is. A bad line is named on standard error with the reason, and the others go in. The "
            "library is\n"
            "saved once, at the end; when nothing is new it is neither created nor changed.",
        .incomplete = "some lines, or all, were refused, or FILE could not be read",
        .run = [arguments] { return CatalogueRun(*arguments).Run(); }};
}

}  // namespace lumvex::app
