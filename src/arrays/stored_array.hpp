// The array of an object: element type, dimensions with lower bounds, and elements, the first dimension varying
// fastest. In responses and filters the second dimension is the channel, in tables it is the entry. An array never
// changes once it is made. Its elements are in memory, or stay in the file until somebody asks for them.
#pragma once

#include <algorithm>
#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/objects/block_pool.hpp"
#include "lumvex/values.hpp"
#include "storage/records/byte_source.hpp"
#include "storage/records/record_writer.hpp"

namespace lumvex::inside {

// How many elements it has, and the index of the first: what safe arrays are made of, so that an array's own dimensions
// can be given to one.
using Dimension = SAFEARRAYBOUND;

using Shape = std::span<const Dimension>;  // the dimensions of an array, in order

// A shape that is being put together. Up to two dimensions are kept in place; only records made by others have more.
class Dimensions {
public:
    Dimensions() = default;
    Dimensions(std::initializer_list<Dimension> all) {
        for (const Dimension& each : all) Add(each);
    }

    void Add(Dimension dimension) {
        if (count_ < kInPlace)
            inPlace_[count_] = dimension;
        else
            AddElsewhere(dimension);
        ++count_;
    }

    std::size_t size() const { return count_; }
    bool empty() const { return count_ == 0; }
    Dimension* begin() { return more_ ? more_->data() : inPlace_.data(); }
    const Dimension* begin() const { return more_ ? more_->data() : inPlace_.data(); }
    Dimension* end() { return begin() + count_; }
    const Dimension* end() const { return begin() + count_; }
    const Dimension& operator[](std::size_t at) const { return begin()[at]; }

private:
    void AddElsewhere(Dimension dimension);

    static constexpr std::size_t kInPlace = 2;
    std::array<Dimension, kInPlace> inPlace_{};
    std::uint32_t count_ = 0;
    std::unique_ptr<std::vector<Dimension>> more_;  // all of them, when they are more than two
};

// References are counted without atomics, as every call holds the module lock. The elements are in one block of memory
// with the rest, behind it: alignas lets elements of every type follow.
class alignas(double) StoredArray {
public:
    using Text = std::optional<std::u16string>;  // none: a null string

    // An array whose elements the caller puts into Room() before anybody else sees it. Throws std::bad_alloc. `bytes`
    // is their SizeOf(), for callers who have it.
    static Ref<StoredArray> Make(VARTYPE type, Shape shape, std::size_t bytes);
    static Ref<StoredArray> Make(VARTYPE type, Shape shape) { return Make(type, shape, SizeOf(type, shape)); }
    // Copies the elements; their size is the product of the counts times that of one.
    static Ref<StoredArray> Make(VARTYPE type, Shape shape, std::span<const std::byte> elements);
    // The elements are in `source` from `offset` on, and are read when they are needed.
    static Ref<StoredArray> Make(VARTYPE type, Shape shape, std::shared_ptr<const ByteSource> source,
                                 std::uint64_t offset);
    // An array of texts.
    static Ref<StoredArray> Make(Shape shape, std::vector<Text> texts);

    StoredArray(const StoredArray&) = delete;
    StoredArray& operator=(const StoredArray&) = delete;

    void AddRef() const noexcept { ++count_; }
    void Release() const noexcept {
        if (--count_ == 0) Destroy();
    }

    VARTYPE Type() const { return type_; }
    inside::Shape Shape() const {  // valid as long as this object
        return IsElsewhere() ? inside::Shape(elsewhere_->dimensions) : inside::Shape(dimensions_.data(), inPlace_);
    }
    std::size_t Count() const {  // elements in all
        if (IsElsewhere()) return CountOf(Shape());
        return std::size_t{dimensions_[0].cElements} * dimensions_[1].cElements;
    }
    std::size_t ByteSize() const { return Count() * elementSize_; }  // of all elements; 0 for texts

    bool InFile() const { return IsElsewhere() && elsewhere_->source; }  // the document's, or that of its ByteSpool
    bool IsLasting() const {
        return !InFile() || elsewhere_->source->IsLasting();
    }                                                  // whatever becomes of the document's
    void CopyTo(std::span<std::byte> elements) const;  // from the first on, at most ByteSize() bytes
    std::span<const std::byte> Elements() const {      // of an array in memory
        assert(!InFile());
        return {reinterpret_cast<const std::byte*>(this + 1), ByteSize()};
    }
    void WriteTo(RecordWriter& writer) const;  // the elements, as WriteArrayRecord says
    std::span<std::byte> Room() {              // the same, of an array that is being made
        return {reinterpret_cast<std::byte*>(this + 1), ByteSize()};
    }
    const std::vector<Text>& Texts() const;

    // Bytes of one element in a record: 4, 8, 16 (a variant, raw) or 1; 0 for texts.
    static std::size_t ElementSize(VARTYPE type) {
        switch (type) {
            case VT_UI1:
                return 1;
            case VT_R4:
                return 4;
            case VT_R8:
                return 8;
            case VT_VARIANT:
                return 16;
            default:
                return 0;
        }
    }
    static std::size_t CountOf(inside::Shape shape) {
        std::size_t count = shape.empty() ? 0 : 1;
        for (const Dimension& dimension : shape) count *= dimension.cElements;
        return count;
    }
    static std::size_t SizeOf(VARTYPE type, inside::Shape shape) { return CountOf(shape) * ElementSize(type); }

private:
    static constexpr std::size_t kInPlace = 2;
    static constexpr std::uint8_t kElsewhere = kInPlace + 1;
    // What few arrays have.
    struct Elsewhere {
        explicit Elsewhere(inside::Shape shape) {
            for (const Dimension& each : shape) dimensions.Add(each);
        }
        Dimensions dimensions;
        std::shared_ptr<const ByteSource> source;  // the elements are in it from the offset on; null: they are not
        std::uint64_t offset = 0;
        std::vector<Text> texts;
    };
    struct Behind {  // so many bytes of elements follow the object in memory
        std::size_t bytes;
    };

    // Of at most kInPlace dimensions.
    StoredArray(VARTYPE type, inside::Shape shape) noexcept
        : dimensions_{shape.empty() ? Dimension{0, 0} : shape.front(), shape.size() < 2 ? Dimension{1, 0} : shape[1]},
          type_(type),
          inPlace_(static_cast<std::uint8_t>(shape.size())),
          elementSize_(static_cast<std::uint8_t>(ElementSize(type))) {}
    StoredArray(VARTYPE type, std::unique_ptr<Elsewhere> elsewhere) noexcept
        : elsewhere_(elsewhere.release()),
          type_(type),
          inPlace_(kElsewhere),
          elementSize_(static_cast<std::uint8_t>(ElementSize(type))) {}
    ~StoredArray() {
        if (IsElsewhere()) delete elsewhere_;
    }
    static Ref<StoredArray> MakeOfMany(VARTYPE type, inside::Shape shape, std::size_t bytes);
    bool IsElsewhere() const { return inPlace_ == kElsewhere; }
    void Destroy() const noexcept;
    static void* operator new(std::size_t size, Behind elements) { return TakeBlock(size + elements.bytes); }
    static void operator delete(void* block, Behind elements) {
        GiveBlock(block, sizeof(StoredArray) + elements.bytes);
    }

    union {
        std::array<Dimension, kInPlace> dimensions_;  // a missing second one has one element, a missing first one none
        Elsewhere* elsewhere_;                        // owned
    };
    mutable unsigned count_ = 0;
    VARTYPE type_;
    std::uint8_t inPlace_;  // so many dimensions; kElsewhere: they are elsewhere, as the elements may be
    std::uint8_t elementSize_;
};

// What an object holds: an array or nothing.
using ArraySlot = Ref<const StoredArray>;

}  // namespace lumvex::inside
