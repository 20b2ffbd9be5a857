// The persistable classes as data, from the tables of the published interfaces: what each stores, what it refers to and
// what it owns. Tests that go over all classes loop over this.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "interfaces/tables.hpp"
#include "lumvex/interfaces.hpp"
#include "lumvex/values.hpp"

namespace lumvex::tests {

enum class Kind { Root, Collection, Item };

// A stored value: number, text or array; of an indexed property one for each place.
struct Property {
    DISPID id;
    std::string_view name, type;
    bool put;        // otherwise it is set by other means
    bool transient;  // for the session, not in the file
    int dimensions;  // of its indices: 0, 1, 2
    LONG counts[2] = {1, 1};
    std::size_t firstPlace = 0;

    LONG Places() const { return counts[0] * counts[1]; }
    bool IsArray() const { return type == "VARIANT"; }
    bool IsText() const { return type == "BSTR"; }
};

struct ClassTable;

// A stored reference to another item, of the document or of the library; or to the library itself.
struct ReferenceTable {
    DISPID id;
    std::string_view name;
    const ClassTable* target;
    bool put, isLink, toLibrary, mayBeEmptied;
};

struct ChildTable {
    DISPID id;
    std::string_view name;
    const ClassTable* collection;
};

struct AddParameter {
    std::string_view type;
    const ClassTable* item;  // of objects of the model
    bool isConfig, optional;
};

struct ClassTable {
    std::string name;  // "CDatum"
    std::string interfaceName;
    Kind kind;
    GUID interfaceId, classId;
    bool ofLibrary = false;  // else of a project
    bool isLink = false;
    const ClassTable* member = nullptr;  // collections
    const ClassTable* root = nullptr;
    bool canAdd = false;
    std::vector<AddParameter> add;
    std::vector<Property> properties;
    std::vector<ReferenceTable> references;
    std::vector<ChildTable> children;
    std::vector<const tables::Member*> derived;  // gets whose answer follows from the rest
    std::size_t places = 0;

    const Property* Find(std::string_view property) const {
        for (const Property& each : properties)
            if (each.name == property) return &each;
        return nullptr;
    }
};

const std::vector<ClassTable>& ClassTables();
const ClassTable& TableOf(std::string_view className);
inline const ClassTable& ProjectTable() { return TableOf("CProject"); }
inline const ClassTable& LibraryTable() { return TableOf("CSpecifications"); }

// Members that all share.
namespace member {
inline constexpr DISPID kName = 0x00, kTimestamp = 0x25, kID = 0x2a, kLocks = 0x45, kFindID = 0x21, kCanCopy = 0x52,
                        kCopyNoChildren = 0x53, kCopyWithParents = 0x54, kCopy = 0x55, kCopyContents = 0x63,
                        kParentBase = 0x37, kRootBase = 0x2e, kDisplayName = 0x38, kFQName = 0x40, kLinkDispatch = 0x3f,
                        kDescendants = 0x2b, kDependents = 0x46, kNewEnum = -4, kCount = 0x1e, kRemove = 0x1f,
                        kFindName = 0x20, kFindNameExact = 0x3e, kNameExists = 0x50, kRemoveAll = 0x22, kItem = 0x23,
                        kAdd = 0x24, kParent = 0x28, kRoot = 0x29, kOpenFile = 0x2f, kSaveFile = 0x30,
                        kCloseFile = 0x3d, kSaveFileAs = 0x31, kAccessMode = 0x3c, kSafeArrayType = 0x32,
                        kModified = 0x2c, kSetCacheBounds = 0x33, kLoad = 0x51, kSpecifications = 0x04, kConfigs = 0x07,
                        kLibraryConfigs = 0x02, kConfigID = 0x56;
}  // namespace member

}  // namespace lumvex::tests
