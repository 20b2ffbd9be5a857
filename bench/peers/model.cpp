// Measures our documents through the published interfaces: each object is an IDatum of a project, with an array of
// floats. The mode "bounded" reads under cache bounds of 100 and 1,000 objects.
#include "lumvex/diagnostics.hpp"
#include "lumvex/lumvex.hpp"
#include "peers/peer.hpp"

namespace lumvex::bench {

namespace {

Array ArrayOf(Bytes content) {
    std::vector<float> values(content.size() / sizeof(float));
    std::memcpy(values.data(), content.data(), content.size());
    return Array::FromColumns(values, values.size(), 1);
}

class Model final : public Peer {
public:
    Model(const std::string& path, const std::string& mode)
        : path_(path.begin(), path.end()), bounded_(mode == "bounded"), project_(Project::Create()) {}

    void Prepare(const Workload& workload) override {
        const Data data = project_.Data();
        for (std::uint32_t object = 0; object < workload.Count(); ++object) {
            const std::string name = "Datum " + std::to_string(object);
            data.Add(std::u16string(name.begin(), name.end())).Data(ArrayOf(workload.ContentOf(object)));
        }
    }

    void Save(const Workload&) override {
        project_.SaveFileAs(path_);
        keepsTree_ = true;
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
        const Array array = ArrayOf(content);
        Open(LX_EXCLUSIVE_READWRITE);
        project_.Data().Item(static_cast<LONG>(object) + 1).Data(array);
        project_.SaveFile();
    }

    // The tree was made to be saved; the time to release it is not part of saving.
    void Close() override {
        bytesRead_ = StatisticsOf(project_.Get()).bytesRead;
        if (!keepsTree_) project_ = Project();
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
    bool bounded_, keepsTree_ = false;
    Project project_;
    Array array_;
    std::uint64_t bytesRead_ = 0;
};

}  // namespace

std::unique_ptr<Peer> MakePeer(const std::string& path, const std::string& mode) {
    return std::make_unique<Model>(path, mode);
}

}  // namespace lumvex::bench
