#include "interfaces/generate/printing.hpp"

#include <algorithm>

namespace lumvex::tables {

bool IsPointer(std::string_view type) { return type.ends_with('*'); }

std::string_view Pointee(std::string_view type) { return type.substr(0, type.size() - 1); }

std::string SlotName(const Slot& slot) {
    const char* prefix = slot.use == Slot::Gets ? "get_" : slot.use == Slot::Puts ? "put_" : "";
    return prefix + std::string(slot.member.name);
}

bool HasResult(const Slot& slot) { return slot.use != Slot::Puts && slot.member.kind != Kind::Action; }

bool Overloads(const Interface& owner, const Member& member) {
    if (member.kind != Kind::Method) return false;
    for (const Interface* base = FindInterface(owner.base); base; base = FindInterface(base->base))
        for (const Member& each : base->members)
            if (each.kind == Kind::Method && each.name == member.name) return true;
    return false;
}

std::string MemberPointer(const Interface& interface, const Slot& slot) {
    std::string pointer = "&" + std::string(interface.name) + "::" + SlotName(slot);
    if (!Overloads(interface, slot.member)) return pointer;
    Texts types;
    for (const Parameter& each : slot.member.parameters) types.emplace_back(each.type);
    types.push_back(std::string(slot.member.type) + "*");
    return "static_cast<HRESULT (STDMETHODCALLTYPE " + std::string(interface.name) + "::*)(" + Join(types) + ")>(" +
           pointer + ")";
}

std::string Join(const Texts& parts, std::string_view between) {
    std::string joined;
    for (const std::string& part : parts) {
        if (&part != &parts.front()) joined += between;
        joined += part;
    }
    return joined;
}

std::string Declared(const Parameter& parameter) {
    return std::string(parameter.type) + " " + std::string(parameter.name);
}

std::string WithDefaults(const std::vector<Parameter>& parameters) {
    Texts texts;
    for (const Parameter& each : parameters)
        texts.push_back(Declared(each) + (each.defaultValue.empty() ? "" : " = " + std::string(each.defaultValue)));
    return Join(texts);
}

Texts SlotParameters(const Slot& slot) {
    Texts texts;
    for (const Parameter& each : slot.member.parameters) texts.push_back(Declared(each));
    if (slot.use == Slot::Puts) texts.push_back(std::string(slot.member.type) + " newVal");
    if (HasResult(slot)) texts.push_back(std::string(slot.member.type) + "* pVal");
    return texts;
}

std::string MeaningWithUnit(const Member& member) {
    if (member.unit.empty()) return std::string(member.meaning);
    const std::size_t end = std::min(member.meaning.find_first_of(".;"), member.meaning.size());
    return std::string(member.meaning.substr(0, end)) + " (" + std::string(member.unit) + ")" +
           std::string(member.meaning.substr(end));
}

void PrintComment(std::ostream& out, std::string_view indent, std::string_view text) {
    constexpr std::size_t kColumns = 120;
    const std::size_t room = kColumns - indent.size() - 3;
    while (!text.empty()) {
        const std::size_t end = text.size() <= room ? text.size() : text.rfind(' ', room);
        out << indent << "// " << text.substr(0, end) << "\n";
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

bool IsOverloaded(const Interface& owner, const Member& member) {
    for (const Interface& each : Interfaces())
        for (const Member& other : each.members)
            if (each.base == owner.name && other.name == member.name && Overloads(each, other)) return true;
    return false;
}

// "221E94A2-1416-4C12-9F2F-8C4A9C79799E" as the initialiser of a GUID.
std::string GuidInitialiser(std::string_view text) {
    std::string digits;
    for (const char c : text)
        if (c != '-') digits += c;
    const auto hex = [&](std::size_t at, std::size_t count) { return "0x" + digits.substr(at, count); };
    Texts bytes;
    for (std::size_t at = 16; at < 32; at += 2) bytes.push_back(hex(at, 2));
    return "{" + hex(0, 8) + ", " + hex(8, 4) + ", " + hex(12, 4) + ", {" + Join(bytes) + "}}";
}

}  // namespace lumvex::tables
