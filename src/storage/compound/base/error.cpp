#include "storage/compound/base/error.hpp"

namespace lumvex::compound {

namespace {

std::string Joined(std::initializer_list<StorageError::Part> parts) {
    std::string text;
    for (const StorageError::Part& part : parts) part.AppendTo(text);
    return text;
}

}  // namespace

void StorageError::Part::AppendTo(std::string& text) const {
    if (text_.data() != nullptr)
        text += text_;
    else
        text += isNegative_ ? std::to_string(static_cast<std::int64_t>(number_)) : std::to_string(number_);
}

StorageError::StorageError(Status status, std::initializer_list<Part> parts)
    : std::runtime_error(Joined(parts)), status_(status) {}

}  // namespace lumvex::compound
