// Measures our documents through the published interfaces: each object is an IDatum of a project, with an array of
// floats. The mode "bounded" reads under cache bounds of 100 and 1,000 objects.
#include "lumvex/diagnostics.hpp"
#include "lumvex/lumvex.hpp"
#include "peers/peer.hpp"

namespace lumvex::bench {

namespace {

Array ArrayOf(Bytes content) {
    const std::span values(reinterpret_cast<const float*>(content.data()), content.size() / sizeof(float));
    return Array::FromColumns(values, values.size(), 1);
}

class Model final : public Peer {
public:
    Model(const std::string& path, const std::string& mode)
        : path_(path.begin(), path.end()), bounded_(mode == "bounded"), project_(Project::Create()) {}

    void Save(const Workload& workload) override {
        const Data data = project_.Data();
        for (std::uint32_t object = 0; object < workload.Count(); ++object) {
            const std::string name = "Datum " + std::to_string(object);
            data.Add(std::u16string(name.begin(), name.end())).Data(ArrayOf(workload.ContentOf(object)));
        }
        project_.SaveFileAs(path_);
    }

    Bytes ReadOne(const Workload&, std::uint32_t object) override {
        Open(LX_SHARE_READ);
        return Read(project_.Data().Item(static_cast<LONG>(object) + 1));
    }

    void ReadAll(const Workload& workload, Tally& tally) override {
        Open(LX_SHARE_READ);
        const Data data = project_.Data();
        for (LONG position = 1; position <= static_cast<LONG>(workload.Count()); ++position)
            tally.Add(Read(data.Item(position)));
    }

    void ReadEach(const Workload& workload, Tally& tally) override { ReadAll(workload, tally); }

    void Change(const Workload&, std::uint32_t object, Bytes content) override {
        Open(LX_EXCLUSIVE_READWRITE);
        project_.Data().Item(static_cast<LONG>(object) + 1).Data(ArrayOf(content));
        project_.SaveFile();
    }

    void ChangeMany(const Workload& workload, std::span<const std::uint32_t> objects) override {
        Open(LX_EXCLUSIVE_READWRITE);
        for (const std::uint32_t object : objects) {
            project_.Data().Item(static_cast<LONG>(object) + 1).Data(ArrayOf(workload.ContentOf(object, 1)));
            project_.SaveFile();
        }
    }

    // All that a client does: closing the file, and then letting the project go.
    void Close() override {
        if (!project_.Get()) return;
        bytesRead_ = StatisticsOf(project_.Get()).bytesRead;
        project_.CloseFile();
        project_ = Project();
    }

    std::uint64_t BytesRead() const override { return bytesRead_; }

private:
    void Open(LXAccessMode mode) {
        project_.AccessMode(mode);
        if (bounded_) project_.SetCacheBounds(100, 1000);
        project_.OpenFile(path_);
    }

    Bytes Read(const Datum& datum) {
        array_ = Array(datum.Data());
        return std::as_bytes(array_.Values<float>());
    }

    std::u16string path_;
    bool bounded_;
    Project project_;
    Array array_;
    std::uint64_t bytesRead_ = 0;
};

}  // namespace

std::unique_ptr<Peer> MakePeer(const std::string& path, const std::string& mode) {
    return std::make_unique<Model>(path, mode);
}

}  // namespace lumvex::bench
