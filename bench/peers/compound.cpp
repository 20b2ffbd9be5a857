// Measures our engine alone: each object is a stream, and the directory is one more.
#include <algorithm>

#include "peers/peer.hpp"
#include "storage/compound/engine/compound_file.hpp"
#include "storage/compound/format/object_name.hpp"

namespace lumvex::bench {

namespace {

using namespace lumvex::compound;

class Compound final : public Peer {
public:
    explicit Compound(std::string path) : path_(std::move(path)) {}

    void Save(const Workload& workload) override {
        const int version = workload.Payload() < kLarge ? 3 : 4;
        file_ = CompoundFile::Create(CreateReplacing(path_, Access::Exclusive), version);
        for (std::uint32_t object = 0; object < workload.Count(); ++object)
            Write(Name(workload, object), workload.ContentOf(object));
        Write(kDirectory, workload.Directory());
        file_->Commit();
    }

    Bytes ReadOne(const Workload& workload, std::uint32_t object) override {
        Open(Access::ReadShared);
        return Read(workload, object);
    }

    void ReadEach(const Workload& workload, Tally& tally) override {
        Open(Access::ReadShared);
        for (std::uint32_t object = 0; object < workload.Count(); ++object) tally.Add(Read(workload, object));
    }

    void ReadAll(const Workload&, Tally& tally) override {
        Open(Access::ReadShared);
        file_->ReadAll([&](std::u16string_view name, Bytes content) {
            if (name != kDirectory) tally.Add(content);
        });
    }

    void Change(const Workload& workload, std::uint32_t object, Bytes content) override {
        Open(Access::Exclusive);
        Write(Name(workload, object), content);
        file_->Commit();
    }

    void ChangeMany(const Workload& workload, std::span<const std::uint32_t> objects) override {
        Open(Access::Exclusive);
        for (const std::uint32_t object : objects) {
            Write(Name(workload, object), workload.ContentOf(object, 1));
            file_->Commit();
        }
    }

    void Close() override {
        if (file_) bytesRead_ = file_->Counters().bytesRead;
        file_.reset();
    }

    std::uint64_t BytesRead() const override { return bytesRead_; }

private:
    static constexpr std::uint64_t kLarge = std::uint64_t{1} << 20;  // documents of this size get the larger sectors

    static constexpr std::u16string_view kDirectory = u"DIRECTORY";

    static std::u16string Name(const Workload& workload, std::uint32_t object) {
        return NameOfId(workload.IdOf(object));
    }

    void Open(Access access) { file_ = CompoundFile::Open(OpenFile(path_, access), access); }

    void Write(std::u16string_view name, Bytes content) { file_->Write(name, std::span<const Piece>(&content, 1)); }

    Bytes Read(const Workload& workload, std::uint32_t object) {
        const Stream stream = file_->Get(Name(workload, object));
        const auto into = buffer_.First(static_cast<std::size_t>(stream.Size()));
        stream.Read(0, into);
        return into;
    }

    std::string path_;
    ReadBuffer buffer_;
    std::unique_ptr<CompoundFile> file_;
    std::uint64_t bytesRead_ = 0;
};

}  // namespace

std::unique_ptr<Peer> MakePeer(const std::string& path, const std::string&) { return std::make_unique<Compound>(path); }

}  // namespace lumvex::bench
