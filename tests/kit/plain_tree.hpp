// The plain copy of a document: what it has to contain, as a tree that knows nothing of how documents are kept.
#pragma once

#include <bit>
#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "kit/class_tables.hpp"
#include "kit/late_calls.hpp"

namespace lumvex::tests {

// The document is not what the plain copy says.
struct Wrong : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct ArrayContent {
    VARTYPE type = VT_EMPTY;
    struct Bound {
        LONG lower;
        ULONG count;
        bool operator==(const Bound&) const = default;
    };
    std::vector<Bound> bounds;
    std::vector<std::byte> bytes;
    bool operator==(const ArrayContent&) const = default;
};

struct Value {
    double number = 0;
    std::shared_ptr<const std::u16string> text;
    std::shared_ptr<const ArrayContent> array;

    static Value Number(double number) { return {number, nullptr, nullptr}; }
    static Value Text(std::u16string text) {
        return {0, std::make_shared<const std::u16string>(std::move(text)), nullptr};
    }
    std::u16string_view AsText() const { return text ? std::u16string_view(*text) : std::u16string_view(); }
    friend bool operator==(const Value& left, const Value& right) {
        if (std::bit_cast<std::uint64_t>(left.number) != std::bit_cast<std::uint64_t>(right.number)) return false;
        if (left.AsText() != right.AsText()) return false;
        if (left.array == right.array) return true;
        return left.array && right.array && *left.array == *right.array;
    }
};

// What a get answered. An array of another element type than the stored one is brought back to it.
Value ValueOf(const VARIANT& variant);
// The caller's array that a put stores as `content`, handed over in elements of `type`.
Variant ArrayVariant(const ArrayContent& content, VARTYPE type);
std::string Shown(const Value& value);

struct Node;

// At most one of them.
struct Target {
    Node* item = nullptr;      // of the same document; it may have been removed since
    std::u16string libraryId;  // of the library
    bool unknown = false;      // which of the library: it was read where the library was not to be had
};

struct Node {
    const ClassTable* table = nullptr;
    Node* owner = nullptr;
    bool alive = true;
    std::u16string id;  // empty: not known yet
    std::u16string name;
    double timestamp = 0;
    bool timestampKnown = true;
    LONG locks = 0;
    std::vector<Value> values;       // by place
    std::vector<Target> references;  // by the class's references
    std::vector<Node*> below;        // members, or the child collections in the order of the class's table

    bool IsItem() const { return table->kind == Kind::Item; }
    bool IsCollection() const { return table->kind == Kind::Collection; }
    std::size_t Place() const;  // among the owner's
    Node* Child(std::string_view name) const;
    Value& At(std::string_view property, LONG place = 0) {
        return values[table->Find(property)->firstPlace + static_cast<std::size_t>(place)];
    }
    const Value& At(std::string_view property, LONG place = 0) const {
        return const_cast<Node*>(this)->At(property, place);
    }
};

// Owns its nodes, removed ones too.
class Tree {
public:
    explicit Tree(const ClassTable& rootClass);

    Node* root;

    // A node with the values of a new object, and what comes with one below it.
    Node* Make(const ClassTable& table, Node* owner);
    // A copy of another tree's node and all below; references inside it follow, others are as `outside` says.
    template <class Outside>
    Node* Clone(const Node& source, Node* owner, bool withChildren, Outside outside) {
        std::map<const Node*, Node*> copies;
        Node* copy = CloneOne(source, owner, withChildren, copies);
        for (const auto& [from, to] : copies)
            for (std::size_t at = 0; at < to->references.size(); ++at) {
                const Node* target = from->references[at].item;
                if (!target) continue;
                const auto inside = copies.find(target);
                to->references[at].item = inside != copies.end() ? inside->second : outside(target);
            }
        return copy;
    }
    // What a file holds after this was saved: IDs kept, references to what was removed are none.
    std::unique_ptr<Tree> Saved() const;
    // Takes an item out of its collection, with all below.
    static void Remove(Node& item);
    static void Bury(Node& node);

private:
    Tree() = default;
    Node* New(const ClassTable& table, Node* owner);
    Node* CloneOne(const Node& source, Node* owner, bool withChildren, std::map<const Node*, Node*>& copies);

    std::vector<std::unique_ptr<Node>> nodes_;
};

template <class Visit>
void ForEach(Node& node, Visit visit) {
    visit(node);
    for (Node* below : node.below) ForEach(*below, visit);
}

// How an object is compared with its plain copy.
struct Reading {
    bool live = true;  // the document that is being changed: IDs not known yet are learned
    const std::set<std::u16string>* library = nullptr;  // the IDs that references into it find, when that is known
    bool bounds = true;                                 // are arrays answered with their bounds
};

void Compare(Node& node, IDispatch* object, const Reading& reading);
// The document as it is, without knowing what it should be.
std::unique_ptr<Tree> ReadTree(const ClassTable& rootClass, IDispatch* root);

// Is anything below it locked against removal?
bool LockedBelow(const Node& node);

std::string StatusText(HRESULT status);
std::u16string IdOf(IDispatch* object);
std::string PathOf(const Node& node);
Value GetPlace(IDispatch* object, const Property& property, LONG place);

// What a new object of a class holds, taken from the first one that a fresh document makes.
void SetDefaults(const ClassTable& table, const Node& sample);

}  // namespace lumvex::tests
