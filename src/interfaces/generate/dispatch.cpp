// The rows by which late binding finds and calls the members of an interface.
#include <algorithm>

#include "interfaces/generate/printing.hpp"

namespace lumvex::tables {

namespace {

std::string RowParameters(const Slot& slot) {
    Texts texts;
    for (const Parameter& each : slot.member.parameters)
        texts.push_back("{u\"" + std::string(each.name) + "\"" +
                        (each.defaultValue.empty() ? "" : ", true, " + std::string(each.defaultValue)) + "}");
    if (slot.use == Slot::Puts) texts.push_back("{u\"newVal\"}");
    return "{" + Join(texts) + "}";
}

// How many members an interface has with its bases, and how many DISPIDs from 0 on.
struct Extent {
    std::size_t rows = 0;
    long ids = 0;
};

Extent ExtentOf(std::string_view name) {
    const Interface* interface = FindInterface(name);
    if (!interface) return {};
    Extent extent = ExtentOf(interface->base);
    extent.rows += SlotsOf(*interface).size();
    for (const Member& each : interface->members) extent.ids = std::max(extent.ids, each.id + 1);
    return extent;
}

}  // namespace

void PrintDispatch(std::ostream& out, const Interface& interface) {
    static constexpr const char* kKinds[] = {"DISPATCH_PROPERTYGET", "DISPATCH_PROPERTYPUT", "DISPATCH_METHOD"};
    const Extent extent = ExtentOf(interface.name);
    out << "// Late binding of " << interface.name
        << ". Printed from the interface tables.\n#include \"interfaces/dispatch.hpp\"\n\nnamespace lumvex::inside "
           "{\n\n"
        << (interface.base == "IDispatch" ? ""
                                          : "template <>\nconst DispatchTable& DispatchTable::Of<::" +
                                                std::string(interface.base) + ">() noexcept;\n\n")
        << "template <>\nconst DispatchTable& DispatchTable::Of<::" << interface.name << ">() noexcept {\n"
        << "    static constexpr DispatchRow kRows[] = {\n";
    for (const Slot& slot : SlotsOf(interface)) {
        const std::string caller = "Caller<" + MemberPointer(interface, slot) + ", " +
                                   (HasResult(slot) ? "true" : "false") + ", " +
                                   (HasResult(slot) && slot.member.type == "DATE" ? "true" : "false") + ">";
        out << "        {" << slot.member.id << ", u\"" << slot.member.name << "\", " << kKinds[slot.use] << ", "
            << RowParameters(slot) << ",\n         &" << caller << "::Call";
        if (slot.use == Slot::Gets) out << ",\n         " << caller << "::PlainGetOf()";
        out << "},\n";
    }
    out << "    };\n    static const DispatchTableOf<" << extent.rows << ", " << extent.ids << "> table("
        << (interface.base == "IDispatch" ? "nullptr" : "&DispatchTable::Of<::" + std::string(interface.base) + ">()")
        << ", kRows);\n    static_assert(std::is_trivially_destructible_v<decltype(table)>);\n    return table;\n}\n\n"
        << "}  // namespace lumvex::inside\n";
}

}  // namespace lumvex::tables
