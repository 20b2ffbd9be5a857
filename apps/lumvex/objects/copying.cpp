#include "objects/copying.hpp"

#include "files/file_error.hpp"
#include "objects/properties.hpp"

namespace lumvex::app {

namespace {

Node Copied(const Node& original, std::string_view method, const Node& into) {
    const Variant argument = Variant::FromDispatch(into.Pointer());
    const Variant copy = original.Call(*original.Type().Find(method), argument);
    return copy.vt == VT_DISPATCH && copy.pdispVal ? Node(Object(Ref<IDispatch>(copy.pdispVal)), original.Type())
                                                   : Node();
}

void Put(const Node& object, const MemberDescription& property, const Node& target) {
    object.Put(property, {}, Variant::FromDispatch(target.Pointer()));
}

// References to objects with an ID.
bool LeadsToObject(const MemberDescription& property) {
    return IsReference(property) && FindClassDescription(property.objectInterface->name);
}

// The properties that refer to other objects and that can be put.
std::vector<const MemberDescription*> ReferencesOf(const InterfaceDescription& type) {
    std::vector<const MemberDescription*> references = ContentOf(type);
    std::erase_if(references, [](const MemberDescription* each) { return !LeadsToObject(*each); });
    return references;
}

// Those that are what they were made with: a speaker's model.
std::vector<const MemberDescription*> FixedReferencesOf(const InterfaceDescription& type) {
    std::vector<const MemberDescription*> references = ShownProperties(type);
    std::erase_if(references, [](const MemberDescription* each) {
        return each->use == MemberUse::ReadWrite || !LeadsToObject(*each);
    });
    return references;
}

// The property in which a project has its library; null for a library itself.
const MemberDescription* LibraryOf(const Node& root) {
    for (const MemberDescription* each : ReferencesOf(root.Type()))
        if (FindClassDescription(each->objectInterface->name)->kind == Kind::Root) return each;
    return nullptr;
}

}  // namespace

Node Copier::Into(const Node& original, const Node& collection) {
    Node copy = Copied(original, "Copy", collection);
    Remember(original, copy);
    return copy;
}

Node Copier::WithParents(const Node& original) {
    LinkLibrary(original.Root());
    Node copy = Copied(original, "CopyWithParents", to_);
    Remember(original, copy);
    return copy;
}

void Copier::Contents(const Node& original, const Node& existing) {
    LinkLibrary(original.Root());
    Copied(original, "CopyContents", existing);
    Remember(original, existing);
}

// Speakers, and what belongs to them, need the library that their models are in.
void Copier::LinkLibrary(const Node& from) {
    const MemberDescription* property = LibraryOf(to_);
    if (!property || &from.Type() != &to_.Type() || to_.Follow(*property)) return;
    if (const Node library = from.Follow(*property)) Put(to_, *property, library);
}

void Copier::Remember(const Node& original, const Node& copy) {
    for (auto& [from, to] : PairsOf(original, copy)) {
        copies_[from.Id()] = to;
        pairs_.emplace_back(std::move(from), std::move(to));
    }
}

Node Copier::CounterpartOf(const Node& original) { return Counterpart(original, to_); }

Node Copier::Counterpart(const Node& original, const Node& root) {
    const MemberDescription& load = *root.Type().Find("Load");
    try {
        const Variant loaded = root.Call(load, Variant::FromText(original.Id()));
        if (loaded.vt == VT_DISPATCH && loaded.pdispVal) {
            Node found{Object(Ref<IDispatch>(loaded.pdispVal))};
            if (&found.Type() == &original.Type()) return found;
        }
    } catch (const Error&) {  // the document does not have the ID
    }
    try {
        const Addresses addresses({}, root, Addresses::Names::Whole);
        for (const Node& found : addresses.FindAll(fromPaths_.Of(original)))  // of one name the first
            if (&found.Type() == &original.Type()) return found;
    } catch (const FileError&) {  // nor anything at the address
    }
    return {};
}

Node Copier::CopyOf(const Node& target) {
    const auto copied = copies_.find(target.Id());
    if (copied != copies_.end()) return copied->second;
    if (!IsOfLibrary(target)) return CounterpartOf(target);
    if (IsAtHome(target)) return target;
    return Counterpart(target, to_.Follow(*LibraryOf(to_)));
}

bool Copier::IsOfLibrary(const Node& target) const {
    const ClassDescription* home = RootClassOf(target.Type());
    return home && home != to_.Class();
}

// Until it is saved a copied link leads to an object of the document that it came from, or of that one's library.
bool Copier::IsAtHome(const Node& target) const {
    if (!target) return false;
    if (!target.HasId()) return true;  // the table of configurations is the same everywhere
    const MemberDescription* library = IsOfLibrary(target) ? LibraryOf(to_) : nullptr;
    const Node home = library ? to_.Follow(*library) : to_;
    if (!home) return true;  // nothing says that it is not
    const MemberDescription& isSame = *home.Type().Find("IsSame");
    return home.Call(isSame, Variant::FromDispatch(target.Root().Pointer())).lVal != 0;
}

void Copier::MendLater(const Node& original, const Node& item, const MemberDescription& reference) {
    pending_.push_back({original, item, &reference});
}

std::vector<std::string> Copier::MendReferences() {
    for (const auto& [original, copy] : pairs_)
        for (const MemberDescription* each : ReferencesOf(original.Type()))
            if (original.Follow(*each) && !IsAtHome(copy.Follow(*each))) MendLater(original, copy, *each);
    std::vector<std::string> left;
    const auto tell = [&](const Node& original, const Node& item, const MemberDescription& reference) {
        left.push_back(toPaths_.Of(item) + ": " + std::string(reference.name) + " (" +
                       TargetText(original.Follow(reference), original.Root(), fromPaths_) + ')');
    };
    for (const auto& [original, copy] : pairs_)
        for (const MemberDescription* each : FixedReferencesOf(original.Type()))
            if (original.Follow(*each) && !IsAtHome(copy.Follow(*each))) tell(original, copy, *each);
    for (const Pending& each : pending_) {
        const Node target = each.original.Follow(*each.reference);
        const Node found = target ? CopyOf(target) : Node();
        if (found || !target) Put(each.item, *each.reference, found);
        if (target && !found) tell(each.original, each.item, *each.reference);
    }
    return left;
}

void Copier::TakeOverReferences() {
    const auto takeOver = [&](const Node& item) {
        for (const MemberDescription* each : ReferencesOf(item.Type())) {
            const Node target = item.Follow(*each);
            const auto copied = target ? copies_.find(target.Id()) : copies_.end();
            if (copied != copies_.end()) Put(item, *each, copied->second);
        }
    };
    ForEachItem(to_, takeOver, [](const std::string&) {});  // what cannot be read stays as it is
}

}  // namespace lumvex::app
