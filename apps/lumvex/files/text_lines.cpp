#include "files/text_lines.hpp"

#include <algorithm>
#include <cerrno>

#include "files/file_error.hpp"
#include "files/text_encoding.hpp"

namespace lumvex::app {

namespace {

constexpr std::size_t kReadAtATime = 1 << 16;
constexpr std::size_t kSample = 512;  // bytes that tell UTF-16 without a mark

// Text of ASCII characters in UTF-16 has a zero in nearly every second byte, and none between.
bool HasZerosAt(std::string_view bytes, std::size_t first) {
    std::size_t zeros = 0, others = 0;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        zeros += bytes[i + first] == '\0';
        others += bytes[i + 1 - first] == '\0';
    }
    return bytes.size() >= 4 && others == 0 && zeros * 10 >= bytes.size() / 2 * 9;
}

}  // namespace

TextLines::TextLines(const std::filesystem::path& path, std::istream& in) : path_(path), in_(in) {
    Rewind();
    FindEncoding();
    begin_ = markLength_;
}

void TextLines::Rewind() {
    in_.clear();
    in_.seekg(0);
    buffer_.clear();
    begin_ = 0;
    atEnd_ = false;
    number_ = 0;
    Fill();
    begin_ = markLength_;
}

void TextLines::FindEncoding() {
    const std::string_view start = buffer_;
    const std::string_view sample = start.substr(0, kSample);
    if (start.starts_with("\xEF\xBB\xBF")) {
        markLength_ = 3;
    } else if (start.starts_with("\xFF\xFE") || start.starts_with("\xFE\xFF")) {
        markLength_ = 2;
        encoding_ = start.front() == '\xFF' ? Encoding::Utf16Little : Encoding::Utf16Big;
    } else if (HasZerosAt(sample, 1)) {
        encoding_ = Encoding::Utf16Little;
    } else if (HasZerosAt(sample, 0)) {
        encoding_ = Encoding::Utf16Big;
    }
}

bool TextLines::Fill() {
    if (atEnd_) return false;
    buffer_.erase(0, begin_);
    begin_ = 0;
    const std::size_t filled = buffer_.size();
    buffer_.resize(filled + kReadAtATime);
    errno = 0;
    in_.read(buffer_.data() + filled, kReadAtATime);
    if (in_.bad()) throw FileError(path_, LastSystemError());
    buffer_.resize(filled + static_cast<std::size_t>(in_.gcount()));
    atEnd_ = !in_;
    return buffer_.size() != filled;
}

// Where the line that begins at begin_ ends, looked for from a position on; the size of the buffer: not in the buffer.
std::size_t TextLines::FindEnd(std::size_t from) const {
    if (encoding_ == Encoding::Bytes) return std::min(buffer_.find_first_of("\r\n", from), buffer_.size());
    const bool big = encoding_ == Encoding::Utf16Big;
    for (std::size_t at = from; at + 1 < buffer_.size(); at += 2) {
        const char low = buffer_[at + big], high = buffer_[at + !big];
        if (high == '\0' && (low == '\n' || low == '\r')) return at;
    }
    return buffer_.size();
}

bool TextLines::Next() {
    const std::size_t unit = encoding_ == Encoding::Bytes ? 1 : 2;
    std::size_t searched = 0;  // bytes behind begin_
    std::size_t end = FindEnd(begin_);
    // A CR at the end of the buffer may be followed by the LF that belongs to it.
    while (end + 2 * unit > buffer_.size() && !atEnd_) {
        searched = end == buffer_.size() ? (end - begin_) / unit * unit : end - begin_;
        if (searched > kLongestLine) {
            ++number_;
            if (encoding_ == Encoding::Bytes && buffer_.find('\0', begin_) < end) RefuseZero();
            throw FileError(path_, number_, "lines of text",
                            "one of more than " + std::to_string(kLongestLine) + " bytes");
        }
        Fill();
        end = FindEnd(begin_ + searched);
    }
    if (begin_ == buffer_.size()) return false;
    ++number_;
    Take(end - begin_);
    const auto ends = [&](std::size_t at, char with) {
        const std::size_t low = encoding_ == Encoding::Utf16Big ? 1 : 0;
        return at + unit <= buffer_.size() && buffer_[at + low] == with && (unit == 1 || buffer_[at + 1 - low] == '\0');
    };
    begin_ = std::min(end + (ends(end, '\r') && ends(end + unit, '\n') ? 2 * unit : unit), buffer_.size());
    return true;
}

// Makes so many bytes from begin_ on the text.
void TextLines::Take(std::size_t bytes) {
    const std::string_view line = std::string_view(buffer_).substr(begin_, bytes);
    if (encoding_ == Encoding::Bytes) {
        text_ = line;
        if (line.find('\0') != line.npos) RefuseZero();
    } else {
        if (bytes % 2 != 0)
            throw FileError(path_, 0, "an even number of bytes in UTF-16", "half a character at the end");
        decoded_ = FromUtf16(line, encoding_ == Encoding::Utf16Big);
        text_ = decoded_;
        if (text_.find('\0') != text_.npos) RefuseZero();
    }
    if (text_.ends_with('\x1A')) text_.remove_suffix(1);
}

void TextLines::RefuseZero() const { throw FileError(path_, number_, "text", "a zero byte"); }

}  // namespace lumvex::app
