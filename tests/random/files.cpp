// Settings, and documents as files.
#include "random/world.hpp"

#include <algorithm>

#include "core/base/failure.hpp"
#include "kit/everything.hpp"
#include "lumvex/diagnostics.hpp"

namespace lumvex::tests {

using inside::Message;
using inside::StatusOf;

void World::Settings(Doc& doc) {
    const std::size_t which = random_.Below(4);
    if (which == 0) {
        if (options_.cacheBounds) {
            static constexpr LONG kLower[] = {1, 2, 5, 10, 50}, kMore[] = {1, 3, 10};
            const LONG lower = random_.Of(kLower), upper = random_.OneIn(8) ? lower : lower + random_.Of(kMore);
            Log("cache bounds " + std::to_string(lower) + ", " + std::to_string(upper));
            const Answer answer = Do(doc.root.get(), member::kSetCacheBounds, DISPATCH_METHOD,
                                     {LongArgument(lower), LongArgument(upper)});
            if (OutOfMemory(answer, doc)) return;
            Expect(upper > lower ? S_OK : StatusOf(Message::CacheBounds), answer, "SetCacheBounds");
            if (upper > lower) {
                doc.bounded = true;
                doc.complete = false;
            }
        }
    } else if (which == 1) {
        static constexpr LONG kTypes[] = {LX_R4, LX_R4, LX_R4, LX_R8, LX_VT, LX_UI1};
        const LONG type = random_.Of(kTypes);
        Log("arrays as " + std::to_string(type));
        const Answer answer = Do(doc.root.get(), member::kSafeArrayType, DISPATCH_PROPERTYPUT, {LongArgument(type)});
        if (OutOfMemory(answer, doc)) return;
        Expect(type == LX_UI1 ? E_INVALIDARG : S_OK, answer, "put of SafeArrayType");
        if (type != LX_UI1) doc.arrays = type;
    } else {
        const LONG mode = 1 + static_cast<LONG>(random_.Below(3));
        if (doc.path.empty() && mode == LX_SHARE_READ) return;  // a new document could not be saved
        Log("access mode " + std::to_string(mode));
        const Answer answer = Do(doc.root.get(), member::kAccessMode, DISPATCH_PROPERTYPUT, {LongArgument(mode)});
        if (OutOfMemory(answer, doc)) return;
        Expect(doc.path.empty() ? S_OK : StatusOf(Message::FileMustBeClosed), answer, "put of AccessMode");
        if (doc.path.empty()) doc.mode = mode;
    }
}

// The file is sound, and what another program reads from it is what was saved.
void World::CheckFile(const std::string& name, const Doc& doc) {
    std::string file = FullPath(name);
    const bool exclusive = doc.path == name && doc.mode == LX_EXCLUSIVE_READWRITE;
    if (exclusive) {
        file = FullPath("checked");
        std::filesystem::remove(file);  // not every library's copy_file overwrites when told to
        std::error_code refused;        // systems may keep others from reading it, too
        std::filesystem::copy_file(FullPath(name), file, refused);
        if (refused) return;
    }
    std::string problems;
    for (const DocumentProblem& problem : CheckDocument(file)) problems += "\n  " + problem.where + ": " + problem.what;
    const auto& [table, tree] = files_.at(name);
    const Ref<IDispatch> root = NewRoot(*table);
    PutLate(root.get(), member::kAccessMode, {LongArgument(LX_SHARE_READ)});
    const Bstr path(FromUtf8(file));
    const Answer answer = DoLate(root.get(), member::kOpenFile, {TextArgument(path.get())});
    if (answer.status != S_OK) throw Wrong(name + " does not open, " + StatusText(answer.status) + problems);
    Reading reading;
    reading.live = false;
    if (table == &ProjectTable() && tree->root->references[0].libraryId == Library().tree->root->id &&
        !tree->root->references[0].libraryId.empty()) {
        PutLate(root.get(), member::kSpecifications, {ObjectArgument(Library().root.get())});
        Index(Library());
        reading.library = &libraryIds_;
    }
    try {
        Compare(*tree->root, root.get(), reading);
    } catch (const Wrong& wrong) {
        throw Wrong(name + ", read again: " + wrong.what() + problems);
    }
    if (!problems.empty()) throw Wrong(name + " is not sound" + problems);
}

void World::Save(Doc& doc) {
    Log("save " + (doc.path.empty() ? std::string("nowhere") : doc.path) + " mode " + std::to_string(doc.mode));
    const Answer answer = Do(doc.root.get(), member::kSaveFile, DISPATCH_METHOD, {});
    const bool refused = OutOfMemory(answer, doc);
    if (!refused)
        Expect(doc.path.empty()            ? StatusOf(Message::NoFile)
               : doc.mode == LX_SHARE_READ ? kDenied
                                           : S_OK,
               answer, "SaveFile");
    if (doc.path.empty()) return;
    if (answer.status == S_OK) files_[doc.path] = {doc.table, doc.tree->Saved()};
    CheckFile(doc.path, doc);
}

bool World::OpenElsewhere(const Doc& doc, const std::string& name) const {
    return std::ranges::any_of(docs_, [&](const Doc& each) { return &each != &doc && each.path == name; });
}

// As the modes promise: readers beside one writer that excludes writers, or one alone.
bool World::MayOpen(const Doc& doc, const std::string& name, LONG mode) const {
    return std::ranges::all_of(docs_, [&](const Doc& each) {
        if (&each == &doc || each.path != name) return true;
        if (mode == LX_EXCLUSIVE_READWRITE || each.mode == LX_EXCLUSIVE_READWRITE) return false;
        return mode == LX_SHARE_READ || each.mode == LX_SHARE_READ;
    });
}

void World::SaveAs(Doc& doc) {
    const bool same = !doc.path.empty() && random_.OneIn(4);
    const std::string name = same ? doc.path : AnyPath();
    if (OpenElsewhere(doc, name)) return;
    if (doc.path.empty() && !doc.complete) return;
    const Bstr path(FromUtf8(same ? (folder_ / "." / name).string() : FullPath(name)));
    Log("save as " + name + (doc.path == name ? ", the same" : "") + " mode " + std::to_string(doc.mode));
    const Answer answer = Do(doc.root.get(), member::kSaveFileAs, DISPATCH_METHOD, {TextArgument(path.get())});
    const bool refused = OutOfMemory(answer, doc);
    const auto there = files_.find(name);  // a project that refers to a library may have opened it for itself
    if (answer.status == kSharingViolation && there != files_.end() && there->second.first == &LibraryTable()) return;
    if (!refused) Expect(doc.mode == LX_SHARE_READ ? kDenied : S_OK, answer, "SaveFileAs");
    if (answer.status == S_OK) {
        doc.path = name;
        files_[name] = {doc.table, doc.tree->Saved()};
    }
    if (files_.contains(name)) CheckFile(name, doc);
}

// What is in memory goes on being usable; what is not went with the file.
void World::Close(Doc& doc) {
    if (doc.path.empty() || doc.mode == LX_SHARE_READ || !doc.complete) return Reopen(doc);
    Log("close " + doc.path);
    const Answer answer = Do(doc.root.get(), member::kCloseFile, DISPATCH_METHOD, {});
    if (failed_ && FAILED(answer.status)) {  // the file is closed all the same, and what was not read yet is gone
        Fresh(doc);
        return;
    }
    Expect(S_OK, answer, "CloseFile");
    doc.path.clear();
    doc.modified = false;
    CompareAll(doc);
    if (random_.OneIn(3)) OpenFails(doc);
    if (random_.OneIn(3)) Reopen(doc);
}

void World::Reopen(Doc& doc) {
    std::vector<std::string> ours;
    for (const auto& [name, file] : files_)
        if (file.first == doc.table) ours.push_back(name);
    if (ours.empty() || random_.OneIn(8)) {
        Log("a new document");
        return Fresh(doc);
    }
    const std::string name = ours[random_.Below(ours.size())];
    const bool sameRoot = doc.path.empty() && !doc.modified && random_.OneIn(2);
    const LONG mode = sameRoot ? doc.mode : 1 + static_cast<LONG>(random_.Below(3));
    const bool allowed = MayOpen(doc, name, mode);
    if (!allowed && !random_.OneIn(4)) return;
    if (!sameRoot) {
        Fresh(doc);
        doc.mode = mode;
        PutLate(doc.root.get(), member::kAccessMode, {LongArgument(doc.mode)});
    }
    Log("open " + name + " mode " + std::to_string(doc.mode) + (sameRoot ? " in the same root" : ""));
    const Bstr path(FromUtf8(FullPath(name)));
    for (;;) {
        const Answer answer = Do(doc.root.get(), member::kOpenFile, DISPATCH_METHOD, {TextArgument(path.get())});
        if (failed_ && answer.status == E_OUTOFMEMORY) {
            Log("  out of memory");
            if (sameRoot) return CompareAll(doc);
            continue;
        }
        if (&doc == &Library() && doc.mode == LX_EXCLUSIVE_READWRITE && answer.status == kSharingViolation)
            return CompareAll(doc);  // a project that refers to it has opened it for itself
        if (!allowed) {
            Expect(kSharingViolation, answer, "OpenFile");
            return CompareAll(doc);
        }
        Expect(S_OK, answer, "OpenFile");
        break;
    }
    const unsigned before = doc.opened;
    Replace(doc, files_.at(name).second->Saved());
    if (&doc == &Library() && sameRoot)
        for (Doc& project : docs_)
            if (project.table == &ProjectTable() && project.linked == before) {  // it is linked to whatever is in there
                project.tree->root->references[0].libraryId = doc.tree->root->id;
                project.linked = doc.opened;
            }
    doc.path = name;
    doc.complete = false;
    doc.modified = false;
    if (random_.OneIn(3)) CompareAll(doc);
}

// A call that fails leaves what was there.
void World::OpenFails(Doc& doc) {
    if (!doc.path.empty() || doc.modified || !doc.complete) return;
    static const char* const kNames[] = {kDamaged, "nothing.lvx"};
    const std::string name = random_.Of(kNames);
    Log("open " + name);
    const Bstr path(FromUtf8(FullPath(name)));
    const Answer answer = Do(doc.root.get(), member::kOpenFile, DISPATCH_METHOD, {TextArgument(path.get())});
    if (SUCCEEDED(answer.status)) throw Wrong("it opens");
    CompareAll(doc);
}

// Calls that have to be refused, and change nothing.
void World::Mistake(Doc& doc) {
    Node* collection = AnyCollection(doc);
    Node* item = AnyItem(doc);
    const Ref<IDispatch> object = Live(doc, *collection);
    const Bstr nobody(u"{09A5CDEB-2933-4F88-9196-E13F80993ABB}"), noId(u"no ID");
    Log("mistake at " + PathOf(*collection));
    HRESULT expected = E_INVALIDARG;
    Answer answer;
    switch (random_.Below(7)) {
        case 0: {
            const LONG outside = random_.OneIn(2) ? 0 : static_cast<LONG>(collection->below.size()) + 1;
            answer = Do(object.get(), member::kItem, DISPATCH_PROPERTYGET, {LongArgument(outside)});
            break;
        }
        case 1:
            expected = S_FALSE;
            answer = Do(object.get(), member::kFindID, DISPATCH_METHOD,
                        {TextArgument(random_.OneIn(2) ? nobody.get() : noId.get())});
            break;
        case 2:
            expected = S_FALSE;
            answer = Do(doc.root.get(), random_.OneIn(2) ? member::kLoad : member::kFindID, DISPATCH_METHOD,
                        {TextArgument(random_.OneIn(2) ? nobody.get() : noId.get())});
            break;
        case 3:
            if (!item) return;
            expected = E_POINTER;
            answer = Do(Live(doc, *item).get(), member::kCopy, DISPATCH_METHOD, {ObjectArgument(nullptr)});
            break;
        case 4:
            if (!item) return;
            expected = E_POINTER;
            answer = Do(Live(doc, *item).get(), member::kCopyContents, DISPATCH_METHOD, {ObjectArgument(nullptr)});
            break;
        case 5:
            expected = S_OK;
            if (item)
                answer = Do(Live(doc, *item).get(), member::kCanCopy, DISPATCH_METHOD, {ObjectArgument(object.get())});
            break;
        default:
            if (!doc.modified && doc.path.empty()) return;
            expected = StatusOf(Message::ModifiedBeforeLoading);
            answer = Do(doc.root.get(), member::kOpenFile, DISPATCH_METHOD, {TextArgument(nobody.get())});
            break;
    }
    if (OutOfMemory(answer, doc)) return;
    Expect(expected, answer, "the call");
}

// What was never loaded goes with the file: it is told, and neither a crash nor a document with holes.
void World::LeaveIncomplete(Doc& doc) {
    if (doc.path.empty() || doc.complete) return;
    Log("close " + doc.path + " with objects left in the file");
    const Answer closed = Do(doc.root.get(), member::kCloseFile, DISPATCH_METHOD, {});
    if (!failed_) Expect(S_OK, closed, "CloseFile");
    // A closing that lacked memory has let go of the file without what it had yet to load of the owners.
    const auto allowed = [bare = FAILED(closed.status)](HRESULT status, const char* what) {
        if (SUCCEEDED(status) || status == StatusOf(Message::DoesNotExist)) return;
        if (bare && status == StatusOf(Message::Orphaned)) return;
        throw Wrong(std::string(what) + " answers " + StatusText(status) + " after the file was closed");
    };
    for (int tries = 0; tries < 20; ++tries) {
        Node* node = AnyItem(doc);
        if (!node || node->id.empty()) continue;
        const Bstr id(node->id);
        const Answer found = DoLate(doc.root.get(), member::kLoad, {TextArgument(id.get())});
        allowed(found.status, "Load");
        if (!found.Object()) continue;
        if (IdOf(found.Object()) != node->id) throw Wrong("Load answers another object");
        for (const Property& property : node->table->properties)
            if (property.dimensions == 0) allowed(GetLate(found.Object(), property.id).status, "a get");
        for (const ReferenceTable& row : node->table->references)
            allowed(GetLate(found.Object(), row.id).status, "a reference");
        for (const ChildTable& child : node->table->children)
            allowed(GetLate(found.Object(), child.id).status, "a child");
        allowed(GetLate(found.Object(), member::kParentBase).status, ("ParentBase of " + PathOf(*node)).c_str());
    }
    const std::string name = AnyPath();
    if (doc.mode != LX_SHARE_READ && !OpenElsewhere(doc, name)) {
        const Bstr path(FromUtf8(FullPath(name)));
        const Answer saved = DoLate(doc.root.get(), member::kSaveFileAs, {TextArgument(path.get())});
        if (saved.status != kSharingViolation) allowed(saved.status, "SaveFileAs");
        if (saved.status == S_OK) {
            files_[name] = {doc.table, doc.tree->Saved()};
            doc.path = name;
            CheckFile(name, doc);
        }
    }
    Fresh(doc);
}

void World::CompareLive(Doc& doc) {
    Log("compare");
    CompareAll(doc);
}

}  // namespace lumvex::tests
