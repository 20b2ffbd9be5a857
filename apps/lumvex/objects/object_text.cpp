#include "objects/object_text.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "objects/properties.hpp"

namespace lumvex::app {

namespace {

// Without the library's number before them: "[json.exception.parse_error.101] parse error at line 1, ...".
std::string WordsOf(const Json::exception& error) {
    const std::string text = error.what();
    const std::size_t number = text.find("] ");
    return text.starts_with('[') && number != text.npos ? text.substr(number + 2) : text;
}

struct Range {
    std::uint64_t begin, end;
};

// The characters of some ranges of a stream, one after the other.
class Characters {
public:
    Characters(std::istream& stream, std::vector<Range> ranges) : stream_(stream), ranges_(std::move(ranges)) {
        Fill();
    }

    bool IsAtEnd() const { return at_ == count_; }
    char Here() const { return block_[at_]; }
    void Advance() {
        if (++at_ == count_) Fill();
    }
    std::uint64_t Position() const { return blockBegin_ + at_; }  // in the stream

private:
    void Fill() {
        blockBegin_ += count_;
        at_ = count_ = 0;
        while (range_ < ranges_.size() && ranges_[range_].begin == ranges_[range_].end) ++range_;
        if (range_ == ranges_.size()) return;
        Range& range = ranges_[range_];
        blockBegin_ = range.begin;
        stream_.clear();
        stream_.seekg(static_cast<std::streamoff>(range.begin));
        const std::uint64_t wanted = std::min<std::uint64_t>(block_.size(), range.end - range.begin);
        stream_.read(block_.data(), static_cast<std::streamsize>(wanted));
        count_ = static_cast<std::size_t>(stream_.gcount());
        range.begin += count_;
        if (count_ == 0) range.begin = range.end;  // the stream is shorter
    }

    std::istream& stream_;
    std::vector<Range> ranges_;
    std::size_t range_ = 0;
    std::array<char, 1 << 16> block_;
    std::size_t at_ = 0, count_ = 0;
    std::uint64_t blockBegin_ = 0;
};

// What the JSON library reads from: null is the end.
struct CharacterIterator {
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = char;

    Characters* from = nullptr;

    char operator*() const { return from->Here(); }
    CharacterIterator& operator++() {
        from->Advance();
        return *this;
    }
    CharacterIterator operator++(int) {
        const CharacterIterator old = *this;
        ++*this;
        return old;
    }
    bool operator==(const CharacterIterator& other) const {
        const bool isAtEnd = !from || from->IsAtEnd(), otherIsAtEnd = !other.from || other.from->IsAtEnd();
        return isAtEnd == otherIsAtEnd;
    }
};

// Follows the braces and brackets. The library reads a brace or bracket without looking behind it, so that the text's
// position is the one behind it then.
class Outliner {
public:
    explicit Outliner(const Characters& characters) : characters_(characters) {}

    TextObject Take() { return std::move(whole_); }

    bool start_object(std::size_t) {
        open_.push_back({.isObject = true, .object = {.begin = characters_.Position() - 1}});
        return true;
    }
    bool key(std::string& name) {
        open_.back().key = name;
        open_.back().hasClass = open_.back().hasClass || name == "class";
        return true;
    }
    bool end_object() {
        Open ended = Pop();
        ended.object.end = characters_.Position();
        if (open_.empty()) {
            whole_ = std::move(ended.object);
        } else if (!open_.back().isObject && ended.hasClass) {
            open_.back().list.objects.push_back(std::move(ended.object));
        } else {
            open_.back().hasOthers = true;
        }
        return true;
    }
    bool start_array(std::size_t) {
        Note();
        open_.push_back({.list = {.begin = characters_.Position()}});
        return true;
    }
    bool end_array() {
        Open ended = Pop();
        ended.list.end = characters_.Position() - 1;
        const bool isListOfObjects = !ended.list.objects.empty() && !ended.hasOthers;
        if (!isListOfObjects || open_.empty() || !open_.back().isObject) return true;
        ended.list.key = open_.back().key;
        open_.back().object.lists.push_back(std::move(ended.list));
        return true;
    }

    bool null() { return Note(); }
    bool boolean(bool) { return Note(); }
    bool number_integer(Json::number_integer_t) { return Note(); }
    bool number_unsigned(Json::number_unsigned_t) { return Note(); }
    bool number_float(Json::number_float_t, const std::string&) { return Note(); }
    bool string(std::string&) { return Note(); }
    bool binary(Json::binary_t&) { return Note(); }
    bool parse_error(std::size_t, const std::string&, const Json::exception& error) {
        throw PropertyError(WordsOf(error));
    }

private:
    // An object or list whose end has not come yet.
    struct Open {
        bool isObject = false, hasClass = false, hasOthers = false;
        std::string key = {};
        TextObject object = {};
        TextObject::List list = {};
    };

    bool Note() {
        if (!open_.empty()) open_.back().hasOthers = true;
        return true;
    }
    Open Pop() {
        Open ended = std::move(open_.back());
        open_.pop_back();
        return ended;
    }

    const Characters& characters_;
    std::vector<Open> open_;
    TextObject whole_;
};

// Builds the JSON value of an object. The values of arrays of floats are packed on the way: 4 bytes for each number
// instead of 16.
class Builder {
public:
    explicit Builder(std::uint64_t length) : most_(length / 2) {}  // a number takes a digit and a comma

    Json Take() { return std::move(whole_); }

    bool start_object(std::size_t) {
        Begin(Json::object(), false);
        return true;
    }
    bool key(std::string& name) {
        key_ = std::move(name);
        return true;
    }
    bool end_object() { return End(); }
    bool start_array(std::size_t) {
        const Json* const array = ArrayOfFloats();
        if (!open_.empty() && open_.back().isPacked) Unpack();
        Begin(array ? Json::binary({}) : Json::array(), array != nullptr);
        if (array && array->contains("rows")) Reserve((*array)["rows"]);
        return true;
    }
    bool end_array() { return End(); }
    bool null() { return Put(nullptr); }
    bool boolean(bool value) { return Put(value); }
    bool number_integer(Json::number_integer_t value) { return PutNumber(value); }
    bool number_unsigned(Json::number_unsigned_t value) { return PutNumber(value); }
    bool number_float(Json::number_float_t value, const std::string&) { return PutNumber(value); }
    bool string(std::string& value) {
        if (!open_.empty() && open_.back().isPacked) {
            try {
                return PutFloat(FloatFrom(Json(value)));
            } catch (const std::invalid_argument&) {  // no array of floats after all
            }
        }
        return Put(std::move(value));
    }
    bool binary(Json::binary_t&) { return false; }
    bool parse_error(std::size_t, const std::string&, const Json::exception& error) {
        throw PropertyError(WordsOf(error));
    }

private:
    struct Open {
        Json* value;
        bool isPacked;
    };

    // The array of floats of which the list that begins is all values, or a column; null where it is none.
    const Json* ArrayOfFloats() const {
        const auto isArray = [&](const Json& value) {
            return value.is_object() && key_ == "values" && value.contains("type") && value["type"] == "float";
        };
        for (std::size_t up = 1; up <= std::min<std::size_t>(2, open_.size()); ++up) {
            const Json& value = *open_[open_.size() - up].value;
            if (value.is_object()) return isArray(value) ? &value : nullptr;
        }
        return nullptr;
    }

    // What a list of columns has reserved is given up: each column reserves its own.
    void Unpack() {
        Json list = Json::array();
        const Json::binary_t& bytes = open_.back().value->get_binary();
        for (std::size_t at = 0; at + sizeof(float) <= bytes.size(); at += sizeof(float)) {
            float number = 0;
            std::memcpy(&number, &bytes[at], sizeof number);
            list.push_back(NumberJson(number));
        }
        *open_.back().value = std::move(list);
        open_.back().isPacked = false;
    }

    void Reserve(const Json& rows) {
        if (!rows.is_number_unsigned()) return;
        const auto count = std::min(rows.get<std::uint64_t>(), most_);
        open_.back().value->get_binary().reserve(static_cast<std::size_t>(count * sizeof(float)));
    }

    Json& Add(Json value) {
        if (open_.empty()) return whole_ = std::move(value);
        Json& into = *open_.back().value;
        if (into.is_object()) return into[key_] = std::move(value);
        into.push_back(std::move(value));
        return into.back();
    }
    void Begin(Json value, bool isPacked) {
        Json& added = Add(std::move(value));
        open_.push_back({&added, isPacked});
    }
    bool End() {
        open_.pop_back();
        return true;
    }
    template <class Value>
    bool Put(Value&& value) {
        if (!open_.empty() && open_.back().isPacked) Unpack();
        Add(Json(std::forward<Value>(value)));
        return true;
    }
    template <class Number>
    bool PutNumber(Number value) {
        if (!open_.empty() && open_.back().isPacked) return PutFloat(static_cast<float>(value));
        return Put(value);
    }
    bool PutFloat(float value) {
        Json::binary_t& bytes = open_.back().value->get_binary();
        const auto* const from = reinterpret_cast<const std::uint8_t*>(&value);
        bytes.insert(bytes.end(), from, from + sizeof value);
        return true;
    }

    std::uint64_t most_;
    Json whole_;
    std::vector<Open> open_;
    std::string key_;  // of the object that is open, for the value that comes
};

}  // namespace

const TextObject::List* TextObject::Find(std::string_view key) const {
    const auto found = std::ranges::find(lists, key, &List::key);
    return found == lists.end() ? nullptr : &*found;
}

ObjectText::ObjectText(std::istream& text) : text_(text) {
    Characters characters(text_, {{0, std::numeric_limits<std::int64_t>::max()}});
    Outliner outliner(characters);
    Json::sax_parse(CharacterIterator{&characters}, CharacterIterator{}, &outliner);
    whole_ = outliner.Take();
}

Json ObjectText::Own(const TextObject& object) const {
    if (object.begin == object.end) return Json::object();  // the whole, which is no object
    std::vector<Range> ranges;
    std::uint64_t from = object.begin;
    for (const TextObject::List& list : object.lists) {
        ranges.push_back({from, list.begin});
        from = list.end;
    }
    ranges.push_back({from, object.end});
    Characters characters(text_, std::move(ranges));
    Builder builder(object.end - object.begin);
    Json::sax_parse(CharacterIterator{&characters}, CharacterIterator{}, &builder);
    return builder.Take();
}

}  // namespace lumvex::app
