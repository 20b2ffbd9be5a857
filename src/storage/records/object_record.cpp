#include "storage/records/object_record.hpp"

#include <cstring>

#include "core/tree/collection.hpp"
#include "core/tree/item.hpp"
#include "storage/records/failures.hpp"

namespace lumvex::inside {

namespace {

constexpr std::uint64_t kMembersAt = 8;
constexpr std::uint64_t kReferenceSize = 20;

class StoredMemberList final : public StoredMembers {
public:
    StoredMemberList(std::shared_ptr<const ByteSource> source, std::size_t count)
        : source_(std::move(source)), count_(count) {}

    std::size_t Count() const override { return count_; }
    Reference At(std::size_t index) const override {
        std::byte bytes[kReferenceSize];
        source_->Read(kMembersAt + index * kReferenceSize, bytes);
        Reference reference;
        std::memcpy(&reference.id, bytes, sizeof reference.id);
        std::memcpy(&reference.tag, bytes + sizeof reference.id, sizeof reference.tag);
        return reference;
    }

private:
    std::shared_ptr<const ByteSource> source_;
    std::size_t count_;
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

}  // namespace lumvex::inside
