// Reads a text file line by line, in the encodings that programs write, so that a file that is no text is refused after
// its first bytes and a large one is never held as a whole.
#pragma once

#include <cstddef>
#include <filesystem>
#include <istream>
#include <string>
#include <string_view>

namespace lumvex::app {

// The lines of a stream as UTF-8, whatever ends them: LF, CRLF or CR. UTF-8 and UTF-16 are told by their byte-order
// marks, UTF-16 without one by the zero bytes of its ASCII characters; anything else is taken as it is, since only its
// ASCII matters to the readers. The end-of-file character of old systems is left out.
class TextLines {
public:
    // Begins at the beginning of the stream, which has to outlive the lines and be able to seek. The path is for
    // messages.
    TextLines(const std::filesystem::path& path, std::istream& in);

    void Rewind();

    // Goes to the next line; false behind the last one. Throws FileError for what is no text (a zero byte, half a
    // character, a line of more than kLongestLine bytes) and when the stream cannot be read.
    bool Next();

    std::string_view Text() const { return text_; }  // until the next call of Next
    std::size_t Number() const { return number_; }   // from 1

    static constexpr std::size_t kLongestLine = 1 << 20;

private:
    enum class Encoding { Bytes, Utf16Little, Utf16Big };

    void FindEncoding();
    bool Fill();  // false: the stream is at its end
    std::size_t FindEnd(std::size_t from) const;
    void Take(std::size_t bytes);
    [[noreturn]] void RefuseZero() const;

    std::filesystem::path path_;
    std::istream& in_;
    Encoding encoding_ = Encoding::Bytes;
    std::size_t markLength_ = 0;
    std::string buffer_;     // what has been read
    std::size_t begin_ = 0;  // of the next line, in the buffer
    bool atEnd_ = false;
    std::string decoded_;
    std::string_view text_;
    std::size_t number_ = 0;
};

}  // namespace lumvex::app
