#include "command_line/status_text.hpp"

#include <algorithm>

namespace lumvex::app {

std::string Describe(const Error& error) {
    // The engine's own texts give numbers for whoever looks for the cause.
    constexpr HRESULT kFacility = 0x1FFF0000, kStorage = 0x00030000;
    const bool isStorage = (error.Status() & kFacility) == kStorage || error.Status() == E_OUTOFMEMORY;
    std::string text = Error(error.Status(), isStorage ? error.Code().message() : error.Words()).what();
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

}  // namespace lumvex::app
