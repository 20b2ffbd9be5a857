#include "arrays/array_record.hpp"

#include "core/base/failure.hpp"
#include "storage/records/failures.hpp"

namespace lumvex::inside {

namespace {

constexpr std::uint16_t kNoArray = 0, kOlderFormat = 1, kFormat = 2;
constexpr std::size_t kShortestText = sizeof(std::uint32_t);  // bytes: a length of 0

VARTYPE TypeOfElementSize(std::uint32_t size) {
    switch (size) {
        case 4:
            return VT_R4;
        case 8:
            return VT_R8;
        case 16:
            return VT_VARIANT;
        default:
            throw Failure(Message::ElementType);
    }
}

// The bytes of all elements, of at least `elementSize` bytes each. Refuses bounds whose elements do not fit into the
// rest of the stream, before any memory is taken for them. Refuses more dimensions than a safe array can count, which
// are 16 bits.
std::size_t ReadDimensions(RecordReader& reader, std::uint32_t count, std::size_t elementSize, Dimensions& dimensions) {
    constexpr std::uint64_t kMostElements = std::uint64_t{1} << 40, kLongest = 0xFFFFFFFF;
    constexpr std::uint32_t kMostDimensions = 0xFFFF;
    if (count == 0 || count > kMostDimensions || count > reader.Left() / 8) throw Failure(kReadFault);
    std::uint64_t elements = 1;
    for (std::uint32_t at = 0; at < count; ++at) {
        std::array<std::int32_t, 2> bounds;
        reader.Read(std::as_writable_bytes(std::span(bounds)));
        const auto [lower, upper] = bounds;
        const std::int64_t length = std::int64_t{upper} - lower + 1;
        if (length < 0 || length > static_cast<std::int64_t>(kLongest)) throw Failure(kReadFault);
        const auto more = static_cast<std::uint64_t>(length);
        const bool isProductSmall = elements <= kLongest;  // it fits into 64 bits, and few arrays need the division
        if (isProductSmall ? elements * more > kMostElements : more != 0 && elements > kMostElements / more)
            throw Failure(kReadFault);
        elements *= more;
        dimensions.Add({static_cast<ULONG>(length), lower});
    }
    const std::uint64_t bytes = elements * elementSize;
    if (bytes > reader.Left()) throw Failure(kReadFault);
    return static_cast<std::size_t>(bytes);
}

// Goes through texts in the order of a record, in which the last dimension varies fastest, and says where each is in
// memory, where the first dimension varies fastest. Dimensions of one element never change their index and are left
// out; of the others an array of n elements has at most log2(n), so that a step is short whatever a file says.
class RecordOrder {
public:
    explicit RecordOrder(Shape dimensions) {
        std::size_t stride = 1;
        for (const Dimension& dimension : dimensions) {
            if (dimension.cElements != 1) moving_.push_back({dimension.cElements, stride, 0});
            stride *= dimension.cElements;
        }
    }
    std::size_t Index() const { return index_; }
    void Next() {
        for (auto each = moving_.rbegin(); each != moving_.rend(); ++each) {
            index_ += each->stride;
            if (++each->at != each->count) return;
            index_ -= each->stride * each->count;
            each->at = 0;
        }
    }

private:
    struct Moving {
        std::size_t count, stride, at;
    };
    std::vector<Moving> moving_;
    std::size_t index_ = 0;
};

// An array with more bytes of elements stays in the file until somebody asks for them. Keeping a shorter one there
// would save no memory: the reference to its place takes about as much.
constexpr std::size_t kReadNow = 4096;

// What a record says of an array before its elements.
struct Head {
    VARTYPE type = VT_EMPTY;
    std::size_t bytes = 0;  // of all elements; of texts at least
    Dimensions dimensions;
};

// False where there is no array.
bool ReadHead(RecordReader& reader, Head& head) {
    const std::uint16_t format = reader.U16();
    if (format == kNoArray) return false;
    if (format != kFormat && format != kOlderFormat) throw Failure(Message::ElementType);
    const std::uint32_t count = reader.U32();
    head.type = format == kFormat ? reader.U16() : TypeOfElementSize(reader.U32());
    if (head.type == 0) head.type = VT_R4;
    const std::size_t elementSize = head.type == VT_BSTR ? kShortestText : StoredArray::ElementSize(head.type);
    if (elementSize == 0) throw Failure(Message::ElementType);
    head.bytes = ReadDimensions(reader, count, elementSize, head.dimensions);
    return true;
}

StoredArray::Text ReadText(RecordReader& reader) {
    const std::uint32_t length = reader.U32();
    if (length == 0) return std::nullopt;
    if (length < 2 || length % 2 != 0 || length > reader.Left()) throw Failure(kReadFault);
    std::u16string text(length / 2 - 1, u'\0');
    reader.Read(std::as_writable_bytes(std::span(text)));
    reader.Skip(2);
    return text;
}

ArraySlot ReadTexts(RecordReader& reader, Shape dimensions) {
    const std::size_t count = StoredArray::CountOf(dimensions);
    std::vector<StoredArray::Text> texts(count);
    RecordOrder order(dimensions);
    for (std::size_t at = 0; at < count; ++at, order.Next()) texts[order.Index()] = ReadText(reader);
    return StoredArray::Make(dimensions, std::move(texts));
}

void PassElements(RecordReader& reader, std::size_t bytes) {
    if (bytes > kReadNow) return reader.Skip(bytes);
    std::array<std::byte, kReadNow> elements;
    reader.Read(std::span(elements).first(bytes));
}

// Reads an array into the slot, or past it where there is no slot.
void ReadOrPass(RecordReader& reader, ArraySlot* slot) {
    Head head;
    if (!ReadHead(reader, head)) return;
    if (head.type == VT_BSTR) {
        ArraySlot texts = ReadTexts(reader, head.dimensions);
        if (slot) *slot = std::move(texts);
        return;
    }
    if (!slot) return PassElements(reader, head.bytes);
    Ref<StoredArray> array;
    if (head.bytes <= kReadNow) {
        array = StoredArray::Make(head.type, head.dimensions, head.bytes);
        reader.Read(array->Room().first(head.bytes));
    } else {
        array = StoredArray::Make(head.type, head.dimensions, reader.Source(), reader.Position());
        reader.Skip(head.bytes);
    }
    *slot = std::move(array);
}

}  // namespace

void WriteArrayRecord(RecordWriter& writer, const ArraySlot& slot) {
    if (!slot) return writer.U16(kNoArray);
    writer.U16(kFormat);
    writer.U32(static_cast<std::uint32_t>(slot->Shape().size()));
    writer.U16(slot->Type());
    for (const Dimension& dimension : slot->Shape()) {
        writer.I32(dimension.lLbound);
        writer.I32(static_cast<std::int32_t>(std::int64_t{dimension.lLbound} + dimension.cElements - 1));
    }
    if (slot->Type() != VT_BSTR) return slot->WriteTo(writer);
    RecordOrder order(slot->Shape());
    for (std::size_t at = 0; at < slot->Texts().size(); ++at, order.Next()) {
        const StoredArray::Text& text = slot->Texts()[order.Index()];
        writer.U32(text ? static_cast<std::uint32_t>((text->size() + 1) * sizeof(char16_t)) : 0);
        if (!text) continue;
        writer.Bytes(std::as_bytes(std::span(*text)));
        writer.U16(0);
    }
}

void ReadArrayRecord(RecordReader& reader, ArraySlot& slot) {
    slot = nullptr;
    ReadOrPass(reader, &slot);
}

void PassArrayRecord(RecordReader& reader) { ReadOrPass(reader, nullptr); }

}  // namespace lumvex::inside
