// Measures what the system itself costs: no format at all, the objects are stored one after the other at known places.
#include <fcntl.h>
#include <unistd.h>

#include <system_error>
#include <utility>

#include "peers/peer.hpp"

namespace lumvex::bench {

namespace {

void Require(bool holds) {
    if (!holds) throw std::system_error(errno, std::generic_category());
}

class Raw final : public Peer {
public:
    explicit Raw(std::string path) : path_(std::move(path)) {}
    ~Raw() override { Close(); }

    // Small objects are collected in a buffer, as any program would do.
    void Save(const Workload& workload) override {
        Open(O_RDWR | O_CREAT | O_EXCL);
        std::size_t held = 0;
        const auto write = [this](Bytes bytes) {
            Require(::write(fd_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
        };
        for (std::uint32_t object = 0; object < workload.Count(); ++object) {
            const Bytes content = workload.ContentOf(object);
            if (content.size() >= kBuffered) {
                write(content);
                continue;
            }
            if (held + content.size() > buffer_.size()) write(buffer_.First(std::exchange(held, 0)));
            std::memcpy(buffer_.data() + held, content.data(), content.size());
            held += content.size();
        }
        if (held != 0) write(buffer_.First(held));
        Require(::fsync(fd_) == 0);
    }

    Bytes ReadOne(const Workload& workload, std::uint32_t object) override {
        Open(O_RDONLY);
        const std::size_t size = workload.SizeOf(object);
        Require(::pread(fd_, buffer_.data(), size, static_cast<off_t>(workload.OffsetOf(object))) ==
                static_cast<ssize_t>(size));
        return buffer_.First(size);
    }

    void ReadAll(const Workload& workload, Tally& tally) override {
        Open(O_RDONLY);
        std::size_t held = 0, used = 0;
        for (std::uint32_t object = 0; object < workload.Count(); ++object) {
            const std::size_t size = workload.SizeOf(object);
            if (held - used < size) {
                std::memmove(buffer_.data(), buffer_.data() + used, held - used);
                held -= std::exchange(used, 0);
                const ssize_t got = ::read(fd_, buffer_.data() + held, buffer_.size() - held);
                Require(got > 0);
                held += static_cast<std::size_t>(got);
            }
            tally.Add(buffer_.First(used + size).subspan(used));
            used += size;
        }
    }

    void ReadEach(const Workload& workload, Tally& tally) override { ReadAll(workload, tally); }

    void Change(const Workload& workload, std::uint32_t object, Bytes content) override {
        Open(O_RDWR);
        Replace(workload, object, content);
    }

    void ChangeMany(const Workload& workload, std::span<const std::uint32_t> objects) override {
        Open(O_RDWR);
        for (const std::uint32_t object : objects) Replace(workload, object, workload.ContentOf(object, 1));
    }

    void Close() override {
        if (fd_ >= 0) ::close(std::exchange(fd_, -1));
    }

private:
    static constexpr std::size_t kBuffered = 4096;

    void Open(int flags) {
        fd_ = ::open(path_.c_str(), flags | O_CLOEXEC, 0666);
        Require(fd_ >= 0);
    }

    void Replace(const Workload& workload, std::uint32_t object, Bytes content) {
        const auto place = static_cast<off_t>(workload.OffsetOf(object));
        Require(::pwrite(fd_, content.data(), content.size(), place) == static_cast<ssize_t>(content.size()));
        Require(::fdatasync(fd_) == 0);
    }

    std::string path_;
    ReadBuffer buffer_;
    int fd_ = -1;
};

}  // namespace

std::unique_ptr<Peer> MakePeer(const std::string& path, const std::string&) { return std::make_unique<Raw>(path); }

}  // namespace lumvex::bench
