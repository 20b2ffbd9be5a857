#include "storage/compound/engine/compound_file.hpp"

#include <algorithm>
#include <utility>

#include "storage/compound/engine/state.hpp"
#include "storage/compound/read/read_all.hpp"

namespace lumvex::compound {

namespace {

Header::Bytes ReadHeader(const File& file) {
    Header::Bytes bytes;
    try {
        file.Read(0, bytes);
    } catch (const StorageError&) {
        const std::uint64_t size = file.Size();
        if (size >= bytes.size()) throw;
        throw StorageError(Status::NotACompoundFile, "no compound file: ", size, " bytes");
    }
    return bytes;
}

// Between reading the header and announcing its generation a reader may be overtaken by commits. Where the header is
// still the same after announcing, no writer reuses a sector of this state any more.
Header ReadHeaderAsReader(File& file) {
    for (Header header = Header::Parse(ReadHeader(file));;) {
        file.AnnounceReader(header.Generation());
        Header::Bytes bytes;
        file.Read(0, bytes);
        const Header again(bytes);
        if (again.IsSameState(header)) return header;
        header = Header::Parse(bytes);
    }
}

bool IsPossible(std::u16string_view name) { return !name.empty() && name.size() <= kMaxNameLength; }

}  // namespace

CompoundFile::CompoundFile(std::unique_ptr<State> state) : state_(std::move(state)) {}

CompoundFile::~CompoundFile() = default;

std::unique_ptr<CompoundFile> CompoundFile::Open(std::unique_ptr<File> file, Access access) {
    const Header header = access == Access::ReadShared ? ReadHeaderAsReader(*file) : Header::Parse(ReadHeader(*file));
    auto state = std::make_unique<State>(std::move(file), header, access);
    return std::unique_ptr<CompoundFile>(new CompoundFile(std::move(state)));
}

std::unique_ptr<CompoundFile> CompoundFile::Create(std::unique_ptr<File> file, int version, std::uint32_t number) {
    if (version != 3 && version != 4) throw StorageError(Status::InvalidFlag, "version ", version, ", not 3 or 4");
    if (file->Size() != 0)
        throw StorageError(Status::AccessDenied, "a new compound file in a file of ", file->Size(), " bytes");
    Header header = Header::Make(version);
    header.SetGeneration(number);
    auto state = std::make_unique<State>(std::move(file), header, Access::ReadWriteDenyWrite);
    return std::unique_ptr<CompoundFile>(new CompoundFile(std::move(state)));
}

std::unique_ptr<CompoundFile> CompoundFile::CreateSuccessor(int version, std::uint32_t number) const {
    state_->RequireWritable();
    state_->RequireCurrent();
    return Create(state_->volume.GetFile().CreateSuccessor(), version, number);
}

// Object names and other names are looked up in any case, as the directory compares them.
const Change* CompoundFile::State::FindPending(const EntryName& name) const {
    if (pending->Empty()) return nullptr;
    const NameKey& key = name.Key();
    return pending->Find(key.isId ? ChangeName(ObjectName{key.first, key.second}) : ChangeName(name.Folded().Text()));
}

std::optional<StreamBody> CompoundFile::State::Locate(const EntryName& name) const {
    if (const Change* change = FindPending(name)) {
        if (!change->IsStream()) return std::nullopt;
        UncommittedContent content{change->size, change->small, pending, {}, 0};
        if (change->large) content.runs = change->large->runs, content.batch = change->large->batch;
        return StreamBody(committed, std::move(content));
    }
    return committed->Reading([&] {
        std::optional<StreamBody> body;
        if (const FoundEntry found = committed->Find(name); found.isStream)
            body.emplace(committed, found.start, found.size);
        return body;
    });
}

// Reads the stream if it fits into the buffer and its bytes are adjacent in the file. Answers its size then, else 0.
inline std::size_t CompoundFile::State::ReadSmall(const FoundEntry& found, std::span<std::byte> buffer) {
    if (found.size == 0 || found.size > buffer.size() || volume.ChangedByOthers()) return 0;
    const std::uint64_t offset = committed->PlaceOf(found.start, found.size);
    if (offset == Committed::kNoPlace) return 0;
    const auto count = static_cast<std::size_t>(found.size);
    volume.Read(offset, buffer.first(count));
    volume.CountRead(offset, count);
    return count;
}

std::optional<Stream> CompoundFile::Find(std::u16string_view name) const {
    if (!IsPossible(name)) return std::nullopt;
    auto body = state_->Locate(EntryName(name));
    if (!body) return std::nullopt;
    return Stream(std::make_shared<StreamBody>(*std::move(body)));
}

CompoundFile::Found CompoundFile::State::TakeOrRead(StreamBody&& body, std::span<std::byte> buffer) {
    Found result;
    if (body.size > buffer.size()) {
        result.stream.emplace(std::make_shared<StreamBody>(std::move(body)));
    } else {
        body.Read(0, buffer.first(static_cast<std::size_t>(body.size)));
        result.read = static_cast<std::size_t>(body.size);
    }
    return result;
}

CompoundFile::Found CompoundFile::FindOrRead(const EntryName& name, std::span<std::byte> buffer) const {
    State& state = *state_;
    if (state.FindPending(name) != nullptr) {
        auto body = state.Locate(name);
        return body ? State::TakeOrRead(*std::move(body), buffer) : Found();
    }
    return state.committed->Reading([&] {
        const FoundEntry found = state.committed->Find(name);
        const std::size_t read = found.isStream ? state.ReadSmall(found, buffer) : 0;
        if (read == 0 && found.isStream)
            return State::TakeOrRead(StreamBody(state.committed, found.start, found.size), buffer);
        return Found{std::nullopt, read != 0 ? read : Found::kNotRead};
    });
}

bool CompoundFile::Contains(std::u16string_view name) const {
    if (!IsPossible(name)) return false;
    const EntryName wanted(name);
    if (const Change* change = state_->FindPending(wanted)) return change->IsStream();
    return state_->committed->Reading([&] { return state_->committed->Find(wanted).isStream; });
}

Stream CompoundFile::Get(std::u16string_view name) const {
    if (auto stream = Find(name)) return *std::move(stream);
    throw StorageError(Status::NotFound, "no stream has this name");
}

void CompoundFile::Write(std::u16string_view name, std::span<const Piece> content) {
    state_->InCurrentFile([&] {
        state_->RequireWritable();
        const ChangeName written(name);
        if (!written.Text().empty() || name.empty()) RequireValidName(name);
        state_->Write(written, content);
    });
}

void CompoundFile::Write(ObjectName name, std::span<const Piece> content) {
    state_->InCurrentFile([&] { state_->Write(ChangeName(name), content); });
}

void CompoundFile::ExpectWrites(std::size_t streams) { state_->pending->Reserve(streams); }

void CompoundFile::ExpectWrite(ObjectName name) const { state_->pending->Expect(ChangeName(name)); }

void CompoundFile::Remove(std::u16string_view name) {
    state_->InCurrentFile([&] { state_->Remove(name); });
}

void CompoundFile::Commit() {
    state_->InCurrentFile([this] { state_->CommitAll(); });
}

void CompoundFile::Revert() noexcept { state_->Revert(); }

void CompoundFile::ReadAll(const std::function<void(std::u16string_view, std::span<const std::byte>)>& visit) const {
    state_->InCurrentFile([&] { ReadAllStreams(state_->committed, visit); });
    state_->RequireCurrent();
}

void CompoundFile::ForEachStream(const std::function<void(std::u16string_view, std::uint64_t)>& visit) const {
    std::vector<const Change*> added;
    state_->pending->ForEach([&added](const Change& change) { added.push_back(&change); });
    std::sort(added.begin(), added.end(),
              [](const Change* a, const Change* b) { return a->Folded().Compare(b->Folded()) < 0; });
    auto next = added.begin();
    const auto visitPendingUpTo = [&](const DirectoryEntry* entry) {  // true where one of them has the entry's name
        for (; next != added.end(); ++next) {
            const int order = entry == nullptr ? -1 : (*next)->Folded().Compare(*entry);
            if (order > 0) return false;
            if ((*next)->IsStream()) visit((*next)->Name(), (*next)->size);
            if (order == 0) {
                ++next;
                return true;
            }
        }
        return false;
    };
    const int version = state_->volume.Head().Version();
    state_->committed->Walk([&](EntryId, const DirectoryEntry& entry) {
        std::array<char16_t, kMaxNameLength> buffer;
        if (entry.Type() == EntryType::Stream && !visitPendingUpTo(&entry))
            visit(entry.Name(buffer), entry.Size(version));
    });
    visitPendingUpTo(nullptr);
}

bool CompoundFile::IsOutgrown() const {
    if (Version() != 3) return false;
    return state_->hadTooLong || (state_->space && state_->space->Sectors().Refused()) ||
           FileSize() > kLargestVersion3File;
}

bool CompoundFile::IsChanged() const { return !state_->pending->Empty(); }

std::uint32_t CompoundFile::Number() const { return state_->volume.Head().Generation(); }

std::uint32_t CompoundFile::NextNumber() {
    state_->InCurrentFile([this] {
        state_->RequireWritable();
        state_->PrepareToWrite();
    });
    return state_->NextGeneration();
}

int CompoundFile::Version() const { return state_->volume.Head().Version(); }

std::uint64_t CompoundFile::FileSize() const { return state_->volume.GetFile().Size(); }

const Statistics& CompoundFile::Counters() const { return state_->volume.Counters(); }

}  // namespace lumvex::compound
