// Every class's record loader on a record of any bytes. The first byte chooses the class, for a root the next four are
// its version. What was read is written and read again, and has to be the same then.
#include <algorithm>
#include <cstdlib>
#include <vector>

#include "core/tree/collection.hpp"
#include "storage/records/failures.hpp"
#include "storage/records/object_record.hpp"

namespace {

using namespace lumvex;
using namespace lumvex::inside;

using Bytes = std::vector<std::byte>;

struct Loaded {
    Ref<Entry> entry;
    Ref<Object> object;
};

// None where the record is refused.
Loaded Read(const ClassInfo& info, const Bytes& record) {
    Loaded loaded{Ref<Entry>(new Entry(GUID{1, 2, 3, {}}, &info)), info.create()};
    loaded.object->Bind(*loaded.entry);
    const auto source = std::make_shared<MemorySource>(record);
    try {
        if (info.kind == ClassKind::Root) {
            RecordReader reader(source);
            const VersionWord version(reader.U32());
            info.load(*loaded.object, reader, version);
        } else {
            const RecordExtent extent = ReadObject(*loaded.object, RecordReader(source));
            if (extent.bytes > record.size()) std::abort();
        }
        loaded.object->Materialise();
    } catch (const Failure&) {
        return {};
    }
    return loaded;
}

Bytes Written(const Loaded& loaded) {
    RecordWriter writer;
    const ClassInfo& info = loaded.object->Class();
    if (info.kind == ClassKind::Root) {
        writer.U32(info.version.Word());
        info.save(*loaded.object, writer);
    } else {
        WriteObject(*loaded.object, writer);
    }
    return writer.Joined();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const ClassInfo& info = *AllClasses()[data[0] % AllClasses().size()];
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    const Loaded first = Read(info, Bytes(bytes + 1, bytes + size));
    if (!first.object) return 0;
    const Bytes written = Written(first);
    if (written.size() > 64 * size + 4096) std::abort();
    const Loaded second = Read(info, written);
    if (!second.object || Written(second) != written) std::abort();
    return 0;
}
