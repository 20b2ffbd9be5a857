// The check of a whole document: every stream that the format knows is read, every reference followed.
#include <algorithm>
#include <map>
#include <set>
#include <system_error>

#include "core/base/guid_order.hpp"
#include "core/tree/collection.hpp"
#include "core/tree/references.hpp"
#include "lumvex/diagnostics.hpp"
#include "storage/compound/check/check.hpp"
#include "storage/document/document_file.hpp"
#include "storage/document/document_root.hpp"
#include "storage/document/linked_path.hpp"
#include "storage/document/marks_stamp.hpp"
#include "storage/inspect/client_errors.hpp"
#include "storage/records/object_record.hpp"
#include "storage/records/table_rows.hpp"

namespace lumvex::inside {

namespace {

std::shared_ptr<DocumentFile> OpenForReading(const std::filesystem::path& path) {
    auto file = std::make_shared<DocumentFile>();
    file->Replace(OpenCompoundFile(path, compound::Access::ReadShared));
    return file;
}

std::optional<LinkedLibrary> LibraryOf(const DocumentRoot& root) {
    const auto link = root.LinkedDocument();
    if (!link) return std::nullopt;
    return LinkedLibrary{ToUtf8(ToText(link->id)), ToUtf8(link->path)};
}

// None where what the document has is no path: it is damaged.
std::vector<std::filesystem::path> PlacesOfLibrary(const DocumentRoot::Link& link,
                                                   const std::filesystem::path& folder) {
    try {
        return PlacesOf(link.path, folder);
    } catch (const Failure&) {
        return {};
    }
}

// What a library lists, by ID; empty where the library is not near, or its file lists nothing.
TableOf<DirectoryRow> TableOfLibrary(const DocumentRoot::Link& link, const std::filesystem::path& folder) {
    for (const std::filesystem::path& place : PlacesOfLibrary(link, folder)) {
        try {
            TableOf<DirectoryRow> table;
            if (const auto source = OpenForReading(place)->Find(kDirectoryStream)) table.Open(source);
            if (table.Find(link.id)) return table;
        } catch (const Failure&) {
            continue;
        } catch (const compound::StorageError&) {
            continue;
        } catch (const std::system_error&) {
            continue;  // a path that this system cannot express
        }
    }
    return {};
}

// Of a file whose root record can be read.
std::optional<LinkedLibrary> LibraryOf(DocumentFile& file, const ClassInfo& rootClass) {
    const bool current = file.Contains(kRootStream);
    const auto source = file.Find(current ? kRootStream : kOldRootStream);
    if (!source) return std::nullopt;
    try {
        RecordReader reader(source);
        const VersionWord version(current ? reader.U32() : 1);
        reader.ObjectReference();
        const Ref<Object> root = rootClass.create();
        rootClass.load(*root, reader, version);
        return LibraryOf(static_cast<const DocumentRoot&>(*root));
    } catch (const Failure&) {
        return std::nullopt;
    }
}

class Checker {
public:
    Checker(const std::filesystem::path& path, const Progress& progress)
        : file_(OpenForReading(path)), folder_(path.parent_path()), progress_(progress) {}

    DocumentCheck Run() {
        file_->Container().ForEachStream([&](std::u16string_view name, std::uint64_t) {
            if (const auto id = IdOfStream(name)) streams_.insert(*id);
        });
        Try("object directory", [&] { ReadTable(); });
        Try("version information", [&] { ReadVersionInfo(); });
        Try("root record", [&] { ReadRoot(); });
        while (!waiting_.empty()) {
            const Waiting next = waiting_.back();
            waiting_.pop_back();
            ReadOne(next);
            if (progress_) progress_(std::min(++done_, streams_.size()), streams_.size());
        }
        Try("lock counters", [&] { ReadLocks(); });
        ReportUnreached();
        ReportLost();
        ReportLostInLibrary();
        return {std::move(problems_), std::move(lost_), std::move(library_)};
    }

private:
    struct Waiting {
        Reference reference;
        const ClassInfo* classInfo;
        std::string owner;
        NameMark mark = kUnknownMark;  // that the owner's list has of the name
    };

    struct Referred {
        GUID id;
        const ClassInfo* classInfo;
        std::string owner;
    };

    void Report(const std::string& where, const std::string& what) { problems_.push_back({where, what}); }

    template <class Work>
    void Try(const std::string& where, Work&& work) {
        try {
            OnStorage(work);
        } catch (const Failure& failure) {
            Report(where, TextOfFailure(failure));
        }
    }

    void ReadTable() {
        const auto source = file_->Find(kDirectoryStream);
        if (!source) return;  // older files have none
        hasTable_ = true;
        for (const DirectoryRow& row : ReadRows<DirectoryRow>("object directory", source)) table_.emplace(row.id, row);
    }

    template <class Row>
    std::vector<Row> ReadRows(const std::string& where, const std::shared_ptr<const ByteSource>& source) {
        TableOf<Row> table;
        table.Open(source);
        std::vector<Row> rows;
        for (std::size_t at = 0; at < table.Count(); ++at) {
            rows.push_back(table.At(at));
            if (at > 0 && CompareIds(rows[at - 1].id, rows[at].id) >= 0)
                Report(where, "entry " + std::to_string(at) + " is not in ascending order of its ID");
        }
        return rows;
    }

    // Without a table the objects are those that have a stream, and the root.
    bool IsInDocument(const GUID& id) const {
        return hasTable_ ? table_.contains(id) : streams_.contains(id) || reached_.contains(id);
    }

    void ReadLocks() {
        const auto source = file_->Find(kLocksStream);
        if (!source) return;
        for (const LockRow& row : ReadRows<LockRow>("lock counters", source)) {
            if (!IsInDocument(row.id))
                Report("lock counters",
                       "there is a counter for " + ToUtf8(ToText(row.id)) + ", which the document does not have");
        }
    }

    void ReadVersionInfo() {
        const auto source = file_->Find(kVersionInfoStream);
        if (!source) return;
        marksEpoch_ = CountingEpoch(*source, file_->Container().Number());
        RecordReader reader(source);
        const std::uint32_t count = reader.U32();
        for (std::uint32_t at = 0; at < count; ++at) {
            reader.Guid();
            const VersionWord word(reader.U32());
            if (word.MinimumReader() > word.Writer())
                Report("version information", "entry " + std::to_string(at) + " needs a reader newer than its writer");
        }
    }

    void ReadRoot() {
        const bool current = file_->Contains(kRootStream);
        const auto source = file_->Find(current ? kRootStream : kOldRootStream);
        if (!source) return Report("root record", "the file has neither of the streams ROOT-V200 and ROOT");
        RecordReader reader(source);
        const VersionWord version(current ? reader.U32() : 1);
        const Reference self = reader.ObjectReference();
        reached_.insert(self.id);
        const ClassInfo* info = RootClassOf(self.id, reader, version);
        if (!info) return Report("root record", "nothing says which kind of document this is");
        const Ref<Object> root = info->create();
        info->load(*root, reader, version);
        if (reader.Left() != 0)
            Report("root record", std::to_string(reader.Left()) + " bytes follow that its class does not know");
        library_ = LibraryOf(static_cast<const DocumentRoot&>(*root));
        link_ = static_cast<const DocumentRoot&>(*root).LinkedDocument();
        Follow(*root, "the root");
    }

    // In a file without a directory table, the root's class is the one whose fields fill the record.
    const ClassInfo* RootClassOf(const GUID& id, const RecordReader& fields, VersionWord version) const {
        const auto listed = table_.find(id);
        if (listed != table_.end()) return FindClass(listed->second.classId);
        if (hasTable_) return nullptr;
        const auto fits = [&](const ClassInfo* info) {
            if (info->kind != ClassKind::Root) return false;
            try {
                RecordReader reader = fields;
                info->load(*info->create(), reader, version);
                return reader.Left() == 0;
            } catch (const Failure&) {
                return false;
            }
        };
        const auto& all = AllClasses();
        const auto found = std::ranges::find_if(all, fits);
        return found == all.end() ? nullptr : *found;
    }

    void Follow(Object& owner, const std::string& name) {
        if (const CollectionBase* collection = owner.AsCollection()) {
            const Members& members = collection->members;
            const auto marks = members.Marks();
            for (std::size_t index = members.Count(); index-- > 0;)
                waiting_.push_back(
                    {members.At(index), owner.Class().member(), name, marks.empty() ? kUnknownMark : marks[index]});
            return;
        }
        owner.ForEachChild([&](ChildSlot& slot, const ClassInfo& classInfo) {
            if (slot.reference) waiting_.push_back({*slot.reference, &classInfo, name, kUnknownMark});
        });
    }

    void ReadOne(const Waiting& next) {
        const std::string name = ToUtf8(next.classInfo->name) + " " + ToUtf8(ToText(next.reference.id));
        if (!reached_.insert(next.reference.id).second)
            return Report(name, "it is referred to a second time, by " + next.owner);
        const auto listed = table_.find(next.reference.id);
        if (hasTable_ && listed == table_.end())
            Report(name, "the object directory does not list it");
        else if (hasTable_ && !IsEqualGUID(listed->second.classId, next.classInfo->classId))
            Report(name, "the object directory lists it under another class");
        else if (hasTable_ && listed->second.tag != next.reference.tag)
            Report(name, "its tag differs between the object directory and " + next.owner);
        if (!streams_.contains(next.reference.id))
            return Report(name, "it has no stream; " + next.owner + " refers to it");
        Try(name, [&] {
            const Ref<Object> object = next.classInfo->create();
            object->Bind(*Ref<Entry>(new Entry(next.reference.id, next.classInfo)));
            const auto source = file_->Find(StreamNameOf(next.reference.id));
            const RecordExtent extent = ReadObject(*object, RecordReader(source), marksEpoch_);
            const std::uint64_t bytes = BytesWithMarks(*object, extent, *source);
            object->Materialise();
            if (next.mark != kUnknownMark && next.mark != MarkOf(object->OwnEntry().name))
                Report(name, "the mark that " + next.owner + " has of its name is wrong: it is not found by its name");
            object->ForEachReference([&](ReferenceBase& reference, const ClassInfo& target) {
                if (reference.Id())
                    referred_.push_back({*reference.Id(), &target, name});
                else if (object->Class().isLink)
                    lost_.push_back({name, "it links to no " + ToUtf8(target.name)});
            });
            object->ForEachLinkedReference([&](std::u16string_view id, const ClassInfo& target) {
                if (const auto wanted = ParseGuid(id)) linked_.push_back({*wanted, &target, name});
            });
            if (bytes < source->Size() && extent.version.Writer() <= next.classInfo->version.Writer())
                Report(name, std::to_string(source->Size() - bytes) + " bytes follow its record");
            Follow(*object, name);
        });
    }

    // Nothing is said of objects that there are but could not be read.
    void ReportLost() {
        for (const Referred& each : referred_) {
            const auto listed = table_.find(each.id);
            const std::string target = ToUtf8(each.classInfo->name) + " " + ToUtf8(ToText(each.id));
            if (!reached_.contains(each.id))
                lost_.push_back({each.owner, "it refers to " + target + ", which the document does not have"});
            else if (listed != table_.end() && !IsEqualGUID(listed->second.classId, each.classInfo->classId))
                lost_.push_back({each.owner, "it refers to " + target + ", which is of another class"});
        }
    }

    // Nothing is said where the library is not near: it is missing, and the caller says so.
    void ReportLostInLibrary() {
        if (!link_ || linked_.empty()) return;
        const TableOf<DirectoryRow> table = TableOfLibrary(*link_, folder_);
        if (table.Count() == 0) return;
        for (const Referred& each : linked_) {
            const auto listed = table.Find(each.id);
            if (listed && IsEqualGUID(listed->classId, each.classInfo->classId)) continue;
            lost_.push_back({each.owner, "it refers to " + ToUtf8(each.classInfo->name) + " " +
                                             ToUtf8(ToText(each.id)) + ", which the library does not have"});
        }
    }

    // References in objects of a newer program's classes cannot be followed, so that nothing is said of these objects.
    void ReportUnreached() {
        for (const auto& [id, listed] : table_) {
            const ClassInfo* info = FindClass(listed.classId);
            if (info && !reached_.contains(id))
                Report(ToUtf8(info->name) + " " + ToUtf8(ToText(id)),
                       "the object directory lists it, but nothing refers to it");
        }
        for (const GUID& id : streams_)
            if (!reached_.contains(id) && !table_.contains(id))
                Report("stream " + ToUtf8(ToText(id)), "nothing in the document refers to it");
    }

    std::shared_ptr<DocumentFile> file_;
    std::filesystem::path folder_;
    const Progress& progress_;
    std::vector<DocumentProblem> problems_, lost_;
    std::vector<Referred> referred_, linked_;  // in the document, and in its library
    std::optional<LinkedLibrary> library_;
    std::optional<DocumentRoot::Link> link_;
    std::set<GUID, GuidLess> streams_, reached_;
    std::map<GUID, DirectoryRow, GuidLess> table_;
    bool hasTable_ = false;
    std::uint64_t marksEpoch_ = 0;
    std::vector<Waiting> waiting_;
    std::size_t done_ = 0;
};

}  // namespace

}  // namespace lumvex::inside

namespace lumvex {

std::vector<DocumentProblem> CheckDocument(const std::filesystem::path& path, const Progress& progress) {
    return ExamineDocument(path, progress).problems;
}

DocumentCheck ExamineDocument(const std::filesystem::path& path, const Progress& progress) {
    using namespace inside;
    return ForClient([&] {
        DocumentCheck check;
        std::vector<DocumentProblem>& problems = check.problems;
        {
            const auto file = compound::OpenFile(path, compound::Access::ReadShared);
            try {
                for (const compound::Problem& each : compound::CheckStructure(*file))
                    problems.push_back({each.where, each.what});
            } catch (const compound::StorageError& error) {
                if (error.status() != compound::Status::Corrupt) throw;
                problems.push_back({"file", error.what()});
            }
        }
        try {
            DocumentCheck records = OnStorage([&] { return Checker(path, progress).Run(); });
            problems.insert(problems.end(), records.problems.begin(), records.problems.end());
            check.lost = std::move(records.lost);
            check.library = std::move(records.library);
        } catch (const Failure&) {
            if (problems.empty()) throw;  // else the problems of the file's structure are the cause
        }
        return check;
    });
}

DocumentFacts InspectDocument(const std::filesystem::path& path) {
    using namespace inside;
    return ForClient([&] {
        const auto file = OpenForReading(path);
        DocumentFacts facts;
        facts.fileBytes = file->Container().FileSize();
        facts.sectorBytes = file->Container().Version() == 3 ? 512 : 4096;
        file->Container().ForEachStream([&](std::u16string_view, std::uint64_t size) {
            ++facts.streams;
            facts.streamBytes += size;
        });
        std::map<std::string, std::size_t> classes;
        if (const auto source = file->Find(kDirectoryStream)) {
            TableOf<DirectoryRow> table;
            table.Open(source);
            facts.objects = table.Count();
            for (std::size_t at = 0; at < table.Count(); ++at) {
                const DirectoryRow row = table.At(at);
                const ClassInfo* info = FindClass(row.classId);
                if (info && info->kind == ClassKind::Root) {
                    facts.rootClass = ToUtf8(info->name);
                    facts.rootId = ToUtf8(ToText(row.id));
                    facts.library = LibraryOf(*file, *info);
                }
                ++classes[info ? ToUtf8(info->name) : ToUtf8(ToText(row.classId))];
            }
        }
        for (const auto& [name, count] : classes) facts.classes.push_back({name, count});
        return facts;
    });
}

}  // namespace lumvex
