// Array records of any bytes, and arrays of any shape and content from a client: through every conversion.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "arrays/array_record.hpp"
#include "arrays/convert_array.hpp"
#include "core/objects/object.hpp"
#include "lumvex/interfaces.hpp"

namespace {

using namespace lumvex;
using namespace lumvex::inside;

using Bytes = std::vector<std::byte>;

// Takes values off the input; zeros behind its end.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    template <class T>
    T Take() {
        T value{};
        const std::size_t count = std::min(sizeof value, size_);
        if (count != 0) std::memcpy(&value, data_, count);
        data_ += count;
        size_ -= count;
        return value;
    }
    std::size_t Left() const { return size_; }
    Bytes Rest() const {
        const auto* bytes = reinterpret_cast<const std::byte*>(data_);
        return Bytes(bytes, bytes + size_);
    }

private:
    const std::uint8_t* data_;
    std::size_t size_;
};

template <class Work>
bool Succeeds(Work&& work) {
    try {
        work();
        return true;
    } catch (const Failure&) {
    } catch (const PassedOn&) {
    }
    return false;
}

Bytes RecordOfSlot(const ArraySlot& slot) {
    RecordWriter writer;
    WriteArrayRecord(writer, slot);
    return writer.Joined();
}

ArraySlot SlotOfRecord(const Bytes& record) {
    ArraySlot slot;
    RecordReader reader(std::make_shared<MemorySource>(record));
    ReadArrayRecord(reader, slot);
    return slot;
}

void ConvertOut(const ArraySlot& slot) {
    for (const LONG type : {LONG{LX_R4}, LONG{LX_R8}, LONG{LX_VT}, LONG{LX_UI1}, LONG{99}})
        Succeeds([&] { static_cast<void>(ConvertArrayOut(slot, type)); });
    const ArraySlot columns[] = {slot, slot};
    for (const LXArray type : {LX_R4, LX_R8, LX_VT})
        Succeeds([&] { static_cast<void>(ConvertSideBySide(columns, type)); });
}

// A client's array, its content taken from the input as far as it is numbers.
Variant ClientsArray(Input& input) {
    static constexpr VARTYPE kTypes[] = {VT_R4, VT_R8, VT_I4, VT_UI1, VT_VARIANT, VT_I2, VT_BSTR};
    const VARTYPE type = kTypes[input.Take<std::uint8_t>() % std::size(kTypes)];
    std::vector<SAFEARRAYBOUND> bounds(1 + input.Take<std::uint8_t>() % 3);
    for (SAFEARRAYBOUND& bound : bounds)
        bound = {input.Take<std::uint8_t>() % 9u, static_cast<LONG>(input.Take<std::int8_t>())};
    SAFEARRAY* array = SafeArrayCreate(type, static_cast<UINT>(bounds.size()), bounds.data());
    if (!array) return {};
    Variant made = Variant::FromArray(type, array);
    std::size_t count = 1;
    for (const SAFEARRAYBOUND& bound : bounds) count *= bound.cElements;
    auto* element = static_cast<BYTE*>(array->pvData);
    for (std::size_t at = 0; at < count; ++at, element += SafeArrayGetElemsize(array)) {
        if (type == VT_BSTR) continue;
        if (type == VT_VARIANT) {
            static constexpr VARTYPE kElements[] = {VT_EMPTY, VT_R4, VT_R8, VT_I4, VT_I2, VT_NULL};
            auto& variant = *reinterpret_cast<VARIANT*>(element);
            variant.vt = kElements[input.Take<std::uint8_t>() % std::size(kElements)];
            variant.llVal = input.Take<LONGLONG>();
            continue;
        }
        const auto value = input.Take<std::uint64_t>();
        std::memcpy(element, &value, SafeArrayGetElemsize(array));
    }
    return made;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    ArraySlot slot;
    if (input.Take<std::uint8_t>() % 2 == 0) {
        if (!Succeeds([&] { slot = SlotOfRecord(input.Rest()); })) return 0;
        ConvertOut(slot);
        if (!slot || slot->InFile()) return 0;
    } else {
        const LONG channels = input.Take<std::int8_t>();
        const Variant array = ClientsArray(input);
        if (!Succeeds([&] { ConvertArrayIn(array, slot, channels); })) return 0;
        ConvertOut(slot);
    }
    const Bytes record = RecordOfSlot(slot);
    if (const ArraySlot again = SlotOfRecord(record)) ConvertOut(again);
    return 0;
}
