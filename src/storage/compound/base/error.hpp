// Status codes of the compound-file engine and the one exception that carries them.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace lumvex::compound {

enum class Status : std::uint32_t {
    NotFound = 0x80030002,
    PathNotFound = 0x80030003,
    TooManyOpenFiles = 0x80030004,
    AccessDenied = 0x80030005,
    NoMemory = 0x80030008,
    WriteFault = 0x8003001D,
    ReadFault = 0x8003001E,
    ShareViolation = 0x80030020,
    LockViolation = 0x80030021,  // the file is to be written, but its file system keeps no locks
    NotACompoundFile = 0x80030050,
    AlreadyExists = NotACompoundFile,  // a new file was to be made; the storage system has one status for both
    MediumFull = 0x80030070,
    InvalidHeader = 0x800300FB,
    InvalidName = 0x800300FC,
    InvalidFlag = 0x800300FF,
    NotCurrent = 0x80030101,  // another program has changed or replaced the file
    Corrupt = 0x80030109,     // the file contradicts itself or its own length
};

// Its text is put together from texts and numbers: throw StorageError(Status::NotFound, "stream ", index). what() is
// for people and gives the numbers ("sector 900 of 812"); status() is for programs.
class StorageError : public std::runtime_error {
public:
    template <class... Parts>
    explicit StorageError(Status status, const Parts&... parts)
        : std::runtime_error(Joined(parts...)), status_(status) {}

    Status status() const noexcept { return status_; }

private:
    template <class... Parts>
    static std::string Joined(const Parts&... parts) {
        std::string text;
        (Append(text, parts), ...);
        return text;
    }
    static void Append(std::string& text, const char* part) { text += part; }
    static void Append(std::string& text, const std::string& part) { text += part; }
    template <class Number>
    requires std::is_integral_v<Number>
    static void Append(std::string& text, Number part) { text += std::to_string(part); }

    Status status_;
};

template <class... Parts>
[[nodiscard]] StorageError Corrupt(const Parts&... parts) {
    return StorageError(Status::Corrupt, parts...);
}

}  // namespace lumvex::compound
