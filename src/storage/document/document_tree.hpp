// A document as its objects see it: finds, loads, enters and erases objects, knows their owners and the links between
// them, and what has changed since the document was opened. Part of its root, which it does not keep alive.
#pragma once

#include "core/objects/document.hpp"
#include "core/published/event_source.hpp"
#include "storage/directory/directory.hpp"
#include "storage/directory/link_index.hpp"
#include "storage/directory/owner_index.hpp"
#include "storage/document/document_file.hpp"
#include "storage/document/document_root.hpp"
#include "storage/records/byte_spool.hpp"

namespace lumvex::inside {

class DocumentTree final : public Document {
public:
    explicit DocumentTree(DocumentRoot& root) : root_(root) {}
    ~DocumentTree();
    DocumentTree(const DocumentTree&) = delete;
    DocumentTree& operator=(const DocumentTree&) = delete;

    // ---- Document ----
    Object& RootObject() noexcept override { return root_; }
    Ref<Entry> Find(const GUID& id) override { return directory_.Find(id); }
    Entry* InMemory(const GUID& id) const noexcept override { return directory_.FindInMemory(id); }
    Ref<Object> Get(Entry& entry) override;
    Ref<Object> Get(const Reference& reference, const ClassInfo& classInfo, Entry& owner) override;
    void Expect(const GUID& id) const noexcept override { directory_.Expect(id); }
    Ref<Entry> EntryOf(const Reference& reference, const ClassInfo& classInfo, Entry& owner) override;
    std::u16string_view NameOf(const Reference& member, const ClassInfo& memberClass) override;
    void DistrustMarks() noexcept override { marksEpoch_ = 0; }
    Ref<Object> GetChild(ChildSlot& slot, const ClassInfo& classInfo, Object& owner) override;
    Entry& Enter(Object& object, Entry& owner) override;
    void Erase(std::span<const Ref<Entry>> entries) override;
    std::uint64_t Departures() const noexcept override { return directory_.Departures(); }
    Ref<Entry> OwnerOf(Entry& entry) override;
    std::vector<GUID> DependentLinks(const GUID& target) override;
    void LinkMoved(const GUID& link, const std::optional<GUID>& from, const std::optional<GUID>& to) override;
    void MarkModified() override;
    void MarkChanged(Object& object) noexcept override;
    LXArray ArrayType() const noexcept override { return arrayType; }
    ByteSpool* Spool() noexcept override { return spool.get(); }
    bool IsObserved() const noexcept override { return events_.HasSinks(); }
    void Fire(const PendingEvent& event) noexcept override { events_.Fire(event); }
    void LetGo(Entry& entry) noexcept override { directory_.Cache().LetGo(entry); }

    // ---- what only the root, opening and saving need ----
    DocumentRoot& Root() { return root_; }
    Directory& Objects() { return directory_; }
    const Directory& Objects() const { return directory_; }
    DocumentFile& File() { return *file_; }
    const DocumentFile& File() const { return *file_; }
    EventSource& Events() { return events_; }

    // Gives a new root its entry, under a new ID.
    void EnterRoot(std::u16string_view name);
    // The object of an ID if it is in memory, or if the document has it; null otherwise.
    Ref<Object> FindLoaded(const GUID& id) const;
    Ref<Object> Load(const GUID& id);

    bool IsModified() const { return modified_; }
    void ClearModified() { modified_ = false; }
    LXArray arrayType = LX_R4;  // what arrays are answered as; kShapesAlone for the length of one call

    std::unique_ptr<ByteSpool> spool;  // null: none

    // Marks of names count in lists of the bound file that have this epoch; 0: none do.
    std::uint64_t MarksEpoch() const { return marksEpoch_; }
    void MarksCountOf(std::uint64_t epoch) noexcept { marksEpoch_ = epoch; }

    // Lists every object that the root leads to: for files that were written before there was a directory, or whose
    // directory is not complete.
    void ListEverything();
    // Lets the file go. What is loaded stays usable without it: the owners above it are loaded, too, and lists and
    // arrays that are still in the file are read; `onlyHeld`: of objects that a client holds, all others are released.
    // The file is released even where this throws.
    void CloseFile(bool onlyHeld);
    // A file was closed, and what was not loaded went with it.
    bool MayLackObjects() const { return mayLackObjects_; }
    // All objects come from, or are in, the file that is bound now.
    void Complete() { mayLackObjects_ = false; }

    // With everything that belongs to the file; the settings stay.
    void Swap(DocumentTree& other) noexcept;

private:
    Entry& Referred(const Reference& reference, const ClassInfo& classInfo, Entry& owner);
    Ref<Object> Reach(Entry& entry);
    Ref<Object> Reached(Entry& entry);
    Ref<Object> Read(Entry& entry);
    void Place(Entry& entry, Object& object, Object::Arrival how);
    void Arrive(Entry& entry, Object& object, Object::Arrival how);
    void SearchOwner(Entry& entry);
    bool NoteOwners();
    void ForgetOwners() noexcept;
    template <class Visit>
    void ForEachLoaded(Visit&& visit);
    std::vector<Ref<Object>> LoadOwners();
    void CountLoadedMembers();
    void RequireInMemory(const GUID& id) const;

    DocumentRoot& root_;
    std::shared_ptr<DocumentFile> file_ = std::make_shared<DocumentFile>();
    bool modified_ = false;
    bool mayLackObjects_ = false;
    std::uint64_t marksEpoch_ = 0;
    EventSource events_{root_};
    LinkIndex links_;
    OwnerIndex owners_;
    bool hasSearched_ = false;  // for an owner
    std::u16string nameRead_;   // of a member that is not in memory
    Directory directory_{*this};
};

}  // namespace lumvex::inside
