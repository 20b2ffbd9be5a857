// The rows of the table that is printed for Python (made/python/classes.hpp): how what is published is called there.
#pragma once

#include <span>

#include "lumvex/members.hpp"

namespace lumvex::python {

struct PublishedMember {
    const char* name;       // "mic_serial_no"; empty for what Python has a notation for, as doc[...] and len()
    const char* docstring;  // meaning, unit and type
    const MemberDescription& described;
    std::span<const char* const> parameters;  // the names of its arguments
    bool isTruth;                             // a number that is True or False
};

struct PublishedClass {
    const char* name;  // "Measurement"
    const InterfaceDescription& interfaceDescribed;
    std::span<const PublishedMember> members;  // its own
};

struct PublishedValue {
    const char* name;  // "MIN_DELAY"
    long value;
};

struct PublishedEnumeration {
    const EnumerationDescription& described;
    std::span<const PublishedValue> values;
};

}  // namespace lumvex::python
