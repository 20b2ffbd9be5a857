// The type library as the system reads it against the tables, the C++ interfaces and the dispatch made from the same
// tables: in the module and in the file beside it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <sstream>

#include "beside.hpp"
#include "core/objects/object.hpp"
#include "interfaces/tables.hpp"
#include "published/slots.hpp"

namespace lumvex::tests {
namespace {

// What a description says of a member or a constant, one line each.
using Lines = std::vector<std::string>;

std::string Utf8(BSTR text) { return ToUtf8(TextOf(text)); }

std::string NameOf(ITypeInfo* info, MEMBERID member = MEMBERID_NIL) {
    Bstr name;
    return SUCCEEDED(info->GetDocumentation(member, name.Out(), nullptr, nullptr, nullptr)) ? Utf8(name.get()) : "?";
}

std::string HelpOf(ITypeInfo* info, MEMBERID member = MEMBERID_NIL) {
    Bstr help;
    return SUCCEEDED(info->GetDocumentation(member, nullptr, help.Out(), nullptr, nullptr)) ? Utf8(help.get()) : "?";
}

// ---- what the library says ----

std::string TypeText(ITypeInfo* info, const TYPEDESC& type) {
    switch (type.vt) {
        case VT_PTR:
            return TypeText(info, *type.lptdesc) + "*";
        case VT_USERDEFINED: {
            Ref<ITypeInfo> named;
            return SUCCEEDED(info->GetRefTypeInfo(type.hreftype, named.Out())) ? NameOf(named.get()) : "?";
        }
        case VT_UNKNOWN:
            return "IUnknown*";
        case VT_BSTR:
            return "BSTR";
        case VT_VARIANT:
            return "VARIANT";
        case VT_DATE:
            return "DATE";
        case VT_R4:
            return "float";
        case VT_R8:
            return "double";
        case VT_I2:
            return "SHORT";
        case VT_I4:
            return "LONG";
        case VT_INT:
            return "int";
        case VT_VOID:
            return "void";
        case VT_HRESULT:
            return "HRESULT";
        default:
            return "type " + std::to_string(type.vt);
    }
}

std::string DefaultText(const PARAMDESC& parameter) {
    if ((parameter.wParamFlags & PARAMFLAG_FHASDEFAULT) == 0) return "";
    Variant value;
    const VARIANT& given = parameter.pparamdescex->varDefaultValue;
    if (FAILED(VariantChangeType(&value, const_cast<VARIANT*>(&given), 0, VT_I4))) return " = ?";
    return " = " + std::to_string(value.lVal);
}

std::string MemberText(ITypeInfo* info, const FUNCDESC& member, bool isDispatchOnly) {
    const auto parameterCount = static_cast<std::size_t>(member.cParams);
    std::vector<BSTR> names(parameterCount + 1);
    UINT named = 0;
    info->GetNames(member.memid, names.data(), static_cast<UINT>(names.size()), &named);
    std::ostringstream text;
    text << member.memid << " "
         << (member.invkind == INVOKE_PROPERTYGET   ? "get"
             : member.invkind == INVOKE_PROPERTYPUT ? "put"
                                                    : "call")
         << " " << Utf8(names[0]);
    if (!isDispatchOnly) text << " at " << member.oVft;
    text << "(";
    for (std::size_t at = 0; at < parameterCount; ++at) {
        const ELEMDESC& parameter = member.lprgelemdescParam[at];
        const USHORT flags = parameter.paramdesc.wParamFlags;
        // Values that are put have no name in a library, and a get that shares the number of a put is asked for that
        // one's.
        const bool isResult = (flags & PARAMFLAG_FRETVAL) != 0;
        const bool isValue = member.invkind == INVOKE_PROPERTYPUT && at + 1 == parameterCount;
        text << (at == 0 ? "" : ", ") << ((flags & PARAMFLAG_FIN) ? "in " : "")
             << ((flags & PARAMFLAG_FOUT) ? "out " : "") << ((flags & PARAMFLAG_FRETVAL) ? "retval " : "")
             << TypeText(info, parameter.tdesc) << " "
             << (isValue    ? "newVal"
                 : isResult ? "pVal"
                            : Utf8(names[at + 1]))
             << DefaultText(parameter.paramdesc);
    }
    text << ") -> " << TypeText(info, member.elemdescFunc.tdesc);
    for (BSTR name : names) SysFreeString(name);
    return text.str();
}

// Gets and puts share a DISPID and with it, where the system answers, one of their help texts; so these stand apart.
struct Described {
    std::string base, guid, help;
    TYPEKIND kind = TKIND_MAX;
    WORD flags = 0;
    Lines members;
    std::map<MEMBERID, std::string> helpOf;
};

Described Describe(ITypeInfo* info) {
    TYPEATTR* attributes = nullptr;
    if (FAILED(info->GetTypeAttr(&attributes))) return {};
    Described found;
    found.guid = ToUtf8(ToText(attributes->guid));
    found.help = HelpOf(info);
    found.kind = attributes->typekind;
    found.flags = attributes->wTypeFlags;
    if (attributes->cImplTypes == 1) {
        HREFTYPE reference = 0;
        Ref<ITypeInfo> base;
        if (SUCCEEDED(info->GetRefTypeOfImplType(0, &reference)) &&
            SUCCEEDED(info->GetRefTypeInfo(reference, base.Out())))
            found.base = NameOf(base.get());
    }
    for (UINT at = 0; at < attributes->cFuncs; ++at) {
        FUNCDESC* member = nullptr;
        if (FAILED(info->GetFuncDesc(at, &member))) continue;
        found.members.push_back(MemberText(info, *member, attributes->typekind == TKIND_DISPATCH));
        found.helpOf[member->memid] = HelpOf(info, member->memid);
        info->ReleaseFuncDesc(member);
    }
    for (UINT at = 0; at < attributes->cVars; ++at) {
        VARDESC* constant = nullptr;
        if (FAILED(info->GetVarDesc(at, &constant))) continue;
        found.members.push_back(NameOf(info, constant->memid) + " = " + std::to_string(constant->lpvarValue->lVal));
        info->ReleaseVarDesc(constant);
    }
    info->ReleaseTypeAttr(attributes);
    return found;
}

// ---- what the tables say ----

std::string MemberText(const tables::Slot& slot, std::optional<std::size_t> place) {
    static constexpr const char* kUses[] = {"get", "put", "call"};
    const tables::Member& member = slot.member;
    std::ostringstream text;
    text << member.id << " " << kUses[slot.use] << " " << member.name;
    if (place) text << " at " << *place * sizeof(void*);
    text << "(";
    const char* separator = "";
    for (const tables::Parameter& each : member.parameters) {
        text << separator << "in " << each.type << " " << each.name;
        if (!each.defaultValue.empty()) text << " = " << each.defaultValue;
        separator = ", ";
    }
    if (slot.use == tables::Slot::Puts)
        text << separator << "in " << member.type << " newVal";
    else if (member.kind != tables::Kind::Action)
        text << separator << "out retval " << member.type << "* pVal";
    text << ") -> HRESULT";
    return text.str();
}

std::string Braced(std::string_view id) { return "{" + std::string(id) + "}"; }

// How many slots an interface has with its bases; 7 are those of IDispatch.
std::size_t SlotCount(std::string_view name) {
    const tables::Interface* declared = tables::FindInterface(name);
    return declared ? SlotCount(declared->base) + tables::SlotsOf(*declared).size() : 7;
}

class TypeLibrary : public testing::TestWithParam<const wchar_t*> {
protected:
    void SetUp() override {
        ASSERT_EQ(LoadTypeLibEx(Beside(GetParam()).c_str(), REGKIND_NONE, library_.Out()), S_OK);
        for (UINT at = 0; at < library_->GetTypeInfoCount(); ++at) {
            Ref<ITypeInfo> info;
            ASSERT_EQ(library_->GetTypeInfo(at, info.Out()), S_OK);
            types_[NameOf(info.get())] = info;
        }
    }

    Ref<ITypeLib> library_;
    std::map<std::string, Ref<ITypeInfo>, std::less<>> types_;
};

TEST_P(TypeLibrary, IsTheOneOfTheTables) {
    const tables::Library& expected = tables::TypeLibrary();
    TLIBATTR* attributes = nullptr;
    ASSERT_EQ(library_->GetLibAttr(&attributes), S_OK);
    EXPECT_EQ(ToUtf8(ToText(attributes->guid)), Braced(expected.id));
    EXPECT_EQ(attributes->wMajorVerNum, expected.majorVersion);
    EXPECT_EQ(attributes->wMinorVerNum, expected.minorVersion);
    EXPECT_EQ(attributes->syskind, sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32);
    library_->ReleaseTLibAttr(attributes);
    Bstr name, help;
    ASSERT_EQ(library_->GetDocumentation(MEMBERID_NIL, name.Out(), help.Out(), nullptr, nullptr), S_OK);
    EXPECT_EQ(Utf8(name.get()), expected.name);
    EXPECT_EQ(Utf8(help.get()), expected.help);
    EXPECT_EQ(types_.size(),
              tables::Enumerations().size() + tables::Interfaces().size() + 1 + tables::Coclasses().size());
}

TEST_P(TypeLibrary, HasTheEnumerationsOfTheTables) {
    for (const tables::Enumeration& each : tables::Enumerations()) {
        ASSERT_TRUE(types_.contains(each.name)) << each.name;
        const Described found = Describe(types_.find(each.name)->second.get());
        EXPECT_EQ(found.kind, TKIND_ENUM) << each.name;
        EXPECT_EQ(found.help, each.help);
        Lines expected;
        for (const tables::Constant& constant : each.constants)
            expected.push_back(std::string(constant.name) + " = " + std::to_string(constant.value));
        EXPECT_EQ(found.members, expected);
    }
}

TEST_P(TypeLibrary, HasTheInterfacesOfTheTables) {
    for (const tables::Interface& each : tables::Interfaces()) {
        ASSERT_TRUE(types_.contains(each.name)) << each.name;
        // The library shows the dispatch half of a dual interface, and leads from there to the other.
        ITypeInfo* dispatch = types_.find(each.name)->second.get();
        HREFTYPE reference = 0;
        Ref<ITypeInfo> dual;
        ASSERT_EQ(dispatch->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference), S_OK) << each.name;
        ASSERT_EQ(dispatch->GetRefTypeInfo(reference, dual.Out()), S_OK) << each.name;
        EXPECT_EQ(Describe(dispatch).kind, TKIND_DISPATCH);

        const Described found = Describe(dual.get());
        EXPECT_EQ(found.kind, TKIND_INTERFACE);
        EXPECT_EQ(found.flags & (TYPEFLAG_FDUAL | TYPEFLAG_FOLEAUTOMATION), TYPEFLAG_FDUAL | TYPEFLAG_FOLEAUTOMATION);
        EXPECT_EQ(found.base, each.base) << each.name;
        EXPECT_EQ(found.guid, Braced(each.iid)) << each.name;
        EXPECT_EQ(found.help, each.help);
        Lines expected;
        std::size_t place = SlotCount(each.base);
        for (const tables::Slot& slot : tables::SlotsOf(each)) {
            const tables::Member& member = slot.member;
            expected.push_back(MemberText(slot, place++));
            const auto help = found.helpOf.find(static_cast<MEMBERID>(member.id));
            ASSERT_NE(help, found.helpOf.end()) << each.name << "." << member.name;
            EXPECT_TRUE(help->second == member.help.get || help->second == member.help.put)
                << each.name << "." << member.name << ": " << help->second;
        }
        EXPECT_EQ(found.members, expected) << each.name;
    }
}

TEST_P(TypeLibrary, HasTheEventsAndTheCreatableClasses) {
    const tables::Events& events = tables::OutgoingEvents();
    const auto outgoing = types_.find(events.name);
    ASSERT_NE(outgoing, types_.end());
    const Described found = Describe(outgoing->second.get());
    EXPECT_EQ(found.kind, TKIND_DISPATCH);
    EXPECT_EQ(found.guid, Braced(events.iid));
    EXPECT_EQ(found.help, events.help);
    Lines expected;
    for (const tables::Member& member : events.members) {
        expected.push_back(MemberText({member, tables::Slot::Calls, member.help.get}, std::nullopt));
        EXPECT_EQ(found.helpOf.at(static_cast<MEMBERID>(member.id)), member.help.get);
    }
    EXPECT_EQ(found.members, expected);

    for (const tables::Coclass& each : tables::Coclasses()) {
        ASSERT_TRUE(types_.contains(each.name)) << each.name;
        ITypeInfo* info = types_.find(each.name)->second.get();
        const Described coclass = Describe(info);
        EXPECT_EQ(coclass.kind, TKIND_COCLASS);
        EXPECT_EQ(coclass.guid, Braced(each.clsid));
        EXPECT_EQ(coclass.help, each.description);
        EXPECT_NE(coclass.flags & TYPEFLAG_FCANCREATE, 0);
        const std::pair<std::string_view, INT> offered[] = {
            {each.defaultInterface, IMPLTYPEFLAG_FDEFAULT},
            {events.name, IMPLTYPEFLAG_FDEFAULT | IMPLTYPEFLAG_FSOURCE}};
        for (UINT at = 0; at < 2; ++at) {
            HREFTYPE reference = 0;
            Ref<ITypeInfo> offeredInfo;
            INT flags = 0;
            ASSERT_EQ(info->GetRefTypeOfImplType(at, &reference), S_OK);
            ASSERT_EQ(info->GetRefTypeInfo(reference, offeredInfo.Out()), S_OK);
            ASSERT_EQ(info->GetImplTypeFlags(at, &flags), S_OK);
            EXPECT_EQ(NameOf(offeredInfo.get()), offered[at].first);
            EXPECT_EQ(flags, offered[at].second);
        }
    }
}

// Names of members and of their parameters lead to the same numbers through the library and through the objects'
// tables.
TEST_P(TypeLibrary, BindsNamesAsTheObjectsDo) {
    const auto check = [&](std::string_view name, IDispatch* object) {
        ITypeInfo* info = types_.find(name)->second.get();
        for (const tables::Interface* owner = tables::FindInterface(name); owner;
             owner = tables::FindInterface(owner->base)) {
            for (const tables::Member& member : owner->members) {
                std::vector<std::wstring> texts{std::wstring(member.name.begin(), member.name.end())};
                for (const tables::Parameter& each : member.parameters)
                    texts.emplace_back(each.name.begin(), each.name.end());
                std::vector<LPOLESTR> names;
                for (std::wstring& text : texts) names.push_back(text.data());
                std::vector<DISPID> bound(names.size(), -9), answered(names.size(), -9);
                const auto count = static_cast<UINT>(names.size());
                const HRESULT byLibrary = info->GetIDsOfNames(names.data(), count, bound.data());
                const HRESULT byObject = object->GetIDsOfNames(IID_NULL, names.data(), count, 0, answered.data());
                EXPECT_EQ(byLibrary, byObject) << name << "." << member.name;
                EXPECT_EQ(bound, answered) << name << "." << member.name;
            }
        }
    };
    for (const tables::Class& each : tables::Classes()) {
        const inside::ClassInfo* info = inside::FindClass(*ParseGuid(FromUtf8("{" + std::string(each.id) + "}")));
        check(each.interfaceName, info->create()->Dispatch());
    }
}

// A pointer to a virtual member holds where in the function table it leads, and 1 more.
struct CheckOffset {
    template <class I, class Member, class HasResult>
    void operator()(I*, Member member, std::string_view interfaceName, std::size_t place, HasResult) const {
        std::size_t raw = 0;
        std::memcpy(&raw, &member, sizeof raw);
        EXPECT_EQ(raw - 1, (SlotCount(tables::FindInterface(interfaceName)->base) + place) * sizeof(void*))
            << interfaceName;
    }
};

TEST(Slots, OfTheCppInterfacesAreThoseOfTheTables) {
    CheckOffset check;
    for (const tables::Interface& each : tables::Interfaces())
        VisitSlots(each.name, static_cast<IDispatch*>(nullptr), check);
}

INSTANTIATE_TEST_SUITE_P(Embedded, TypeLibrary, testing::Values(L"Lumvex51.dll"));
INSTANTIATE_TEST_SUITE_P(Beside, TypeLibrary, testing::Values(L"Lumvex51.tlb"));

}  // namespace
}  // namespace lumvex::tests
