#include "storage/document/document_file.hpp"

#include "storage/document/marks_stamp.hpp"
#include "storage/records/failures.hpp"

namespace lumvex::inside {

namespace {

class FileSource final : public ByteSource {
public:
    FileSource(std::shared_ptr<DocumentFile> file, std::u16string name, std::optional<compound::Stream> stream)
        : file_(std::move(file)),
          name_(std::move(name)),
          stream_(std::move(stream)),
          generation_(stream_ ? file_->Generation() : 0) {}

    std::uint64_t Size() const override { return Current().Size(); }
    void Read(std::uint64_t offset, std::span<std::byte> bytes) const override {
        OnStorage([&] { Current().Read(offset, bytes); });
    }
    const std::byte* Contiguous(std::uint64_t offset, std::uint64_t count) const override {
        return OnStorage([&] { return Current().Contiguous(offset, count); });
    }

private:
    const compound::Stream& Current() const {
        if (!file_->IsOpen()) throw Failure(Message::DoesNotExist);
        if (generation_ != file_->Generation()) {
            stream_ = OnStorage([&] { return file_->Container().Get(name_); });
            generation_ = file_->Generation();
        }
        return *stream_;
    }

    std::shared_ptr<DocumentFile> file_;
    std::u16string name_;
    mutable std::optional<compound::Stream> stream_;
    mutable std::uint64_t generation_;
};

}  // namespace

void DocumentFile::Replace(std::unique_ptr<compound::CompoundFile> file) {
    file_ = std::move(file);
    ++generation_;
}

std::shared_ptr<const ByteSource> DocumentFile::Find(std::u16string_view name) {
    auto stream = OnStorage([&] { return file_->Find(name); });
    if (!stream) return nullptr;
    return std::make_shared<FileSource>(shared_from_this(), std::u16string(name), *std::move(stream));
}

std::optional<RecordReader> DocumentFile::ReadRecord(const GUID& id, RecordRoom& room) {
    auto found = OnStorage([&] { return file_->FindOrRead(EntryNameOf(id), room); });
    std::optional<RecordReader> reader;
    if (found.read != found.kNotRead)
        reader.emplace(std::span(room).first(found.read));
    else if (found.stream)
        reader.emplace(std::make_shared<FileSource>(shared_from_this(), StreamNameOf(id), *std::move(found.stream)));
    return reader;
}

std::shared_ptr<const ByteSource> DocumentFile::FindOnRead(std::u16string_view name) {
    return std::make_shared<FileSource>(shared_from_this(), std::u16string(name), std::nullopt);
}

bool DocumentFile::Contains(std::u16string_view name) const {
    return OnStorage([&] { return file_->Contains(name); });
}

void DocumentFile::Commit() {
    OnStorage([&] { file_->Commit(); });
    ++generation_;
}

void DocumentFile::Revert() noexcept {
    file_->Revert();
    ++generation_;
}

std::unique_ptr<compound::CompoundFile> OpenCompoundFile(const std::filesystem::path& path, compound::Access access) {
    return OnStorage([&] { return compound::CompoundFile::Open(compound::OpenFile(path, access), access); });
}

std::unique_ptr<compound::CompoundFile> CreateCompoundFile(const std::filesystem::path& path, compound::Access access,
                                                           int version, Taken taken) {
    const auto create = taken == Taken::IsReplaced ? compound::CreateReplacing : compound::CreateNew;
    return OnStorage([&] { return compound::CompoundFile::Create(create(path, access), version, kFirstNumber); });
}

}  // namespace lumvex::inside
