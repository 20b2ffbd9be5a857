// The root document as clients have it: what its published interface offers, and its settings. Both creatable classes
// derive from Root<their own name, their interface>.
#pragma once

#include <filesystem>

#include "core/tree/fields.hpp"
#include "lumvex/diagnostics.hpp"
#include "storage/document/document_tree.hpp"
#include "storage/records/record_table.hpp"

namespace lumvex::inside {

class RootDocument : public DocumentRoot {
public:
    // ---- the plain members behind _Root ----
    YesNo IsSameID(IUnknown* test) const { return HasSameID<_Root>(test); }
    void OpenFile(std::u16string_view path);
    void SaveFile() { Save({}); }
    void SaveFileAs(std::u16string_view path);
    void CloseFile();
    LXAccessMode AccessMode() const;
    void AccessMode(LXAccessMode mode);
    LXArray SafeArrayType() const { return tree_.arrayType; }
    void SafeArrayType(LXArray type);
    Variant Modified() const { return Variant::FromBool(tree_.IsModified()); }
    void SetCacheBounds(LONG lower, LONG upper);
    LONG CacheLowerBound() const { return tree_.Objects().Cache().LowerBound(); }
    LONG CacheUpperBound() const { return tree_.Objects().Cache().UpperBound(); }
    Ref<Object> FindID(std::u16string_view id);  // of what is loaded
    Ref<Object> Load(std::u16string_view id);
    LXVersionSupport VersionSupport() const { return versionSupport_; }

    // Of the bound file, absolute; empty without one.
    const std::filesystem::path& Path() const { return path_; }

    // SaveFile with progress, and SaveFileAs for a path at which no file may be.
    void Save(const Progress& progress);
    void SaveNew(const std::filesystem::path& path, const Progress& progress);

    // Arrays that are put wait in a temporary file beside `path`, as ByteSpool says.
    void SpoolArrays(const std::filesystem::path& path, std::uint64_t inMemory);

    // A put on the root itself.
    void Commit(LXEventType type);

    IUnknown* Facet(REFIID iid) noexcept override;

    // What a diagnosis shows.
    std::size_t LoadedObjects() const { return tree_.Objects().Cache().Count(); }
    std::uint64_t BytesRead() const;
    // Runs `work`, in which gets of arrays answer their shapes alone (kShapesAlone).
    template <class Work>
    auto WithShapesAlone(Work&& work) {
        struct Restore {
            LXArray& setting;
            LXArray before;
            ~Restore() { setting = before; }
        };
        const Restore restore{tree_.arrayType, std::exchange(tree_.arrayType, kShapesAlone)};
        return work();
    }

    // Gives a new root its entry and its name.
    void Construct(std::u16string_view name) { tree_.EnterRoot(name); }

private:
    bool IsReadOnly() const;
    compound::Access Access() const;
    void LoadFile(std::filesystem::path path);  // into a new root
    void SaveAs(const std::filesystem::path& path, Taken taken, const Progress& progress);
    void ExchangeDocuments(RootDocument& other) noexcept;

    std::filesystem::path path_;
    std::uint32_t accessFlags_ = 0x12;
    LXVersionSupport versionSupport_ = LX_VER_DEPRECATED;
    DocumentTree tree_{*this};
};

// What the record table of a root inherits: the root record has one version for both classes.
struct RootRecord {
    static constexpr VersionWord version{kRootVersion, kRootVersion};
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
};

}  // namespace lumvex::inside
