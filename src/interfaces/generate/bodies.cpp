// The methods between each published interface and the class behind it. Every one enters the guard, checks its
// pointers, clears its result, calls the plain member of the same name (or the field, which knows what a put means) and
// turns the answer into what crosses the boundary. Those of a shared base lead to functions that are compiled once for
// all classes.
#include "interfaces/generate/printing.hpp"

namespace lumvex::tables {

namespace {

// How a published argument is given to a plain member.
std::string Inside(std::string_view type, std::string_view name) {
    return type == "BSTR" ? "TextOf(" + std::string(name) + ")" : std::string(name);
}

Texts Inside(const std::vector<Parameter>& parameters) {
    Texts texts;
    for (const Parameter& each : parameters) texts.push_back(Inside(each.type, each.name));
    return texts;
}

Texts operator+(Texts texts, std::string last) {
    texts.push_back(std::move(last));
    return texts;
}

Texts ArgumentNames(const Slot& slot) {
    Texts names;
    for (const Parameter& each : slot.member.parameters) names.emplace_back(each.name);
    if (slot.use == Slot::Puts) names.emplace_back("newVal");
    if (HasResult(slot)) names.emplace_back("pVal");
    return names;
}

// Texts and objects that a method needs.
void PrintMissing(std::ostream& out, std::string_view indent, const Member& member) {
    for (const Parameter& each : member.parameters)
        if (each.defaultValue.empty() && (IsPointer(each.type) || each.type == "BSTR"))
            out << indent << "if (!" << each.name << ") return MissingPointer();\n";
}

const char* ResultCheckOf(const Member& member) {
    return member.access & OwnersFirst ? "OwnersFirst" : member.access & NullIsInvalid ? "Argument" : "Pointer";
}

// A field is told from a member function by what it can do.
void PrintGet(std::ostream& out, const Member& member) {
    const Texts arguments = Inside(member.parameters);
    const std::string field = "self." + std::string(member.name) + ".Get(" + Join(arguments + "self") + ")";
    out << "        return Got<ResultCheck::" << ResultCheckOf(member) << ">(self, pVal, [&]() -> decltype(auto) {\n"
        << "            if constexpr (requires { " << field << "; })\n"
        << "                return " << field << ";\n"
        << "            else\n"
        << "                return self." << member.name << "(" << Join(arguments) << ");\n"
        << "        });\n";
}

void PrintPut(std::ostream& out, const Member& member) {
    const Texts arguments = Inside(member.parameters) + Inside(member.type, "newVal");
    const std::string field = "self." + std::string(member.name) + ".Put(" + Join(arguments + "self") + ")";
    out << "        return Done(Class::kErrorSource, [&] {\n"
        << "            if constexpr (requires { " << field << "; })\n"
        << "                " << field << ";\n"
        << "            else\n"
        << "                self." << member.name << "(" << Join(arguments) << ");\n"
        << "        });\n";
}

void PrintCall(std::ostream& out, std::string_view indent, const Member& member, std::string_view source) {
    const std::string call = "self." + std::string(member.name) + "(" + Join(Inside(member.parameters)) + ")";
    if (member.kind == Kind::Method) {
        out << indent << "if (!pVal) return MissingPointer();\n" << indent << "Clear(pVal);\n";
    }
    PrintMissing(out, indent, member);
    if (member.kind == Kind::Action)
        out << indent << "return Done(" << source << ", [&] { " << call << "; });\n";
    else
        out << indent << "return " << (member.kind == Kind::Test ? "Tested(" : "Answered(") << source
            << ", pVal, [&] { return " << call << "; });\n";
}

void PrintBody(std::ostream& out, const Slot& slot) {
    out << "        Class& self = *this;\n";
    if (slot.use == Slot::Gets)
        PrintGet(out, slot.member);
    else if (slot.use == Slot::Puts)
        PrintPut(out, slot.member);
    else
        PrintCall(out, "        ", slot.member, "Class::kErrorSource");
}

const BaseClass* BaseClassOf(std::string_view interface) {
    for (const BaseClass& each : BaseClasses())
        if (each.interfaceName == interface) return &each;
    return nullptr;
}

void PrintCalls(std::ostream& out, const Interface& interface, const BaseClass& plain) {
    out << "class " << plain.name << ";\n\n// Compiled once; the bodies of all classes lead here.\nstruct "
        << interface.name << "Calls {\n";
    for (const Slot& slot : SlotsOf(interface)) {
        Texts parameters = SlotParameters(slot);
        parameters.insert(parameters.begin(), std::string(plain.name) + "& self");
        out << "    static HRESULT " << SlotName(slot) << "(" << Join(parameters) << ") noexcept;\n";
    }
    out << "};\n\n";
}

}  // namespace

void PrintBodies(std::ostream& out, const Interface& interface) {
    const std::string name(interface.name), base(interface.base);
    const BaseClass* plain = BaseClassOf(name);
    out << "// The methods between " << name
        << " and the class behind it. Printed from the interface tables.\n#pragma once\n\n"
        << (base == "IDispatch" ? "#include \"core/published/dispatch_body.hpp\"\n"
                                : "#include \"published/" + base + ".hpp\"\n")
        << "\nnamespace lumvex::inside {\n\n";
    if (plain) PrintCalls(out, interface, *plain);
    out << "template <class Class, class Most>\nclass " << name << "Body : public " << base << "Body<Class, Most> {\n"
        << "    using Base = " << base << "Body<Class, Most>;\n\nprotected:\n"
        << "    static bool Offers(REFIID iid) noexcept { return IsEqualGUID(iid, kIidOf<::" << name
        << ">) || Base::Offers(iid); }\n\npublic:\n";
    for (const Slot& slot : SlotsOf(interface)) {
        // What Most declares under the same name with other parameters stays visible.
        if (Overloads(interface, slot.member)) out << "    using Base::" << slot.member.name << ";\n";
        if (IsOverloaded(interface, slot.member)) out << "    using Most::" << slot.member.name << ";\n";
        out << "    HRESULT STDMETHODCALLTYPE " << SlotName(slot) << "(" << Join(SlotParameters(slot))
            << ") override {\n";
        if (plain) {
            Texts arguments = ArgumentNames(slot);
            arguments.insert(arguments.begin(), "*this");
            out << "        return " << name << "Calls::" << SlotName(slot) << "(" << Join(arguments) << ");\n";
        } else {
            PrintBody(out, slot);
        }
        out << "    }\n";
    }
    out << "};\n\n";
    if (!plain)
        out << "template <>\nstruct BodyFor<::" << name << "> {\n    template <class Class>\n    using On = " << name
            << "Body<Class, ::" << name << ">;\n};\n\n";
    out << "}  // namespace lumvex::inside\n";
}

void PrintSharedCalls(std::ostream& out, const BaseClass& plain) {
    const Interface& interface = *FindInterface(plain.interfaceName);
    out << "// The methods of " << interface.name << " for all classes. Printed from the interface tables.\n#include \""
        << plain.header << "\"\n#include \"core/published/boundary.hpp\"\n#include \"published/" << interface.name
        << ".hpp\"\n\nnamespace lumvex::inside {\n\n";
    for (const Slot& slot : SlotsOf(interface)) {
        const Member& member = slot.member;
        Texts parameters = SlotParameters(slot);
        parameters.insert(parameters.begin(), std::string(plain.name) + "& self");
        out << "HRESULT " << interface.name << "Calls::" << SlotName(slot) << "(" << Join(parameters)
            << ") noexcept {\n";
        if (slot.use == Slot::Gets)
            out << "    return Answered(self.ErrorSource(), pVal, [&] { return self." << member.name << "("
                << Join(Inside(member.parameters)) << "); });\n";
        else if (slot.use == Slot::Puts)
            out << "    return Done(self.ErrorSource(), [&] { self." << member.name << "("
                << Join(Inside(member.parameters) + Inside(member.type, "newVal")) << "); });\n";
        else
            PrintCall(out, "    ", member, "self.ErrorSource()");
        out << "}\n\n";
    }
    out << "}  // namespace lumvex::inside\n";
}

}  // namespace lumvex::tables
