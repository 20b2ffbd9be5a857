#include "command_line/manual.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "command_line/exit_status.hpp"

namespace lumvex::app {

namespace {

// Text as roff takes it: what roff reads as its own signs is escaped.
std::string Roff(const std::string& text) {
    std::string escaped;
    for (const char each : text) {
        if ((escaped.empty() || escaped.back() == '\n') && (each == '.' || each == '\'')) escaped += "\\&";
        if (each == '\\')
            escaped += "\\(rs";
        else if (each == '-')
            escaped += "\\-";
        else if (each == '\'')
            escaped += "\\(aq";
        else if (each == '`')
            escaped += "\\(ga";
        else if (each == '^')
            escaped += "\\(ha";
        else if (each == '~')
            escaped += "\\(ti";
        else
            escaped += each;
    }
    return escaped;
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream source(text);
    for (std::string line; std::getline(source, line);) lines.push_back(line);
    return lines;
}

// Paragraphs of the help, filled anew. One with an indented line is a table, whose lines stay as they are.
std::string Paragraphs(const std::string& text) {
    std::ostringstream page;
    std::vector<std::string> paragraph;
    const auto print = [&] {
        if (paragraph.empty()) return;
        const bool isTable = std::ranges::any_of(paragraph, [](const std::string& line) { return line[0] == ' '; });
        page << ".PP\n" << (isTable ? ".nf\n" : "");
        for (const std::string& line : paragraph) page << Roff(line) << '\n';
        if (isTable) page << ".fi\n";
        paragraph.clear();
    };
    for (const std::string& line : Lines(text)) {
        if (line.empty())
            print();
        else
            paragraph.push_back(line);
    }
    print();
    return page.str();
}

std::string NamesInBold(const Option& option) {
    std::string text;
    for (const std::string& name : NamesOf(option)) text += (text.empty() ? "\\fB" : ", \\fB") + Roff(name) + "\\fR";
    return text;
}

std::string Synopsis(const Command& command) {
    std::string text = "\\fBlumvex " + Roff(command.name) + "\\fR";
    for (const Option& option : command.options) {
        const std::string name = NamesOf(option).back();
        std::string shown = IsPositional(option) ? "\\fI" + Roff(name) + "\\fR" : "\\fB" + Roff(name) + "\\fR";
        if (!IsPositional(option) && TakesValue(option)) shown += " \\fI" + Roff(ValueName(option)) + "\\fR";
        const std::string more = IsList(option) ? " ..." : "";
        if (option.rules.required)
            text.append(" ").append(shown).append(more);
        else if (IsPositional(option))
            text.append(" [").append(shown).append(more).append("]");
    }
    return text + " [\\fIOPTIONS\\fR]";
}

void PrintOption(std::ostream& page, const Option& option) {
    page << ".TP\n";
    if (IsPositional(option)) {
        page << "\\fI" << Roff(option.name) << "\\fR";
    } else {
        page << NamesInBold(option);
        if (TakesValue(option)) page << " \\fI" << Roff(ValueName(option)) << "\\fR";
    }
    page << '\n' << Roff(option.help);
    const auto list = [&](const char* before, const std::vector<std::string>& names) {
        for (const std::string& name : names) page << (&name == &names.front() ? before : ", ") << Roff(name);
    };
    list(". One of: ", option.value.choices);
    list(". Needs ", option.rules.needs);
    list(". Needs one of ", option.rules.needsOneOf);
    list(". Not beside ", option.rules.excludes);
    if (option.rules.required) page << " (required)";
    page << '\n';
}

}  // namespace

std::vector<std::pair<int, std::string>> ExitStatuses(const Command& command) {
    std::vector<std::pair<int, std::string>> statuses = {
        {kDone, "all done"}, {kIncomplete, command.incomplete}, {kWrongUsage, "wrong usage; nothing was done"}};
    if (command.use != DocumentUse::None)
        statuses.emplace_back(kDocumentFailed, "a document could not be opened, read or saved; it is as it was before");
    return statuses;
}

std::string ManualPage(const std::vector<Command>& commands) {
    std::ostringstream page;
    page << ".TH LUMVEX 1 \"\" \"lumvex " LUMVEX_TOOL_VERSION
            "\" \"User Commands\"\n"
            ".SH NAME\nlumvex \\- import, design, inspect, export, compare and check measurement documents\n"
            ".SH SYNOPSIS\n\\fBlumvex\\fR \\fICOMMAND\\fR [\\fIARGUMENTS\\fR]\n.br\n"
            "\\fBlumvex help\\fR [\\fICOMMAND\\fR]\n"
            ".SH DESCRIPTION\nA document is a project (.lvp), which keeps measurements of speakers and rooms and what "
            "is "
            "designed from\nthem, or a library (.lvs) of manufacturers, models and microphones.\n"
            "Every command changes a document completely or not at all.\n"
            "Data go to standard output; reports, progress and errors go to standard error.\n"
            ".SH COMMANDS\n";
    for (const Command& command : commands) {
        page << ".SS " << Roff(command.name) << '\n'
             << Roff(command.summary) << ".\n.PP\n"
             << Synopsis(command) << '\n';
        for (const Option& option : command.options) PrintOption(page, option);
        page << Paragraphs(command.details);
        page << ".PP\nExit status:\n.nf\n";
        for (const auto& [status, meaning] : ExitStatuses(command))
            page << "  " << status << "  " << Roff(meaning) << '\n';
        page << ".fi\n";
    }
    page
        << ".SH GOING BACK\nThere is no undo, and no history: \\fB\\-\\-dry\\-run\\fR says before what a command would "
           "do, and a copy of the file keeps the document as it is.\n"
           "What has changed since, \\fBlumvex diff\\fR \\fICOPY DOC\\fR says, and \\fBlumvex merge "
           "\\-\\-replace\\fR \\fIDOC COPY\\fR gives back what was changed or removed, all of it or what addresses "
           "name.\nWhat was added stays, and \\fBlumvex remove\\fR takes it away.\n"
           ".SH ENVIRONMENT\n.TP\n\\fBNO_COLOR\\fR\nWhen it is set and not empty, nothing is coloured, on terminals "
           "either.\n"
           ".SH EXIT STATUS\n.TP\n0\nAll done.\n.TP\n1\nSome files failed, a name was not found, or a difference or "
           "problem was found.\n.TP\n2\nWrong usage; nothing was done.\n.TP\n3\nA document could not be opened, read "
           "or "
           "saved; it is as it was before.\n";
    return page.str();
}

std::string CommandTable(const std::vector<Command>& commands) {
    constexpr const char* kUses[] = {"none", "reads", "changes", "makes"};
    nlohmann::ordered_json table = nlohmann::ordered_json::array();
    for (const Command& command : commands) {
        nlohmann::ordered_json row{{"name", command.name},
                                   {"summary", command.summary},
                                   {"document", kUses[static_cast<std::size_t>(command.use)]}};
        for (const Option& option : command.options)
            row["options"].push_back({{"names", NamesOf(option)},
                                      {"value", ValueName(option)},
                                      {"isPath", IsPath(option)},
                                      {"isList", IsList(option)},
                                      {"isRequired", option.rules.required},
                                      {"choices", option.value.choices},
                                      {"needs", option.rules.needs},
                                      {"needsOneOf", option.rules.needsOneOf},
                                      {"help", option.help}});
        for (const auto& [status, meaning] : ExitStatuses(command)) row["exit"][std::to_string(status)] = meaning;
        table.push_back(row);
    }
    return table.dump(2) + '\n';
}

}  // namespace lumvex::app
