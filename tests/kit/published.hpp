// What the tests of the model share: failing calls with what they leave behind, arrays and their content.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "core/base/strings.hpp"
#include "core/objects/object.hpp"
#include "lumvex/lumvex.hpp"

namespace lumvex::tests {

// ---- failures ----

struct ErrorInformation {
    bool present = false;
    std::u16string source, description;
};

// The calling thread's error information; reading it clears it.
inline ErrorInformation TakeErrorInfo() {
    Ref<IErrorInfo> info;
    if (GetErrorInfo(0, info.Out()) != S_OK || !info) return {};
    Bstr source, description;
    info->GetSource(source.Out());
    info->GetDescription(description.Out());
    return {true, std::u16string(source.view()), std::u16string(description.view())};
}

inline std::string InHex(HRESULT status) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(status));
    return text;
}

constexpr HRESULT Status(unsigned code) { return static_cast<HRESULT>(code); }

// The call failed with a message of the table: its status and its text. Items report without a source, a root with the
// name of its class.
inline ::testing::AssertionResult FailsWith(int message, HRESULT status, std::u16string_view source = {}) {
    const ErrorInformation told = TakeErrorInfo();
    if (status != Status(0x80040000u + static_cast<unsigned>(message)))
        return ::testing::AssertionFailure() << "the status is " << InHex(status) << ", not message " << message;
    if (told.description != inside::StringOf(message))
        return ::testing::AssertionFailure() << "the text is \"" << ToUtf8(told.description) << "\"";
    if (told.source != source)
        return ::testing::AssertionFailure() << "the source is \"" << ToUtf8(told.source) << "\"";
    return ::testing::AssertionSuccess();
}

inline constexpr HRESULT kOrphaned = Status(0x80040FA9);

inline bool IsModified(const Root& root) { return root.Modified(); }

inline constexpr std::u16string_view kProject = u"Lumvex-Dev.Project.1";

// The call failed with a bare status.
inline ::testing::AssertionResult FailsBare(HRESULT expected, HRESULT status) {
    const ErrorInformation told = TakeErrorInfo();
    if (status != expected)
        return ::testing::AssertionFailure() << "the status is " << InHex(status) << ", not " << InHex(expected);
    if (told.present) return ::testing::AssertionFailure() << "it leaves \"" << ToUtf8(told.description) << "\"";
    return ::testing::AssertionSuccess();
}

// ---- arrays ----

// An array variant's type, bounds and elements, as numbers in memory order.
struct Content {
    VARTYPE type = VT_EMPTY;
    std::vector<LONG> lower;
    std::vector<ULONG> count;
    std::vector<double> values;
    bool operator==(const Content&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Content& content) {
    out << "type " << content.type;
    for (std::size_t at = 0; at < content.count.size(); ++at)
        out << " [" << content.lower[at] << " +" << content.count[at] << "]";
    for (std::size_t at = 0; at < std::min<std::size_t>(content.values.size(), 16); ++at)
        out << " " << content.values[at];
    return out;
}

inline double NumberOf(const VARIANT& element) {
    switch (element.vt) {
        case VT_R4:
            return element.fltVal;
        case VT_R8:
            return element.dblVal;
        case VT_I4:
            return element.lVal;
        default:
            ADD_FAILURE() << "an element of type " << element.vt;
            return -1;
    }
}

inline Content ContentOf(const VARIANT& value) {
    Content content{static_cast<VARTYPE>(value.vt & ~VT_ARRAY), {}, {}, {}};
    if ((value.vt & VT_ARRAY) == 0) return content;
    std::size_t total = 1;
    for (UINT dimension = 1; dimension <= SafeArrayGetDim(value.parray); ++dimension) {
        LONG lower = 0, upper = 0;
        EXPECT_EQ(SafeArrayGetLBound(value.parray, dimension, &lower), S_OK);
        EXPECT_EQ(SafeArrayGetUBound(value.parray, dimension, &upper), S_OK);
        content.lower.push_back(lower);
        content.count.push_back(static_cast<ULONG>(std::int64_t{upper} - lower + 1));
        total *= content.count.back();
    }
    void* data = nullptr;
    EXPECT_EQ(SafeArrayAccessData(value.parray, &data), S_OK);
    SafeArrayUnaccessData(value.parray);  // at once: a locked array outlives its owner when what follows throws
    for (std::size_t at = 0; at < total; ++at) {
        switch (content.type) {
            case VT_R4:
                content.values.push_back(static_cast<const float*>(data)[at]);
                break;
            case VT_R8:
                content.values.push_back(static_cast<const double*>(data)[at]);
                break;
            case VT_I4:
                content.values.push_back(static_cast<const LONG*>(data)[at]);
                break;
            case VT_UI1:
                content.values.push_back(static_cast<const BYTE*>(data)[at]);
                break;
            case VT_VARIANT:
                EXPECT_EQ(static_cast<const VARIANT*>(data)[at].vt, VT_R4);
                content.values.push_back(NumberOf(static_cast<const VARIANT*>(data)[at]));
                break;
            default:
                ADD_FAILURE() << "an array of type " << content.type;
                return content;
        }
    }
    return content;
}

// An array of `values` in memory order; T is the element as it lies in memory.
template <class T>
Variant ArrayOf(VARTYPE type, std::vector<SAFEARRAYBOUND> bounds, const std::vector<T>& values) {
    SAFEARRAY* array = SafeArrayCreate(type, static_cast<UINT>(bounds.size()), bounds.data());
    if (!array) throw std::bad_alloc();
    Variant made = Variant::FromArray(type, array);
    std::size_t total = 1;
    for (const SAFEARRAYBOUND& bound : bounds) total *= bound.cElements;
    EXPECT_EQ(total, values.size());
    EXPECT_EQ(SafeArrayGetElemsize(array), sizeof(T));
    if (!values.empty()) std::memcpy(array->pvData, values.data(), values.size() * sizeof(T));
    return made;
}

// One dimension from 0 on.
inline Variant Floats(const std::vector<float>& values) {
    return ArrayOf(VT_R4, {{static_cast<ULONG>(values.size()), 0}}, values);
}

inline Content FloatContent(std::vector<double> values) {
    return {VT_R4, {0}, {static_cast<ULONG>(values.size())}, std::move(values)};
}

}  // namespace lumvex::tests
