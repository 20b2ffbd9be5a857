#include "status_text.hpp"

#include <algorithm>
#include <cstdint>
#include <iomanip>
#include <sstream>

namespace lumvex::app {

namespace {

// Words for the statuses that the storage system returns without a text. Null for any other status.
const char* WordsOf(HRESULT status) {
    switch (status) {
        case STG_E_FILENOTFOUND:
            return "there is no such file";
        case STG_E_PATHNOTFOUND:
            return "there is no such folder";
        case STG_E_TOOMANYOPENFILES:
            return "too many files are open";
        case STG_E_ACCESSDENIED:
            return "permission denied";
        case STG_E_INSUFFICIENTMEMORY:
        case E_OUTOFMEMORY:
            return "out of memory";
        case STG_E_WRITEFAULT:
            return "the file cannot be written";
        case STG_E_READFAULT:
            return "the file cannot be read, or something is missing from it";
        case STG_E_SHAREVIOLATION:
            return "another program has the file open";
        case STG_E_FILEALREADYEXISTS:
            return "it is no compound file";
        case STG_E_MEDIUMFULL:
            return "the disk is full";
        case STG_E_INVALIDHEADER:
            return "the header of the file is damaged";
        case STG_E_INVALIDNAME:
            return "the name is too long or not allowed";
        case STG_E_DOCFILECORRUPT:
            return "the file is damaged";
        default:
            return nullptr;
    }
}

}  // namespace

std::string StatusText(HRESULT status) {
    std::ostringstream text;
    text << "status 0x" << std::uppercase << std::hex << std::setw(8) << std::setfill('0')
         << static_cast<std::uint32_t>(status);
    return text.str();
}

std::string Describe(const Error& error) {
    const char* words = WordsOf(error.Status());
    std::string text = words ? words : error.what();
    std::replace(text.begin(), text.end(), '\n', ' ');
    const std::string status = StatusText(error.Status());
    return text == status ? text : text + " (" + status + ")";
}

}  // namespace lumvex::app
