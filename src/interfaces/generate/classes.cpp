// The registry: a source for each class, which makes its row, and one that lists them all.
#include "interfaces/generate/printing.hpp"

namespace lumvex::tables {

void PrintClass(std::ostream& out, const Class& row) {
    static constexpr const char* kMakers[] = {"RootInfo", "CollectionInfo", "ItemInfo"};
    const std::string name(row.name);
    out << "// How the registry knows " << name << ". Printed from the class list.\n#include \"" << row.folder << "/"
        << name.substr(1) << ".hpp\"\n#include \"model/class_row.hpp\"\n#include \"published/" << row.interfaceName
        << ".hpp\"\n#include \"published/classes.hpp\"\n\nnamespace lumvex::inside {\n\n";
    out << "template <>\nconst ClassInfo& ClassOf<" << name
        << ">() noexcept {\n    static const ClassInfo info = " << kMakers[row.kind] << "<" << name << ", "
        << row.interfaceName << (row.kind == Class::Collection ? ", " + std::string(row.member) : "")
        << ">(\n        u\"" << name << "\", " << GuidInitialiser(row.id);
    if (row.kind == Class::Collection) out << ", u\"" << row.title << "\"";
    out << ");\n    return info;\n}\n\n}  // namespace lumvex::inside\n";
}

void PrintClassList(std::ostream& out) {
    out << "// All classes of the model, in the order of the class list. Printed from it.\n#pragma once\n\n"
           "#include <array>\n\n#include \"core/objects/class_info.hpp\"\n\nnamespace lumvex::inside {\n\n";
    for (const Class& each : Classes()) out << "class " << each.name << ";\n";
    out << "\n";
    for (const Class& each : Classes())
        out << "template <>\nconst ClassInfo& ClassOf<" << each.name << ">() noexcept;\n";
    out << "\ninline std::array<const ClassInfo*, " << Classes().size()
        << "> ListOfClasses() noexcept {\n    return {\n";
    for (const Class& each : Classes()) out << "        &ClassOf<" << each.name << ">(),\n";
    out << "    };\n}\n\n}  // namespace lumvex::inside\n";
}

}  // namespace lumvex::tables
