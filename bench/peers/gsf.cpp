// Measures libgsf, another library for compound files. It cannot change a file in place: a change writes a new one.
#include <fcntl.h>
#include <gsf/gsf.h>
#include <unistd.h>

#include <cstdio>

#include "peers/peer.hpp"

namespace lumvex::bench {

namespace {

struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
};
template <class T>
using Owned = std::unique_ptr<T, Unref>;

template <class T>
T* Checked(T* object) {
    if (object == nullptr) throw std::runtime_error("libgsf reports an error");
    return object;
}

void Require(bool holds) {
    if (!holds) throw std::runtime_error("libgsf reports an error");
}

class Gsf final : public Peer {
public:
    explicit Gsf(std::string path) : path_(std::move(path)) { gsf_init(); }

    void Save(const Workload& workload) override {
        Writer writer(path_);
        for (std::uint32_t object = 0; object < workload.Count(); ++object)
            writer.Add(NameOf(workload.IdOf(object)), workload.ContentOf(object));
        writer.Add("DIRECTORY", workload.Directory());
        writer.Finish();
    }

    Bytes ReadOne(const Workload& workload, std::uint32_t object) override {
        const auto file = Open();
        return Read(*file, NameOf(workload.IdOf(object)));
    }

    void ReadAll(const Workload& workload, Tally& tally) override {
        const auto file = Open();
        for (std::uint32_t object = 0; object < workload.Count(); ++object)
            tally.Add(Read(*file, NameOf(workload.IdOf(object))));
    }

    void ReadEach(const Workload& workload, Tally& tally) override { ReadAll(workload, tally); }

    void Change(const Workload& workload, std::uint32_t object, Bytes content) override {
        const std::string beside = path_ + ".new";
        {
            const auto file = Open();
            Writer writer(beside);
            for (std::uint32_t each = 0; each < workload.Count(); ++each) {
                const std::string name = NameOf(workload.IdOf(each));
                writer.Add(name, each == object ? content : Read(*file, name));
            }
            const Owned<GsfInput> directory(Checked(gsf_infile_child_by_name(file.get(), "DIRECTORY")));
            const auto size = static_cast<std::size_t>(gsf_input_size(directory.get()));
            const void* bytes = Checked(gsf_input_read(directory.get(), size, nullptr));
            writer.Add("DIRECTORY", {static_cast<const std::byte*>(bytes), size});
            writer.Finish();
        }
        Require(std::rename(beside.c_str(), path_.c_str()) == 0);
    }

private:
    class Writer {
    public:
        explicit Writer(const std::string& path)
            : path_(path),
              output_(Checked(gsf_output_stdio_new(path.c_str(), nullptr))),
              file_(Checked(gsf_outfile_msole_new(output_.get()))) {}

        void Add(const std::string& name, Bytes content) {
            const Owned<GsfOutput> child(Checked(gsf_outfile_new_child(file_.get(), name.c_str(), FALSE)));
            Require(gsf_output_write(child.get(), content.size(), reinterpret_cast<const guint8*>(content.data())));
            Require(gsf_output_close(child.get()));
        }

        void Finish() {
            Require(gsf_output_close(GSF_OUTPUT(file_.get())));
            Require(gsf_output_is_closed(output_.get()) || gsf_output_close(output_.get()));
            const int fd = ::open(path_.c_str(), O_RDWR | O_CLOEXEC);
            const bool durable = fd >= 0 && ::fsync(fd) == 0;
            if (fd >= 0) ::close(fd);
            Require(durable);
        }

    private:
        std::string path_;
        Owned<GsfOutput> output_;
        Owned<GsfOutfile> file_;
    };

    Owned<GsfInfile> Open() {
        const Owned<GsfInput> input(Checked(gsf_input_stdio_new(path_.c_str(), nullptr)));
        return Owned<GsfInfile>(Checked(gsf_infile_msole_new(input.get(), nullptr)));
    }

    Bytes Read(GsfInfile& file, const std::string& name) {
        const Owned<GsfInput> child(Checked(gsf_infile_child_by_name(&file, name.c_str())));
        const auto size = static_cast<std::size_t>(gsf_input_size(child.get()));
        Checked(gsf_input_read(child.get(), size, reinterpret_cast<guint8*>(buffer_.data())));
        return buffer_.First(size);
    }

    std::string path_;
    ReadBuffer buffer_;
};

}  // namespace

std::unique_ptr<Peer> MakePeer(const std::string& path, const std::string&) { return std::make_unique<Gsf>(path); }

}  // namespace lumvex::bench
