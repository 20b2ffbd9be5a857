// Repairing: what can still be read of a document goes into a new one.
#include <algorithm>

#include "core/tree/collection.hpp"
#include "core/tree/item.hpp"
#include "core/tree/references.hpp"
#include "lumvex/maintenance.hpp"
#include "storage/compound/format/stream_lengths.hpp"
#include "storage/document/document_file.hpp"
#include "storage/document/document_root.hpp"
#include "storage/document/write_streams.hpp"
#include "storage/inspect/client_errors.hpp"
#include "storage/records/object_record.hpp"
#include "storage/salvage/rebuilt_tree.hpp"

namespace lumvex::inside {

namespace {

// The fields of an object that is made anew. Some classes cannot be saved before they have been given a value: these
// get what a record of zeros means.
Ref<Object> MadeAnew(const ClassInfo& info) {
    Ref<Object> object = info.create();
    RecordWriter writer;
    try {
        info.save(*object, writer);
    } catch (const Failure&) {
        constexpr std::size_t kZeros = 4096;
        RecordReader reader(std::make_shared<MemorySource>(std::vector<std::byte>(kZeros)));
        info.load(*object, reader, info.version);
    }
    return object;
}

void SetChildren(Object& object, const TreeNode& node) {
    object.ForEachChild([&](ChildSlot& slot, const ClassInfo& info) {
        const auto child = std::ranges::find(node.below, &info, &TreeNode::info);
        slot.reference = child == node.below.end() ? std::nullopt : std::optional((*child)->reference);
    });
}

Ref<Object> Rebuilt(const TreeNode& node) {
    const ClassInfo& info = *node.info;
    const bool isItem = info.kind == ClassKind::Item;
    const bool isRead = node.found && isItem && !node.found->hasNameOnly;
    const ReadAttempt read = isItem && node.found ? ReadAs(info, node.reference.id, node.found->source) : ReadAttempt{};
    Ref<Object> object = isRead ? read.object : isItem ? MadeAnew(info) : info.create();
    object->Bind(*Ref<Entry>(new Entry(node.reference.id, &info)));
    if (CollectionBase* collection = object->AsCollection()) {
        for (const TreeNode* member : node.below) {
            collection->members.MakeRoom();
            collection->members.Append(member->reference, member->name);
        }
        return object;
    }
    object->OwnEntry().name = node.name;
    object->AsItem()->timestamp = node.found ? read.object->AsItem()->timestamp : LocalTimeNow();
    SetChildren(*object, node);
    object->ForEachReference([&](ReferenceBase& reference, const ClassInfo&) {
        if (reference.Id() && node.lostTargets.contains(*reference.Id())) reference.PointTo(std::optional<GUID>());
    });
    object->Materialise();
    return object;
}

void WriteNode(compound::CompoundFile& file, const TreeNode& node) {
    const std::u16string name = StreamNameOf(node.reference.id);
    if (!node.isChanged) return WriteStream(file, name, node.found->source->All());
    const Ref<Object> object = Rebuilt(node);
    RecordWriter record;
    WriteObject(*object, record);
    WriteStream(file, name, record);
}

void WriteTables(compound::CompoundFile& file, const FoundDocument& document, const RebuiltTree& tree) {
    std::vector<const TreeNode*> nodes = tree.InOrder();
    nodes.push_back(&tree.Root());
    TableOf<DirectoryRow>::Changes rows;
    TableOf<LockRow>::Changes locks;
    std::set<GUID, GuidLess> ids;
    for (const TreeNode* node : nodes) {
        const auto old = document.rows.find(node->reference.id);
        const GUID second = old == document.rows.end() ? GUID{} : old->second.second;
        ids.insert(node->reference.id);
        rows.Put({node->reference.id, second, node->info->classId, node->reference.tag});
    }
    for (const auto& [id, row] : document.rows) {
        const bool isUnknown = !FindClass(row.classId);
        if (isUnknown && ids.insert(id).second) rows.Put(row);
    }
    file.Write(kDirectoryStream, TableOf<DirectoryRow>().Merged(std::move(rows)).Pieces());
    for (const LockRow& row : document.locks)
        if (ids.contains(row.id) && row.locks != 0) locks.Put(row);
    if (!locks.Empty()) file.Write(kLocksStream, TableOf<LockRow>().Merged(std::move(locks)).Pieces());
    WriteVersions(file, 0);
}

// Records that are written anew are about as long as those that were found.
int SectorVersionFor(const FoundDocument& document, const RebuiltTree& tree) {
    compound::StreamLengths lengths;
    const auto nodes = tree.InOrder();
    for (const TreeNode* node : nodes) {
        const bool isCollection = node->info->kind == ClassKind::Collection;
        lengths.Add(isCollection  ? 8 + sizeof(Reference) * node->below.size()
                    : node->found ? node->found->source->Size()
                                  : 0);
    }
    for (const FoundDocument::Other& other : document.others) lengths.Add(other.source->Size());
    lengths.Add(4 + sizeof(DirectoryRow) * (nodes.size() + 1));
    return lengths.BestVersion();
}

void WriteAll(compound::CompoundFile& file, const FoundDocument& document, const RebuiltTree& tree,
              const Progress& progress) {
    const Ref<Object> root = document.rootObject ? document.rootObject : document.rootClass->create();
    SetChildren(*root, tree.Root());
    root->Materialise();
    WriteRootRecord(file, *root, tree.Root().reference);
    if (document.settings) WriteStream(file, kSettingsStream, document.settings->All());
    // First: an object of the tree takes the place of a stream of its name.
    for (const FoundDocument::Other& other : document.others) WriteStream(file, other.name, other.source->All());
    const std::vector<const TreeNode*> nodes = tree.InOrder();
    for (std::size_t at = 0; at < nodes.size(); ++at) {
        WriteNode(file, *nodes[at]);
        if (progress) progress(at + 1, nodes.size());
    }
    WriteTables(file, document, tree);
    file.Commit();
}

}  // namespace

}  // namespace lumvex::inside

namespace lumvex {

namespace {

using namespace inside;

// Which kind of document is usually named so; null: none is.
const ClassInfo* RootNamedLike(const std::filesystem::path& path) {
    const std::u16string extension = path.extension().u16string();
    const std::u16string_view kind = extension == u".lvs"   ? u"CSpecifications"
                                     : extension == u".lvp" ? u"CProject"
                                                            : u"";
    const auto found = std::ranges::find(AllClasses(), kind, &ClassInfo::name);
    return found == AllClasses().end() ? nullptr : *found;
}

// A file in which nothing was found is refused as when it is opened, with what is wrong with it.
FoundDocument FoundIn(const std::filesystem::path& from, compound::File& file, const ClassGraph& graph,
                      Salvage& salvage) {
    try {
        return FindObjects(file, graph, RootNamedLike(from), salvage.losses, {});
    } catch (const Failure& failure) {
        if (failure.Status() == static_cast<HRESULT>(compound::Status::NotFound))
            OpenCompoundFile(from, compound::Access::ReadShared);
        throw;
    }
}

}  // namespace

Salvage SalvageDocument(const std::filesystem::path& from, const std::filesystem::path& to, const Progress& progress) {
    return ForClient([&] {
        Salvage salvage;
        const ClassGraph graph;
        const auto damaged = compound::OpenFile(from, compound::Access::ReadShared);
        const FoundDocument document = FoundIn(from, *damaged, graph, salvage);
        const RebuiltTree tree(document, graph, salvage.losses);
        salvage.objects = tree.Count();
        const auto file =
            CreateCompoundFile(to, compound::Access::Exclusive, SectorVersionFor(document, tree), Taken::IsKept);
        WriteAll(*file, document, tree, progress);
        return salvage;
    });
}

}  // namespace lumvex
