#include <algorithm>
#include <iostream>
#include <memory>

#include "command_line/run_options.hpp"
#include "commands/commands.hpp"
#include "files/text_encoding.hpp"
#include "objects/adding.hpp"
#include "objects/comparing.hpp"
#include "objects/copying.hpp"
#include "objects/opened.hpp"

namespace lumvex::app {

namespace {

struct MergeArguments {
    std::filesystem::path document, from;
    std::vector<std::string> addresses;
    bool replace = false;
};

// Takes objects of another document over: what is missing is copied, what differs is replaced or left.
class Merger {
public:
    // `from` is named in reports.
    Merger(const Node& to, const std::filesystem::path& from, bool replace)
        : copier_(to), replace_(replace), unreadable_([this, &from](const std::string& problem) {
              ++conflicts_;
              std::cerr << Utf8(from) << ": " << problem << '\n';
          }) {}
    Merger(const Merger&) = delete;
    Merger& operator=(const Merger&) = delete;

    // The object with everything below it.
    void Take(const Node& original) {
        if (!original.Is(Kind::Item)) {
            TakeBelow(original);
            return;
        }
        const Node existing = copier_.CounterpartOf(original);
        if (existing) {
            TakeValues(original, existing);
            TakeBelow(original);
        } else if (AddOf(original.Parent().Type())) {
            Told("+ ", copier_.WithParents(original));
        }
    }

    // To be called once, when everything has been taken.
    ExitStatus Finish(std::vector<std::string>& lines) {
        for (const std::string& each : copier_.MendReferences())
            std::cerr << each << " is no object of the document or its library\n";
        Paths paths;
        for (const auto& [sign, object] : told_) lines.push_back(sign + paths.Of(object));
        return conflicts_ == 0 ? kDone : kIncomplete;
    }

private:
    void TakeBelow(const Node& original) {
        if (original.IsCollection()) {
            const LONG count = original.Count();
            for (LONG place = 1; place <= count; ++place)
                if (const Node member = ReadableMember(original, place, unreadable_)) Take(member);
            return;
        }
        for (const MemberDescription* each : ChildCollectionsOf(original.Type())) TakeBelow(original.Follow(*each));
    }

    void TakeValues(const Node& original, const Node& existing) {
        const std::vector<Difference> differences = comparison_.Of(existing, original);
        if (differences.empty()) return;
        if (!replace_) {
            ++conflicts_;
            std::cerr << PathOf(existing) << " differs, and is left as it is; --replace takes it over\n";
            for (const Difference& each : differences) std::cerr << "    " << DifferenceText(each) << '\n';
            return;
        }
        for (const Difference& each : differences) {
            const MemberDescription& member = *each.property.member;
            if (IsReference(member)) {
                copier_.MendLater(original, existing, member);
            } else {
                existing.Put(member, each.property.indexes, original.Get(member, each.property.indexes));
            }
        }
        Told("~ ", existing);
    }

    void Told(const char* sign, const Node& object) { told_.emplace_back(sign, object); }

    Copier copier_;
    Comparison comparison_;
    bool replace_;
    Unreadable unreadable_;
    std::size_t conflicts_ = 0;  // and what cannot be read
    std::vector<std::pair<std::string, Node>> told_;
};

ExitStatus RunMerge(const MergeArguments& arguments) {
    const ReadDocument source(arguments.from);
    EditedDocument document(arguments.document);
    const Node root = NodeOf(document.Any());
    if (root.Class() != source.Root().Class())
        throw FileError(arguments.from, "it is a " + TypeName(source.Root().Type()) + ", the other document a " +
                                            TypeName(root.Type()));
    ExitStatus status = kDone;
    std::vector<std::string> lines;
    OnObjects(arguments.document, "cannot be changed", [&] {
        Merger merger(root, arguments.from, arguments.replace);
        std::vector<std::string> addresses = arguments.addresses;
        if (addresses.empty()) addresses.emplace_back("/");
        for (const std::string& address : addresses)
            for (const Node& each : source.Objects().FindAll(address)) merger.Take(each);
        status = merger.Finish(lines);
    });
    if (!lines.empty() || CurrentRun().dryRun) document.Save("cannot be saved, nothing was merged");
    for (const std::string& line : lines) Reports() << line << '\n';
    return status;
}

}  // namespace

Command commands::Merge() {
    const auto arguments = std::make_shared<MergeArguments>();
    return {
        .name = "merge",
        .summary = "Take objects of another document over: what is missing, and with --replace what differs",
        .use = DocumentUse::Changes,
        .options = {DocumentOption(arguments->document, "the project or library that is changed"),
                    {"FROM", &arguments->from, kShown, "the other document; read, never changed", {.required = true}},
                    {"ADDRESS", &arguments->addresses, kShown, "the objects in it; all of them if there is none"},
                    {"--replace", &arguments->replace, {}, "also take over what differs; nothing is ever removed"}},
        .details = std::string(kAddressHelp) +
                   "\nObjects are the same object when they have one ID, or else one "
                   "address. Lines with +\n"
                   "are the addresses of what was copied, lines with ~ of what was replaced; \"diff FROM DOC\" says "
                   "before what would be.\n"
                   "What the document says of itself (Units) stays.",
        .incomplete = "something differs and was left as it is or cannot be read, or there is no such object",
        .run = [arguments] { return RunMerge(*arguments); }};
}

}  // namespace lumvex::app
