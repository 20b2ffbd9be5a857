#include "storage/records/object_record.hpp"

#include <algorithm>
#include <utility>

#include "core/tree/collection.hpp"
#include "core/tree/item.hpp"
#include "storage/records/failures.hpp"

namespace lumvex::inside {

namespace {

constexpr std::uint64_t kMembersAt = 8;
constexpr std::uint64_t kReferenceSize = 20;
static_assert(sizeof(Reference) == kReferenceSize, "references are read as they lie in memory");

struct MarksHead {
    std::array<char, 8> marker;
    std::uint64_t epoch;
};
static_assert(sizeof(MarksHead) == 16);

constexpr std::uint64_t MarksAt(std::uint64_t members) { return kMembersAt + members * kReferenceSize; }
constexpr std::uint64_t MarksBytes(std::uint64_t members) { return sizeof(MarksHead) + members * sizeof(NameMark); }

// What is behind a list of members, where it is the beginning of marks.
std::optional<MarksHead> ReadMarksHead(const ByteSource& source, std::uint64_t members) {
    const std::uint64_t at = MarksAt(members), size = source.Size();
    if (members < Members::kMarkedFrom || size < at || size - at < sizeof(MarksHead)) return std::nullopt;
    MarksHead head;
    source.Read(at, std::as_writable_bytes(std::span(&head, 1)));
    return head.marker == kMarksMarker ? std::optional(head) : std::nullopt;
}

bool HasRoomForMarks(const ByteSource& source, std::uint64_t members) {
    return source.Size() - MarksAt(members) >= MarksBytes(members);
}

class StoredMemberList final : public StoredMembers {
public:
    StoredMemberList(std::shared_ptr<const ByteSource> source, std::size_t count, std::uint64_t marksEpoch)
        : StoredMembers(count), source_(std::move(source)), mostReached_(count / 64), marksEpoch_(marksEpoch) {}

    Reference At(std::size_t index) const override {
        if (index - aheadAt_ >= aheadCount_) ReadAhead(index);
        return ahead_[index - aheadAt_];
    }
    References All() const override {
        References all(Count());
        if (source_)
            Read(0, all);
        else
            for (const Reached& each : reached_) all[each.index] = each.reference;
        return all;
    }
    bool HasMarks() const override {
        if (!source_) return false;
        if (std::exchange(looked_, true) || marksEpoch_ == 0) return hasMarks_;
        const auto head = ReadMarksHead(*source_, Count());
        hasMarks_ = head && head->epoch == marksEpoch_ && HasRoomForMarks(*source_, Count());
        return hasMarks_;
    }
    void ReadMarks(std::size_t first, std::span<NameMark> marks) const override {
        const std::uint64_t at = MarksAt(Count()) + sizeof(MarksHead) + first * sizeof(NameMark);
        try {
            source_->Read(at, std::as_writable_bytes(marks));
        } catch (const Failure&) {
            std::ranges::fill(marks, kUnknownMark);
        }
    }

    ReachedMember Reach(std::size_t index) override {
        if (mostReached_ != 0) Note(index);
        if (index - aheadAt_ >= aheadCount_) ReadAhead(index);
        const Reference& reached = ahead_[index - aheadAt_];
        return {reached, aheadCount_ - (index - aheadAt_) > kMembersAhead ? &reached + kMembersAhead : nullptr};
    }
    bool LacksMembers() const override { return lacksMembers_; }

    // Mostly few members are loaded, each of which was reached through the list. Then they are all that is kept, and
    // closing takes no longer for a long list than for a short one.
    void LeaveFile(std::size_t loaded, IsLoaded isLoaded) override {
        if (!source_ || source_->IsLasting()) return;
        aheadCount_ = 0;
        lacksMembers_ = loaded < Count();
        mostReached_ = 0;
        if (KeepReached(loaded, isLoaded)) return source_.reset();
        source_ = std::make_shared<CopiedSource>(*source_);
    }

private:
    struct Reached {
        std::uint32_t index;
        Reference reference;
    };
    [[gnu::noinline]] void Note(std::size_t index) {  // so that reaching the others stays short
        if (!reached_.empty() && reached_.back().index == index) return;
        reached_.push_back({static_cast<std::uint32_t>(index), At(index)});
        --mostReached_;
    }

    // True: all members that are loaded are in reached_, in order, and nothing else is. They may have been loaded by
    // their IDs, and what was reached may have left memory again.
    bool KeepReached(std::size_t loaded, IsLoaded isLoaded) {
        if (loaded > reached_.size()) return false;
        std::ranges::sort(reached_, {}, &Reached::index);
        const auto isSame = [](const Reached& a, const Reached& b) { return a.index == b.index; };
        reached_.erase(std::unique(reached_.begin(), reached_.end(), isSame), reached_.end());
        std::erase_if(reached_, [&](const Reached& each) { return !isLoaded(each.reference.id); });
        return reached_.size() == loaded;
    }

    Reference Kept(std::size_t index) const {
        const auto found = std::ranges::lower_bound(reached_, index, {}, &Reached::index);
        return found != reached_.end() && found->index == index ? found->reference : Reference{};
    }

    // Whoever goes through a list asks for the next references as well. Where these cannot be read, the one is that was
    // asked for.
    [[gnu::noinline]] void ReadAhead(std::size_t index) const {
        constexpr std::size_t kAhead = 128;
        if (source_) {
            std::vector<Reference> ahead(std::min(Count() - index, kAhead));
            try {
                Read(index, ahead);
            } catch (const Failure&) {
                ahead.resize(1);
                Read(index, ahead);
            }
            ahead_ = std::move(ahead);
        } else {
            ahead_.assign(1, Kept(index));
        }
        aheadAt_ = index;
        aheadCount_ = ahead_.size();
    }
    void Read(std::size_t index, std::span<Reference> references) const {
        source_->Read(kMembersAt + index * kReferenceSize, std::as_writable_bytes(references));
    }

    std::shared_ptr<const ByteSource> source_;  // null: the file was closed, and the list is what was kept of it
    std::vector<Reached> reached_;              // members that were asked for
    std::size_t mostReached_;  // so many more are noted: where more are loaded, the whole list is copied
    std::uint64_t marksEpoch_;
    bool lacksMembers_ = false;
    mutable bool looked_ = false, hasMarks_ = false;
    mutable std::vector<Reference> ahead_;  // the first aheadCount_ are the members from aheadAt_ on
    mutable std::size_t aheadAt_ = 0, aheadCount_ = 0;
};

inline VersionWord ReadVersion(RecordReader& reader, VersionWord ours) {
    const VersionWord stored(reader.U32());
    if (stored.NamesMinimumReader() && stored.MinimumReader() > ours.Writer()) throw Failure(Message::FileFormat);
    return stored;
}

}  // namespace

bool HasMarksToWrite(const Object& object) {
    const CollectionBase* collection = object.AsCollection();
    return collection && collection->members.Count() >= Members::kMarkedFrom &&
           std::ranges::any_of(collection->members.Marks(), [](NameMark mark) { return mark != kUnknownMark; });
}

void WriteObject(const Object& object, RecordWriter& writer, std::uint64_t marksEpoch) {
    const ClassInfo& info = object.Class();
    writer.U32(info.version.Word());
    if (const CollectionBase* collection = object.AsCollection()) {
        const Members& members = collection->members;
        writer.U32(static_cast<std::uint32_t>(members.Count()));
        for (std::size_t index = 0; index < members.Count(); ++index) writer.ObjectReference(members.At(index));
        if (marksEpoch == 0 || !HasMarksToWrite(object)) return;
        const MarksHead head{kMarksMarker, marksEpoch};
        writer.Bytes(std::as_bytes(std::span(&head, 1)));
        writer.Block(std::as_bytes(members.Marks()));
        return;
    }
    writer.F64(object.AsItem()->timestamp);
    writer.Text(object.OwnEntry().name);
    info.save(object, writer);
}

RecordExtent ReadObject(Object& object, RecordReader&& reader, std::uint64_t marksEpoch) {
    const ClassInfo& info = object.Class();
    const VersionWord version = ReadVersion(reader, info.version);
    if (CollectionBase* collection = object.AsCollection()) {
        const std::uint32_t count = reader.U32();
        if (count > reader.Left() / kReferenceSize) throw Failure(kReadFault);
        collection->members.Load(std::make_unique<StoredMemberList>(reader.Source(), count, marksEpoch));
        return {version, kMembersAt + count * kReferenceSize};
    }
    object.AsItem()->timestamp = reader.F64();
    reader.Text(object.OwnEntry().name);
    info.load(object, reader, version);
    return {version, reader.Position()};
}

std::uint64_t BytesWithMarks(const Object& object, const RecordExtent& read, const ByteSource& source) {
    const CollectionBase* collection = object.AsCollection();
    const std::size_t members = collection ? collection->members.Count() : 0;
    const bool areWhole = AreMarksBehind(source, members) && HasRoomForMarks(source, members);
    return read.bytes + (areWhole ? MarksBytes(members) : 0);
}

bool AreMarksBehind(const ByteSource& source, std::uint64_t members) {
    return ReadMarksHead(source, members).has_value();
}

void ReadName(const ClassInfo& itemClass, RecordReader&& reader, std::u16string& name) {
    const VersionWord version = ReadVersion(reader, itemClass.version);
    reader.F64();  // the timestamp
    reader.Text(name);
    if (version.Writer() == itemClass.version.Writer()) return itemClass.pass(reader, version);
    itemClass.load(*itemClass.create(), reader, version);  // which mends what older records meant differently
}

}  // namespace lumvex::inside
