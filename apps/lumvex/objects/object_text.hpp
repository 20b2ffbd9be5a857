// Objects in JSON (objects/exchange.hpp), read one at a time: first where each object is in the text, then what it has
// itself whenever that is asked for. So a text that is longer than memory can be read, as long as its largest object
// fits.
#pragma once

#include <cstdint>
#include <istream>
#include <memory>
#include <string>
#include <vector>

#include "objects/arrays.hpp"

namespace lumvex::app {

// An object of the text: anything in braces that has a "class", or the whole.
struct TextObject {
    // One of its lists that has only such objects: "Measurements".
    struct List {
        std::string key = {};
        std::uint64_t begin = 0, end = 0;  // in the text: behind the opening bracket, and at the closing one
        std::vector<TextObject> objects = {};
    };

    std::uint64_t begin = 0, end = 0;  // in the text: at the opening brace, and behind the closing one
    std::vector<List> lists = {};

    const List* Find(std::string_view key) const;  // null: it has none
};

class ObjectText {
public:
    // Reads all of the stream, which has to be able to seek and has to stay. Throws PropertyError for what is no JSON.
    explicit ObjectText(std::istream& text);

    const TextObject& Whole() const { return whole_; }

    // The object without the objects below it: their lists are empty.
    Json Own(const TextObject& object) const;

private:
    std::istream& text_;
    TextObject whole_;
};

}  // namespace lumvex::app
