// How code inside the model fails: by exceptions that carry a status and, for the model's own failures, the number of a
// message. The guard around each published call turns them into the call's status and error information.
#pragma once

#include <exception>
#include <memory>
#include <string>

#include "lumvex/automation.hpp"

namespace lumvex::inside {

// Numbers of the messages that operations raise.
enum class Message : int {
    NameExists = 4000,
    ChannelCount = 4002,
    TooManyDimensions = 4003,
    NotAnArray = 4004,
    NoFile = 4005,
    ElementType = 4007,
    Locked = 4008,
    Orphaned = 4009,
    DoesNotExist = 4010,
    NotLocated = 4011,
    ModifiedBeforeLoading = 4013,
    FileFormat = 4014,
    OtherDocument = 4015,
    InternalError = 4017,
    NotAllRemoved = 4018,
    CacheBounds = 4019,
    FileMustBeClosed = 4020,
};

// The status of a message: 0x80040000 plus its number.
constexpr HRESULT StatusOf(Message message) {
    return static_cast<HRESULT>(0x80040000u + static_cast<unsigned>(message));
}

// A call that cannot be carried out, because of its caller or of a file. A failure made of a status alone has no text.
class Failure : public std::exception {
public:
    explicit Failure(HRESULT status) noexcept : status_(status) {}
    // `detail` is for people who look for the cause; clients of published interfaces do not see it.
    Failure(HRESULT status, const std::string& detail)
        : status_(status), detail_(std::make_shared<const std::string>(detail)) {}
    explicit Failure(Message message) noexcept : status_(StatusOf(message)), message_(static_cast<int>(message)) {}

    HRESULT Status() const noexcept { return status_; }
    int MessageNumber() const noexcept { return message_; }  // 0: none
    const char* what() const noexcept override { return detail_ ? detail_->c_str() : "lumvex: a call failed"; }

private:
    HRESULT status_;
    int message_ = 0;
    std::shared_ptr<const std::string> detail_;
};

// The failure of another published call, made on the way: the client gets its status and its error information
// unchanged.
class PassedOn : public std::exception {
public:
    explicit PassedOn(HRESULT status) noexcept : status_(status) {}
    HRESULT Status() const noexcept { return status_; }
    const char* what() const noexcept override { return "lumvex: an inner call failed"; }

private:
    HRESULT status_;
};

// A broken invariant that no caller can mend: a fault of the program, never of a file or a caller.
class COstrelException : public std::exception {
public:
    // The place in the source is that of the throw.
    explicit COstrelException(int code, const char* file = __builtin_FILE(), unsigned line = __builtin_LINE()) noexcept
        : code_(code), file_(file), line_(line) {}

    int Code() const noexcept { return code_; }
    const char* File() const noexcept { return file_; }
    unsigned Line() const noexcept { return line_; }
    const char* what() const noexcept override { return "lumvex: broken invariant"; }

private:
    int code_;
    const char* file_;
    unsigned line_;
};

// Installs the message's text as the calling thread's error information and answers its status. `source` is the
// programmatic identifier of the class that reports, empty where there is none; a number without text says "Unknown
// Error".
HRESULT Report(int message, std::u16string_view source) noexcept;

// The same with a ready-made text and its status; a status of 0 answers DISP_E_EXCEPTION.
HRESULT Report(std::u16string_view text, HRESULT status, std::u16string_view source) noexcept;

// The text of message 4017 for a place in the source: the file's bare name and the line.
std::u16string InternalErrorText(std::string_view path, unsigned line);

}  // namespace lumvex::inside
