#include "storage/records/object_record.hpp"

#include <algorithm>

#include "core/tree/collection.hpp"
#include "core/tree/item.hpp"
#include "storage/records/failures.hpp"

namespace lumvex::inside {

namespace {

constexpr std::uint64_t kMembersAt = 8;
constexpr std::uint64_t kReferenceSize = 20;
static_assert(sizeof(Reference) == kReferenceSize, "references are read as they lie in memory");

class StoredMemberList final : public StoredMembers {
public:
    StoredMemberList(std::shared_ptr<const ByteSource> source, std::size_t count)
        : source_(std::move(source)), count_(count) {}

    std::size_t Count() const override { return count_; }
    Reference At(std::size_t index) const override {
        if (index - aheadAt_ >= ahead_.size()) ReadAhead(index);
        return ahead_[index - aheadAt_];
    }
    std::vector<Reference> All() const override {
        std::vector<Reference> all(count_);
        Read(0, all);
        return all;
    }

private:
    // Whoever goes through a list asks for the next references as well. Where these cannot be read, the one is that was
    // asked for.
    void ReadAhead(std::size_t index) const {
        constexpr std::size_t kAhead = 128;
        std::vector<Reference> ahead(std::min(count_ - index, kAhead));
        try {
            Read(index, ahead);
        } catch (const Failure&) {
            ahead.resize(1);
            Read(index, ahead);
        }
        ahead_ = std::move(ahead);
        aheadAt_ = index;
    }
    void Read(std::size_t index, std::span<Reference> references) const {
        source_->Read(kMembersAt + index * kReferenceSize, std::as_writable_bytes(references));
    }

    std::shared_ptr<const ByteSource> source_;
    std::size_t count_;
    mutable std::vector<Reference> ahead_;  // from aheadAt_ on
    mutable std::size_t aheadAt_ = 0;
};

VersionWord ReadVersion(RecordReader& reader, VersionWord ours) {
    const VersionWord stored(reader.U32());
    if (stored.NamesMinimumReader() && stored.MinimumReader() > ours.Writer()) throw Failure(Message::FileFormat);
    return stored;
}

}  // namespace

void WriteObject(const Object& object, RecordWriter& writer) {
    const ClassInfo& info = object.Class();
    writer.U32(info.version.Word());
    if (const CollectionBase* collection = object.AsCollection()) {
        const Members& members = collection->members;
        writer.U32(static_cast<std::uint32_t>(members.Count()));
        for (std::size_t index = 0; index < members.Count(); ++index) writer.ObjectReference(members.At(index));
        return;
    }
    writer.F64(object.AsItem()->timestamp);
    writer.Text(object.OwnEntry().name);
    info.save(object, writer);
}

RecordExtent ReadObject(Object& object, const std::shared_ptr<const ByteSource>& source) {
    const ClassInfo& info = object.Class();
    RecordReader reader(source);
    const VersionWord version = ReadVersion(reader, info.version);
    if (CollectionBase* collection = object.AsCollection()) {
        const std::uint32_t count = reader.U32();
        if (count > reader.Left() / kReferenceSize) throw Failure(kReadFault);
        collection->members.Load(std::make_unique<StoredMemberList>(source, count));
        return {version, kMembersAt + count * kReferenceSize};
    }
    object.AsItem()->timestamp = reader.F64();
    object.OwnEntry().name = reader.Text();
    info.load(object, reader, version);
    return {version, reader.Position()};
}

void ReadName(const ClassInfo& itemClass, const std::shared_ptr<const ByteSource>& source, std::u16string& name) {
    RecordReader reader(source);
    const VersionWord version = ReadVersion(reader, itemClass.version);
    reader.F64();  // the timestamp
    reader.Text(name);
    if (version.Writer() == itemClass.version.Writer()) return itemClass.pass(reader, version);
    itemClass.load(*itemClass.create(), reader, version);  // which mends what older records meant differently
}

}  // namespace lumvex::inside
