// The root document: a tree of objects, bound to at most one compound file at a time. Both creatable classes derive from
// Root<their own name, their interface>.
#pragma once

#include <filesystem>

#include "core/objects/document.hpp"
#include "core/published/event_source.hpp"
#include "core/tree/fields.hpp"
#include "storage/document/directory.hpp"
#include "storage/document/document_file.hpp"
#include "storage/document/link_index.hpp"
#include "storage/records/record_table.hpp"

namespace lumvex::inside {

class RootDocument : public Object, public Document {
public:
    // ---- the plain members behind _Root ----
    YesNo IsSameID(IUnknown* test) const { return HasSameID<_Root>(test); }
    void OpenFile(std::u16string_view path);
    void SaveFile();
    void SaveFileAs(std::u16string_view path);
    void CloseFile();
    LXAccessMode AccessMode() const;
    void AccessMode(LXAccessMode mode);
    LXArray SafeArrayType() const { return arrayType_; }
    void SafeArrayType(LXArray type);
    Variant Modified() const { return Variant::FromBool(documentModified_); }
    void SetCacheBounds(LONG lower, LONG upper);
    LONG CacheLowerBound() const { return directory_.lowerBound; }
    LONG CacheUpperBound() const { return directory_.upperBound; }
    Ref<Object> FindID(std::u16string_view id);  // of what is loaded
    Ref<Object> Load(std::u16string_view id);
    LXVersionSupport VersionSupport() const { return versionSupport_; }

    // Of the bound file, absolute; empty without one.
    const std::filesystem::path& Path() const { return path_; }

    // A put on the root itself.
    void Commit(LXEventType type);

    // ---- Document ----
    Object& RootObject() noexcept override { return *this; }
    Ref<Entry> Find(const GUID& id) override { return directory_.Find(id); }
    using Document::Get;
    Ref<Object> Get(Entry& entry) override;
    Ref<Entry> EntryOf(const Reference& reference, const ClassInfo& classInfo, Entry& owner) override;
    Ref<Object> GetChild(ChildSlot& slot, const ClassInfo& classInfo, Object& owner) override;
    Entry& Enter(Object& object, Entry& owner) override;
    void Erase(std::span<const Ref<Entry>> entries) override;
    Ref<Entry> OwnerOf(Entry& entry) override;
    std::vector<GUID> DependentLinks(const GUID& target) override;
    void LinkMoved(const GUID& link, const std::optional<GUID>& from, const std::optional<GUID>& to) override;
    void MarkModified() override;
    void MarkChanged(Object& object) noexcept override;
    LXArray ArrayType() const noexcept override { return arrayType_; }
    bool IsObserved() const noexcept override { return events_.HasSinks(); }
    void Fire(const PendingEvent& event) noexcept override { events_.Fire(event); }
    void LetGo(Entry& entry) noexcept override { directory_.LetGo(entry); }

    IUnknown* Facet(REFIID iid) noexcept override {
        return IsEqualGUID(iid, kIidOf<IConnectionPointContainer>) ? events_.Container() : nullptr;
    }

    // What a diagnosis shows.
    std::size_t LoadedObjects() const { return directory_.LoadedCount(); }
    std::uint64_t BytesRead() const;

    // Gives a new root its entry and its name.
    void Construct(std::u16string_view name);

protected:
    RootDocument() = default;
    ~RootDocument() override;

    // Settings that stand in a stream of their own beside the root record. A file need not have it.
    virtual void SaveSettings(RecordWriter&) const {}
    virtual void LoadSettings(RecordReader&) {}
    virtual void SwapSettings(RootDocument&) noexcept {}  // with a root of the same class

    // The bound file was closed.
    virtual void FileClosed() noexcept {}

    // Does the record hold references that this program carries without knowing what they lead to?
    virtual bool CarriesUnknown() const { return false; }

private:
    using Objects = std::vector<Ref<Entry>>;

    bool IsReadOnly() const;
    compound::Access Access() const;

    // ---- root_document.cpp: opening and finding ----
    void LoadFile(const std::filesystem::path& path);  // into a new root
    void ExchangeTrees(RootDocument& other) noexcept;  // with everything that belongs to the file
    LXVersionSupport CheckVersions() const;
    RecordReader OpenRootRecord(VersionWord& version);
    void LoadTree(RecordReader reader, VersionWord version);
    void ListEverything();
    bool OpenTables();  // false where the file has no directory table
    Ref<Object> Reach(Entry& entry);
    void TakePlace(Entry& entry, const Ref<Object>& object, Arrival how);

    // ---- root_save.cpp ----
    Objects ObjectsToWrite();
    void CheckComplete();
    std::vector<Ref<Object>> LoadedWithOwners();
    void ListWhatTheTableLacks();
    int SectorVersionFor(const Objects& objects) const;
    void WriteRoot(compound::CompoundFile& file) const;
    void WriteObjects(compound::CompoundFile& file, const Objects& objects) const;
    Directory::NextTables WriteTables(compound::CompoundFile& file, bool all) const;
    void CopyStreams(compound::CompoundFile& to, const Objects& rewritten);
    void SaveInPlace(const Objects& objects);
    void SaveInto(std::unique_ptr<compound::CompoundFile> created, const Objects& objects);
    void SaveWithLargerSectors(const Objects& objects);

    std::shared_ptr<DocumentFile> file_ = std::make_shared<DocumentFile>();
    std::filesystem::path path_;
    std::uint32_t accessFlags_ = 0x12;
    LXArray arrayType_ = LX_R4;
    LXVersionSupport versionSupport_ = LX_VER_DEPRECATED;
    bool documentModified_ = false;
    bool mayLackObjects_ = false;           // a file was closed: what was not loaded went with it
    EventSource events_{*this};
    LinkIndex links_;
    Directory directory_{*this};
};

template <class Derived, class Interface>
class Root : public RootDocument {
public:
    const ClassInfo& Class() const noexcept override { return ClassOf<Derived>(); }
    std::u16string_view ErrorSource() const noexcept override { return Derived::kErrorSource; }
    void ForEachChild(const Object::ChildVisitor& visit) override {
        VisitChildFields(static_cast<Derived&>(*this), visit);
    }
    void Materialise() override { MaterialiseFields(static_cast<Derived&>(*this)); }

private:
    bool CarriesUnknown() const override {
        bool carries = false;
        ForEachField(static_cast<const Derived&>(*this), [&](const auto& field, unsigned) {
            if constexpr (std::is_same_v<std::remove_cvref_t<decltype(field)>, KeptReference>)
                carries = carries || field.reference.has_value();
        });
        return carries;
    }
};

}  // namespace lumvex::inside
