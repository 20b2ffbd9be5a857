#include "storage/salvage/found_objects.hpp"

#include <algorithm>
#include <cstring>

#include "core/base/strings.hpp"
#include "core/tree/collection.hpp"
#include "core/tree/item.hpp"
#include "core/tree/references.hpp"
#include "storage/records/failures.hpp"
#include "storage/records/object_record.hpp"
#include "storage/salvage/object_finder.hpp"
#include "storage/salvage/stream_beginnings.hpp"

namespace lumvex::inside {

namespace {

constexpr std::size_t kReferenceSize = 20;

// A collection whose count is not what its stream holds has as many members as the stream has room for, with marks of
// their names or without.
std::shared_ptr<const ByteSource> WithCountThatFits(const std::shared_ptr<const SalvagedSource>& source) {
    if (source->Size() < 8) return source;
    const std::vector<std::byte> head = Head(*source);
    const std::uint64_t room = source->Size() - 8;
    const std::uint64_t withMarks = room / (kReferenceSize + sizeof(NameMark));  // what comes before them is shorter
    const auto count =
        static_cast<std::uint32_t>(AreMarksBehind(*source, withMarks) ? withMarks : room / kReferenceSize);
    if (At<std::uint32_t>(head, 4) == count) return source;
    std::vector<std::byte> bytes = source->All();
    std::memcpy(bytes.data() + 4, &count, sizeof count);
    return std::make_shared<MemorySource>(std::move(bytes));
}

}  // namespace

void NoteReferences(FoundObject& found, Object& object) {
    found.below.clear();
    found.targets.clear();
    if (const CollectionBase* collection = object.AsCollection()) {
        for (std::size_t at = 0; at < collection->members.Count(); ++at)
            found.below.push_back({collection->members.At(at), object.Class().member()});
        return;
    }
    object.ForEachChild([&](ChildSlot& slot, const ClassInfo& info) {
        if (slot.reference) found.below.push_back({*slot.reference, &info});
    });
    object.ForEachReference([&](ReferenceBase& reference, const ClassInfo& target) {
        if (reference.Id()) found.targets.push_back({*reference.Id(), &target});
    });
    found.name = object.AsItem() ? object.Name() : std::u16string();
}

std::unique_ptr<FoundObject> ReadCandidate(const ClassInfo& info, const GUID& id,
                                           const std::shared_ptr<const SalvagedSource>& source) {
    auto found = std::make_unique<FoundObject>();
    found->id = id;
    found->info = &info;
    found->source = source;
    const ReadAttempt attempt = ReadAs(info, id, source);
    found->understood = attempt.isRead ? attempt.bytes : 0;
    found->isWhole = attempt.isRead;
    NoteReferences(*found, *attempt.object);
    return found;
}

ReadAttempt ReadAs(const ClassInfo& info, const GUID& id, const std::shared_ptr<const ByteSource>& source) {
    ReadAttempt attempt{info.create(), 0, false};
    attempt.object->Bind(*Ref<Entry>(new Entry(id, &info)));
    auto from = source;
    if (const auto salvaged = std::dynamic_pointer_cast<const SalvagedSource>(source);
        salvaged && info.kind == ClassKind::Collection && !IsNil(id))
        from = WithCountThatFits(salvaged);
    try {
        attempt.bytes = BytesWithMarks(*attempt.object, ReadObject(*attempt.object, RecordReader(from)), *from);
        attempt.isRead = true;
    } catch (const Failure&) {  // the fields before the one that failed are read
    }
    return attempt;
}

FoundDocument FindObjects(compound::File& file, const ClassGraph& graph, const ClassInfo* likelyRoot,
                          std::vector<DocumentProblem>& losses, const Progress& progress) {
    return ObjectFinder(file, graph, likelyRoot, losses, progress).Run();
}

std::string Described(const ClassInfo& info, const GUID& id, std::u16string_view name) {
    const std::string shown = ToUtf8(info.name) + (IsNil(id) ? std::string() : " " + ToUtf8(ToText(id)));
    return name.empty() ? shown : shown + " \"" + ToUtf8(name) + "\"";
}

std::string CutText(std::uint64_t lost, std::uint64_t size) {
    return std::to_string(lost) + " of the " + std::to_string(size) +
           " bytes of its record are lost: its array is cut, and what is missing is 0";
}

}  // namespace lumvex::inside
