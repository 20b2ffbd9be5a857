#include "storage/document/read_document.hpp"

#include <algorithm>

#include "storage/document/marks_stamp.hpp"
#include "storage/records/failures.hpp"

namespace lumvex::inside {

namespace {

constexpr VersionWord kOldRootVersion(1);

// A word that does not say that it names a minimum reader may not name one.
bool IsReadable(VersionWord word, LXVersionSupport support) {
    if (support == LX_VER_DEPRECATED) return word.Writer() <= kRootVersion;
    if (!word.NamesMinimumReader()) return word.Writer() <= kRootVersion && (word.Word() & 0x7FF60000u) == 0;
    return word.MinimumReader() <= word.Writer() && word.MinimumReader() <= kRootVersion;
}

LXVersionSupport CheckVersions(const std::shared_ptr<const ByteSource>& source) {
    if (!source) return LX_VER_DEPRECATED;
    RecordReader reader(source);
    unsigned result = LX_VER_RW_COMPATIBLE;
    try {
        const std::uint32_t count = reader.U32();
        const auto all = AllClasses();
        auto next = all.begin();  // files of this program list the classes in this order
        for (std::uint32_t at = 0; at < count && result != LX_VER_INCOMPATIBLE; ++at) {
            const GUID classId = reader.Guid();
            const bool isNext = next != all.end() && IsEqualGUID((*next)->classId, classId);
            const ClassInfo* const known = isNext ? *next++ : FindClass(classId);
            const VersionWord written(reader.U32());
            if (!known) continue;
            if (written.Writer() > known->version.Writer()) result |= LX_VER_R_COMPATIBLE;
            if (written.MinimumReader() > known->version.Writer()) result |= LX_VER_INCOMPATIBLE;
            if (written.MinimumReader() > written.Writer()) return LX_VER_FAILLOAD;
        }
    } catch (const Failure&) {
        return LX_VER_FAILLOAD;
    }
    return static_cast<LXVersionSupport>(result);
}

// The root's record behind its version word, which the older stream does not have.
struct RootRecord {
    RecordReader fields;
    VersionWord version;
};

RootRecord OpenRootRecord(DocumentFile& file, LXVersionSupport& support) {
    if (auto source = file.Find(kRootStream)) {
        RecordReader reader(std::move(source));
        const VersionWord word(reader.U32());
        if (!IsReadable(word, support)) {
            support = LX_VER_INCOMPATIBLE;
            throw Failure(Message::FileFormat);
        }
        return {std::move(reader), VersionWord(std::min(word.Writer(), kRootVersion))};
    }
    auto source = file.Find(kOldRootStream);
    if (!source) throw Failure(static_cast<HRESULT>(compound::Status::NotFound));
    return {RecordReader(std::move(source)), kOldRootVersion};
}

// The file's directory, where it has one, lists its root under the class of the document.
void RequireKind(const std::shared_ptr<const ByteSource>& directory, const GUID& rootId, const ClassInfo& rootClass) {
    if (!directory) return;
    TableOf<DirectoryRow> table;
    table.Open(directory);
    const auto row = table.Find(rootId);
    const ClassInfo* listed = row ? FindClass(row->classId) : nullptr;
    if (listed && listed != &rootClass) throw Failure(Message::FileFormat);
}

}  // namespace

void ReadDocument(DocumentTree& tree, LXVersionSupport& support) {
    DocumentFile& file = tree.File();
    DocumentRoot& root = tree.Root();
    const auto versions = file.Find(kVersionInfoStream);
    support = CheckVersions(versions);
    if (support < 0 || support == LX_VER_INCOMPATIBLE) throw Failure(Message::FileFormat);
    if (versions) tree.MarksCountOf(CountingEpoch(*versions, file.Container().Number()));
    RootRecord record = OpenRootRecord(file, support);
    const Reference self = record.fields.ObjectReference();
    auto table = file.Find(kDirectoryStream);
    RequireKind(table, self.id, root.Class());
    tree.Objects().Rekey(root.OwnEntry(), self.id);
    root.OwnEntry().tag = self.tag;
    root.Class().load(root, record.fields, record.version);
    if (const auto settings = file.Find(kSettingsStream)) {
        RecordReader reader(settings);
        root.LoadSettings(reader);
    }
    const bool hasTable = table != nullptr;
    tree.Objects().Open(std::move(table), file.Find(kLocksStream));
    if (!hasTable) tree.ListEverything();
}

}  // namespace lumvex::inside
