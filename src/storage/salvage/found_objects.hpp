// Finds the objects of a document in a file that may be damaged, and works out which is which: by the names of their
// streams where a directory entry has them, else by their content and by what refers to them.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/base/guid_order.hpp"
#include "lumvex/maintenance.hpp"
#include "storage/records/table_rows.hpp"
#include "storage/salvage/class_graph.hpp"
#include "storage/salvage/salvaged_source.hpp"

namespace lumvex::inside {

struct FoundObject {
    GUID id{};
    const ClassInfo* info = nullptr;
    std::shared_ptr<const SalvagedSource> source;  // null: an object that is made anew
    std::uint64_t understood = 0;                  // bytes of its record, where all of it could be read
    bool isWhole = false;                          // the record was read from its beginning to its end
    bool hasNameOnly = false;                      // no more of the record than date and name can be used
    // How certain the place of its record is: the tables of the last state say it; the directory of the last state has
    // the object; nothing of that.
    enum class Trust { None, Listed, Certain } trust = Trust::None;
    bool isMatched = false;  // its ID was told by what other objects are missing
    bool hasRival = false;   // other directory entries or ways lead to other records of it, or may do
    std::vector<std::unique_ptr<FoundObject>> rivals;        // these records, as far as they are whole
    std::vector<std::unique_ptr<FoundObject>> otherClasses;  // the same bytes as items of other classes, as likely
    int certainty = 0;    // of one without a directory entry: what speaks for its length
    int doubt = 0;        // the same: what speaks against its end
    std::u16string name;  // of an item

    // What the record refers to: child collections of an item or a root, members of a collection; other items.
    struct Below {
        Reference reference;
        const ClassInfo* info;
    };
    std::vector<Below> below;
    struct Target {
        GUID id;
        const ClassInfo* info;
    };
    std::vector<Target> targets;
};

// An object that was read with the fields of a class; `object` has what could be read.
struct ReadAttempt {
    Ref<Object> object;
    std::uint64_t bytes = 0;  // that were understood
    bool isRead = false;      // the record could be read to its end
};
ReadAttempt ReadAs(const ClassInfo& info, const GUID& id, const std::shared_ptr<const ByteSource>& source);

// A candidate for what an object's stream is.
std::unique_ptr<FoundObject> ReadCandidate(const ClassInfo& info, const GUID& id,
                                           const std::shared_ptr<const SalvagedSource>& source);

// What an object's fields refer to, and an item's name, put into `found`.
void NoteReferences(FoundObject& found, Object& object);

struct FoundDocument {
    const ClassInfo* rootClass = nullptr;
    Reference root;          // its ID and tag
    Ref<Object> rootObject;  // null: its record is lost
    std::vector<std::unique_ptr<FoundObject>> objects;
    std::vector<std::unique_ptr<FoundObject>> unnamed;  // whose ID nothing tells
    std::map<GUID, DirectoryRow, GuidLess> rows;
    std::vector<LockRow> locks;
    std::shared_ptr<const SalvagedSource> settings;
    struct Other {
        std::u16string name;
        std::shared_ptr<const SalvagedSource> source;
    };
    std::vector<Other> others;  // other programs' streams
    // Objects that the document had and that were not found, with their classes.
    std::map<GUID, const ClassInfo*, GuidLess> missing;
};

// Throws Failure where the file holds nothing of a document. `losses` gets what is known to be lost so far.
// `likelyRoot`: the kind of document where nothing in the file tells it; null: any.
FoundDocument FindObjects(compound::File& file, const ClassGraph& graph, const ClassInfo* likelyRoot,
                          std::vector<DocumentProblem>& losses, const Progress& progress);

// For reports: which object, and that the end of its record is lost.
std::string Described(const ClassInfo& info, const GUID& id, std::u16string_view name);
std::string CutText(std::uint64_t lost, std::uint64_t size);

}  // namespace lumvex::inside
