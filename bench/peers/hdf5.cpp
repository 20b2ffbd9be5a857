// Measures HDF5 in its newest format: each object is a dataset of bytes, kept in its header where it fits, and the
// directory is one more dataset.
#include <fcntl.h>
#include <hdf5.h>
#include <unistd.h>

#include <utility>

#include "peers/peer.hpp"

namespace lumvex::bench {

namespace {

hid_t Checked(hid_t id) {
    if (id < 0) throw std::runtime_error("HDF5 reports an error");
    return id;
}

// An identifier that is closed by the function of its kind.
class Handle {
public:
    Handle(hid_t id, herr_t (*close)(hid_t)) : id_(Checked(id)), close_(close) {}
    ~Handle() { close_(id_); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    operator hid_t() const { return id_; }

private:
    hid_t id_;
    herr_t (*close_)(hid_t);
};

class Hdf5 final : public Peer {
public:
    explicit Hdf5(std::string path) : path_(std::move(path)) {}
    ~Hdf5() override { Close(); }

    void Save(const Workload& workload) override {
        const Handle access(NewestFormat(), H5Pclose);
        file_ = Checked(H5Fcreate(path_.c_str(), H5F_ACC_EXCL, H5P_DEFAULT, access));
        for (std::uint32_t object = 0; object < workload.Count(); ++object)
            Create(NameOf(workload.IdOf(object)), workload.ContentOf(object));
        Create("DIRECTORY", workload.Directory());
        MakeDurable();
    }

    Bytes ReadOne(const Workload& workload, std::uint32_t object) override {
        Open(H5F_ACC_RDONLY);
        return Read(workload, object);
    }

    void ReadAll(const Workload& workload, Tally& tally) override {
        Open(H5F_ACC_RDONLY);
        for (std::uint32_t object = 0; object < workload.Count(); ++object) tally.Add(Read(workload, object));
    }

    void ReadEach(const Workload& workload, Tally& tally) override { ReadAll(workload, tally); }

    void Change(const Workload& workload, std::uint32_t object, Bytes content) override {
        Open(H5F_ACC_RDWR);
        {
            const Handle dataset(H5Dopen2(file_, NameOf(workload.IdOf(object)).c_str(), H5P_DEFAULT), H5Dclose);
            Checked(H5Dwrite(dataset, H5T_NATIVE_UCHAR, H5S_ALL, H5S_ALL, H5P_DEFAULT, content.data()));
        }
        MakeDurable();
    }

    void Close() override {
        if (file_ >= 0) H5Fclose(std::exchange(file_, -1));
    }

private:
    static hid_t NewestFormat() {
        const hid_t access = Checked(H5Pcreate(H5P_FILE_ACCESS));
        Checked(H5Pset_libver_bounds(access, H5F_LIBVER_LATEST, H5F_LIBVER_LATEST));
        return access;
    }

    void Open(unsigned flags) {
        const Handle access(NewestFormat(), H5Pclose);
        file_ = Checked(H5Fopen(path_.c_str(), flags, access));
    }

    void Create(const std::string& name, Bytes content) {
        constexpr std::size_t kMostInHeader = 60'000;
        const hsize_t size = content.size();
        const Handle space(H5Screate_simple(1, &size, nullptr), H5Sclose);
        const Handle how(H5Pcreate(H5P_DATASET_CREATE), H5Pclose);
        Checked(H5Pset_obj_track_times(how, false));
        Checked(H5Pset_layout(how, size <= kMostInHeader ? H5D_COMPACT : H5D_CONTIGUOUS));
        const Handle dataset(H5Dcreate2(file_, name.c_str(), H5T_NATIVE_UCHAR, space, H5P_DEFAULT, how, H5P_DEFAULT),
                             H5Dclose);
        Checked(H5Dwrite(dataset, H5T_NATIVE_UCHAR, H5S_ALL, H5S_ALL, H5P_DEFAULT, content.data()));
    }

    Bytes Read(const Workload& workload, std::uint32_t object) {
        const Handle dataset(H5Dopen2(file_, NameOf(workload.IdOf(object)).c_str(), H5P_DEFAULT), H5Dclose);
        const Handle space(H5Dget_space(dataset), H5Sclose);
        const auto size = static_cast<std::size_t>(H5Sget_simple_extent_npoints(space));
        Checked(H5Dread(dataset, H5T_NATIVE_UCHAR, H5S_ALL, H5S_ALL, H5P_DEFAULT, buffer_.data()));
        return buffer_.First(size);
    }

    // HDF5's own flush only hands the bytes to the system, so the file is synchronized here.
    void MakeDurable() {
        Checked(H5Fflush(file_, H5F_SCOPE_GLOBAL));
        Close();
        const int fd = ::open(path_.c_str(), O_RDWR | O_CLOEXEC);
        const bool durable = fd >= 0 && ::fsync(fd) == 0;
        if (fd >= 0) ::close(fd);
        if (!durable) throw std::runtime_error("the file cannot be made durable");
    }

    std::string path_;
    ReadBuffer buffer_;
    hid_t file_ = -1;
};

}  // namespace

std::unique_ptr<Peer> MakePeer(const std::string& path, const std::string&) { return std::make_unique<Hdf5>(path); }

}  // namespace lumvex::bench
