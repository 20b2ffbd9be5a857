// Statuses of failed calls for code that handles std::error_code: words for each, and what they mean elsewhere, so that
// `error.Code() == std::errc::no_such_file_or_directory` holds for every status of a file that does not exist.
#pragma once

#include <cstddef>
#include <new>
#include <string>
#include <system_error>

#include "lumvex/automation.hpp"
#include "lumvex/export.hpp"

namespace lumvex {

// The category "lumvex" of std::error_code; a code's value is the status. It is not destroyed when the program ends.
class StatusCategory : public std::error_category {
public:
    static const StatusCategory& Instance() noexcept {
        alignas(
            StatusCategory) static std::byte place[sizeof(StatusCategory)];  // there is no memory to allocate, perhaps
        static const StatusCategory& instance = *new (place) StatusCategory;
        return instance;
    }

    const char* name() const noexcept override { return "lumvex"; }
    // "the disk is full"; "status 0x80041234" for a status that the library does not answer.
    std::string message(int status) const override {
        for (const Meaning& each : kMeanings)
            if (each.status == status) return each.words;
        std::string hex = "status 0x";
        for (int shift = 28; shift >= 0; shift -= 4)
            hex += "0123456789ABCDEF"[(static_cast<unsigned>(status) >> shift) & 0xF];
        return hex;
    }
    // The std::errc that the status is equivalent to; of a status that has none, the status itself.
    std::error_condition default_error_condition(int status) const noexcept override {
        for (const Meaning& each : kMeanings)
            if (each.status == status && each.condition != std::errc()) return each.condition;
        return {status, *this};
    }

private:
    struct Meaning {
        HRESULT status;
        std::errc condition;  // 0: none is meant by it
        const char* words;
    };
    static constexpr HRESULT kMessage = static_cast<HRESULT>(0x80040000u);
    static constexpr Meaning kMeanings[] = {
        {S_OK, {}, "no error"},
        {E_OUTOFMEMORY, std::errc::not_enough_memory, "out of memory"},
        {E_INVALIDARG, std::errc::invalid_argument, "an argument is out of range or not allowed"},
        {E_POINTER, std::errc::invalid_argument, "an object or a place for the result is missing"},
        {E_NOTIMPL, std::errc::function_not_supported, "the call is not supported"},
        {E_NOINTERFACE, std::errc::function_not_supported, "the object has no such interface"},
        {E_FAIL, {}, "the call failed"},
        {E_UNEXPECTED, {}, "the call failed by a fault of the library or of a handler"},
        {E_ACCESSDENIED, std::errc::permission_denied, "permission denied"},
        {DISP_E_BADINDEX, std::errc::invalid_argument, "there is no element or member of that number"},
        {DISP_E_TYPEMISMATCH, std::errc::invalid_argument, "a value is of another type"},
        {DISP_E_OVERFLOW, std::errc::result_out_of_range, "a number is too large"},
        {DISP_E_MEMBERNOTFOUND, std::errc::invalid_argument, "the object has no such member"},
        {DISP_E_UNKNOWNNAME, std::errc::invalid_argument, "the object has no member of that name"},
        {DISP_E_BADPARAMCOUNT, std::errc::invalid_argument, "the member takes another number of arguments"},
        {CONNECT_E_CANNOTCONNECT, {}, "the object has no events"},
        {REGDB_E_CLASSNOTREG, {}, "the class is not registered"},
        {STG_E_FILENOTFOUND, std::errc::no_such_file_or_directory, "there is no such file"},
        {STG_E_PATHNOTFOUND, std::errc::no_such_file_or_directory, "there is no such folder"},
        {STG_E_TOOMANYOPENFILES, std::errc::too_many_files_open, "too many files are open"},
        {STG_E_ACCESSDENIED, std::errc::permission_denied, "permission denied"},
        {STG_E_INSUFFICIENTMEMORY, std::errc::not_enough_memory, "out of memory"},
        {STG_E_WRITEFAULT, std::errc::io_error, "the file cannot be written"},
        {STG_E_READFAULT, std::errc::io_error, "the file cannot be read, or something is missing from it"},
        {STG_E_SHAREVIOLATION, std::errc::device_or_resource_busy, "another program has the file open"},
        {STG_E_LOCKVIOLATION, std::errc::no_lock_available, "the file's place keeps no locks, which writing needs"},
        // The storage system's status for a name that is taken, too.
        {STG_E_FILEALREADYEXISTS, {}, "it is no compound file"},
        {STG_E_MEDIUMFULL, std::errc::no_space_on_device, "the disk is full"},
        {STG_E_INVALIDHEADER, {}, "the header of the file is damaged"},
        {STG_E_INVALIDNAME, std::errc::invalid_argument, "the name is too long or not allowed"},
        {STG_E_INVALIDFLAG, std::errc::invalid_argument, "the way of access does not exist"},
        {STG_E_NOTCURRENT, {}, "another program has changed or replaced the file"},
        {STG_E_DOCFILECORRUPT, {}, "the file is damaged"},
        // The model's own, by the numbers of their messages.
        {kMessage + 4000, {}, "the collection has an item of that name"},
        {kMessage + 4002, std::errc::invalid_argument,
         "the array has another number of columns than there are channels"},
        {kMessage + 4003, std::errc::invalid_argument, "the array has more than two dimensions"},
        {kMessage + 4004, std::errc::invalid_argument, "the value is no array"},
        {kMessage + 4005, {}, "no file is open to save to"},
        {kMessage + 4007, std::errc::invalid_argument, "the array's elements are of a type that is not taken"},
        {kMessage + 4008, std::errc::device_or_resource_busy, "the item is locked, or something refers to it"},
        {kMessage + 4009, {}, "the object's owner or document is gone"},
        {kMessage + 4010, {}, "the object does not exist"},
        {kMessage + 4011, {}, "the object could not be found"},
        {kMessage + 4013, {}, "the object was changed before it was loaded"},
        {kMessage + 4014, {}, "the file's format is not known"},
        {kMessage + 4015, std::errc::invalid_argument, "the object belongs to another document"},
        {kMessage + 4017, {}, "a fault of the library"},
        {kMessage + 4018, {}, "not all items could be removed"},
        {kMessage + 4019, std::errc::invalid_argument, "the bounds of the cache are not allowed"},
        {kMessage + 4020, {}, "the file has to be closed before the way of access can change"},
    };
};

// A failed call's status as an error code.
inline std::error_code CodeOf(HRESULT status) noexcept {
    return {static_cast<int>(status), StatusCategory::Instance()};
}

}  // namespace lumvex
