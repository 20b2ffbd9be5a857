// Status codes of the compound-file engine and the one exception that carries them.
#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>

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

// Its text is put together from texts and whole numbers: throw StorageError(Status::NotFound, "stream ", index). what()
// is for people and gives the numbers ("sector 900 of 812"); status() is for programs.
class StorageError : public std::runtime_error {
public:
    // One part of a text. Refers to what it is made of.
    class Part {
    public:
        Part(const char* text) : text_(text) {}
        Part(const std::string& text) : text_(text) {}
        template <std::integral Number>
        Part(Number number) : number_(static_cast<std::uint64_t>(number)), isNegative_(number < 0) {}

        void AppendTo(std::string& text) const;

    private:
        std::string_view text_;
        std::uint64_t number_ = 0;  // the part, where text_ is null
        bool isNegative_ = false;
    };

    template <class... Parts>
    explicit StorageError(Status status, const Parts&... parts) : StorageError(status, {Part(parts)...}) {}

    Status status() const noexcept { return status_; }

private:
    // One function puts all texts together. When each combination of parts had its own, these were a fifth of the
    // engine's code.
    StorageError(Status status, std::initializer_list<Part> parts);

    Status status_;
};

template <class... Parts>
[[nodiscard]] StorageError Corrupt(const Parts&... parts) {
    return StorageError(Status::Corrupt, parts...);
}

}  // namespace lumvex::compound
