#include "storage/document/root_document.hpp"

#include "storage/document/read_document.hpp"
#include "storage/document/save_document.hpp"
#include "storage/records/failures.hpp"

namespace lumvex::inside {

namespace {

constexpr std::uint32_t kShareRead = 0x10040, kShareReadWrite = 0x10022, kExclusive = 0x12;

}  // namespace

// ---- settings -------------------------------------------------------------------------------------------------------

LXAccessMode RootDocument::AccessMode() const {
    switch (accessFlags_) {
        case kExclusive:
            return LX_EXCLUSIVE_READWRITE;
        case kShareReadWrite:
            return LX_SHARE_READWRITE;
        default:
            return LX_SHARE_READ;
    }
}

void RootDocument::AccessMode(LXAccessMode mode) {
    if (tree_.File().IsOpen()) throw Failure(Message::FileMustBeClosed);
    accessFlags_ = mode == LX_SHARE_READ ? kShareRead : mode == LX_SHARE_READWRITE ? kShareReadWrite : kExclusive;
}

bool RootDocument::IsReadOnly() const { return accessFlags_ == kShareRead; }

compound::Access RootDocument::Access() const {
    return accessFlags_ == kShareRead        ? compound::Access::ReadShared
           : accessFlags_ == kShareReadWrite ? compound::Access::ReadWriteDenyWrite
                                             : compound::Access::Exclusive;
}

void RootDocument::SafeArrayType(LXArray type) {
    if (type != LX_VT && type != LX_R4 && type != LX_R8) throw Failure(E_INVALIDARG);
    tree_.arrayType = type;
}

void RootDocument::SetCacheBounds(LONG lower, LONG upper) {
    if (lower < 1 || lower >= upper) throw Failure(Message::CacheBounds);
    tree_.Objects().Cache().SetBounds(lower, upper);
}

void RootDocument::Commit(LXEventType type) { Raise(tree_, EventKind::Root, *this, type); }

IUnknown* RootDocument::Facet(REFIID iid) noexcept {
    return IsEqualGUID(iid, kIidOf<IConnectionPointContainer>) ? tree_.Events().Container() : nullptr;
}

std::uint64_t RootDocument::BytesRead() const {
    return tree_.File().IsOpen() ? tree_.File().Container().Counters().bytesRead : 0;
}

// ---- finding --------------------------------------------------------------------------------------------------------

Ref<Object> RootDocument::FindID(std::u16string_view text) {
    return tree_.FindLoaded(ParseGuid(text).value_or(GUID_NULL));
}

Ref<Object> RootDocument::Load(std::u16string_view text) { return tree_.Load(ParseGuid(text).value_or(GUID_NULL)); }

// ---- the file -------------------------------------------------------------------------------------------------------

// The file is read into a new root, whose tree this one takes over when nothing can fail any more: a file that cannot
// be opened costs a client nothing of what it has in memory. The version support is answered either way.
void RootDocument::OpenFile(std::u16string_view path) {
    if (tree_.IsModified() || tree_.File().IsOpen()) throw Failure(Message::ModifiedBeforeLoading);
    const Ref<Object> opened = Class().create();
    auto& root = static_cast<RootDocument&>(*opened);
    root.accessFlags_ = accessFlags_;
    root.tree_.Objects().Cache().SetBounds(CacheLowerBound(), CacheUpperBound());
    try {
        root.LoadFile(PathOf(path));
    } catch (...) {
        versionSupport_ = root.versionSupport_;
        throw;
    }
    ExchangeDocuments(root);
}

void RootDocument::LoadFile(std::filesystem::path path) {
    tree_.File().Replace(OpenCompoundFile(path, Access()));
    ReadDocument(tree_, versionSupport_);
    std::error_code ignored;
    path_ = path.is_absolute() ? std::move(path) : std::filesystem::absolute(path, ignored);
}

void RootDocument::ExchangeDocuments(RootDocument& other) noexcept {
    tree_.Swap(other.tree_);
    SwapEntry(other);
    Class().swap(*this, other);
    SwapSettings(other);
    path_.swap(other.path_);
    std::swap(versionSupport_, other.versionSupport_);
}

void RootDocument::Save(const Progress& progress) {
    if (!tree_.File().IsOpen()) throw Failure(Message::NoFile);
    if (IsReadOnly()) throw Failure(kAccessDenied);
    DocumentSaver(tree_, progress).Save();
}

void RootDocument::SaveFileAs(std::u16string_view path) {
    if (IsReadOnly()) throw Failure(kAccessDenied);
    const std::filesystem::path given = PathOf(path);
    if (tree_.File().IsOpen() && compound::IsSameFile(given, path_)) return SaveFile();
    SaveAs(given, Taken::IsReplaced, {});
}

void RootDocument::SaveNew(const std::filesystem::path& path, const Progress& progress) {
    if (IsReadOnly()) throw Failure(kAccessDenied);
    SaveAs(path, Taken::IsKept, progress);
}

void RootDocument::SaveAs(const std::filesystem::path& path, Taken taken, const Progress& progress) {
    std::error_code ignored;
    std::filesystem::path bound = std::filesystem::absolute(path, ignored);
    DocumentSaver(tree_, progress).SaveAs(path, Access(), taken);
    path_ = std::move(bound);
}

void RootDocument::SpoolArrays(const std::filesystem::path& path, std::uint64_t inMemory) {
    std::error_code ignored;
    const auto makeFile = [beside = std::filesystem::absolute(path, ignored)] {
        return compound::CreateNew(beside, compound::Access::Exclusive);
    };
    tree_.spool = std::make_unique<ByteSpool>(makeFile, inMemory);
}

// A document that was opened for reading and not modified keeps only what clients hold.
void RootDocument::CloseFile() {
    if (!tree_.File().IsOpen()) return;
    struct Closed {
        RootDocument& root;
        ~Closed() {
            root.path_.clear();
            root.FileClosed();
        }
    } closed{*this};
    tree_.CloseFile(IsReadOnly() && !tree_.IsModified());
    if (!IsReadOnly()) tree_.ClearModified();
}

}  // namespace lumvex::inside
