#include <iostream>
#include <memory>

#include "arguments.hpp"
#include "commands.hpp"
#include "document.hpp"
#include "files/text_encoding.hpp"
#include "lumvex/diagnostics.hpp"
#include "named_data.hpp"

namespace lumvex::app {

namespace {

struct Arguments {
    std::filesystem::path document;
    bool ids = false;
};

// Documents are larger than memory; what was printed is not needed again.
constexpr LONG kFewestLoaded = 16, kMostLoaded = 64;

class Tree {
public:
    explicit Tree(const Arguments& arguments)
        : arguments_(arguments), project_(OpenProject(arguments.document, LX_SHARE_READ)) {}

    ExitStatus Run() {
        OnDocument(arguments_.document, "cannot be read", [&] {
            project_.SetCacheBounds(kFewestLoaded, kMostLoaded);
            std::cout << "Project " << Utf8(arguments_.document.filename());
            PrintId(project_);
            PrintData(project_.Data());
        });
        const LoadStatistics statistics = StatisticsOf(project_.Get());
        std::cout << loaded_ << " objects loaded to answer, " << statistics.objectsLoaded << " still in memory, "
                  << statistics.bytesRead << " bytes read\n";
        return status_;
    }

private:
    template <class Class>
    void PrintId(const Class& object) {
        if (arguments_.ids) std::cout << "  " << ToUtf8(object.ID());
        std::cout << '\n';
    }

    void PrintData(const Data& data) {
        ++loaded_;
        const LONG count = data.Count();
        std::cout << "  " << Shown(data.DisplayName()) << " (" << count << ')';
        PrintId(data);
        for (LONG position = 1; position <= count && std::cout; ++position) {
            try {
                PrintDatum(data.Item(position));
            } catch (const Error& error) {
                std::cerr << Utf8(arguments_.document) << ": item " << position << " of " << Shown(data.DisplayName())
                          << " cannot be read: " << Describe(error) << '\n';
                status_ = kDocumentFailed;
            }
        }
    }

    void PrintDatum(const Datum& datum) {
        ++loaded_;
        const Array array(datum.Data());
        std::cout << "    " << Shown(datum.DisplayName()) << "  " << datum.SampleRate() << " Hz  "
                  << ShapeText(array.Rows(), array.Columns());
        PrintId(datum);
    }

    const Arguments& arguments_;
    Project project_;
    std::size_t loaded_ = 0;
    ExitStatus status_ = kDone;
};

}  // namespace

void AddTree(CLI::App& app, Command& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand("tree", "Print the content of a project as an indented tree");
    AddDocument(*command, arguments->document, "the project; opened for reading only");
    command->add_flag("--ids", arguments->ids, "print every object's ID behind it");
    command->footer(
        "Collections are printed with the number of their items; named data with their sample rate in Hz (0 for\n"
        "frequency responses) and the size of their array, rows x columns. The last line says how many objects had to\n"
        "be loaded for the answer and how many bytes of the file were read, in whole sectors.\n\n" +
        ExitStatusHelp("the tree could not be printed"));
    command->callback([arguments, &chosen] { chosen = [arguments] { return Tree(*arguments).Run(); }; });
}

}  // namespace lumvex::app
