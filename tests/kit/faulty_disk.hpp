// A disk for tests that fails on demand and forgets what was not flushed: when its power is cut, and when a flush
// fails. It holds one named file; whoever opens it is a process of its own and sees what others have written, flushed
// or not.
#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

#include "storage/compound/file/file.hpp"

namespace lumvex::tests {

class FaultyDisk {
public:
    using Bytes = std::vector<std::byte>;

    enum class Fault {
        Fails,     // the operation does nothing
        Full,      // the same, for want of room
        Torn,      // a write does its first half
        PowerCut,  // nothing is done from here on; by another file that is opened later, it is: then only a process
                   // died
    };

    explicit FaultyDisk(Bytes content = {}) : named_(std::make_shared<Medium>(std::move(content))) {}

    // The file on this disk; the disk has to live longer.
    std::unique_ptr<compound::File> Open() {
        FailAt(kNever, Fault::Fails);
        return std::make_unique<FileOnIt>(*this, named_, true);
    }

    // An empty file that takes the name when it is published.
    std::unique_ptr<compound::File> OpenNew() {
        FailAt(kNever, Fault::Fails);
        return std::make_unique<FileOnIt>(*this, std::make_shared<Medium>(Bytes{}), false);
    }

    static constexpr int kAfterHeader = -1;  // the operation after the one that changed the header
    static constexpr int kNow = 0;           // from what Before() calls: the operation that is about to be done
    static constexpr int kNever = 1 << 30;

    // Operations are writes, flushes, changes of size and of the name, counted from 1 from now on; so many fail one
    // after the other.
    void FailAt(int operation, Fault fault, int times = 1) {
        operations_ = 0;
        failAt_ = operation;
        times_ = times;
        fault_ = fault;
        tripped_ = flushFailed_ = false;
    }
    bool Tripped() const { return tripped_; }
    bool FlushFailed() const { return flushFailed_; }
    int Operations() const { return operations_; }

    void DenyMapping() { maps_ = false; }

    // Called once before an operation is done, counted as above.
    void Before(int operation, std::function<void()> call) {
        operations_ = 0;
        beforeAt_ = operation;
        before_ = std::move(call);
    }

    // Called when a reader announces itself, with its generation.
    void OnAnnounce(std::function<void(std::uint32_t)> call) { onAnnounce_ = std::move(call); }

    // What a program sees now.
    Bytes Content() const { return named_->Content(); }

    // Does the disk hold the header as it was last written, or none of it at all?
    bool HeaderIsWhole() const { return named_->IsWhole(kBlock); }

    // What is left when the power goes now: all that was flushed, and of what was not, or was lost when a flush failed,
    // nothing (seed 0), all (1) or any choice of its blocks. Disks write 512 bytes whole; a smaller block tears them.
    // A name that was not flushed may be that of the file before.
    Bytes AfterRestart(unsigned seed, std::size_t block = kBlock) const {
        const bool isBefore = unflushedName_ && (seed == 0 || (seed > 1 && seed % 2 == 0));
        return (isBefore ? unflushedName_ : named_)->AfterRestart(seed, block);
    }
    bool NameIsFlushed() const { return unflushedName_ == nullptr; }

private:
    static constexpr std::size_t kBlock = 512;

    struct Operation {
        bool isResize;
        std::size_t offset;  // or the new size
        Bytes bytes;
        enum { Unflushed, Lost, Flushed } state = Unflushed;
    };

    // One file's bytes: what programs see, and what is on the disk.
    struct Medium {
        explicit Medium(Bytes content) : durable(content), now(compound::MemoryFile(std::move(content))) {}

        Bytes Content() const {
            Bytes content(now->Size());
            now->Read(0, content);
            return content;
        }
        void Flush() {
            if (std::ranges::none_of(operations, [](const Operation& each) { return each.state == Operation::Lost; })) {
                durable = Content();
                operations.clear();
            }
            for (Operation& each : operations)
                if (each.state == Operation::Unflushed) each.state = Operation::Flushed;
        }
        void Forget() {
            for (Operation& each : operations)
                if (each.state == Operation::Unflushed) each.state = Operation::Lost;
        }
        bool IsFlushed() const {
            return std::ranges::none_of(operations,
                                        [](const Operation& each) { return each.state == Operation::Unflushed; });
        }
        bool IsWhole(std::size_t size) const {
            return std::ranges::all_of(operations, [size](const Operation& each) {
                return each.offset >= size || each.state == Operation::Flushed;
            });
        }
        Bytes AfterRestart(unsigned seed, std::size_t block) const;

        Bytes durable;
        std::unique_ptr<compound::File> now;
        std::vector<Operation> operations;  // since then
    };

    class FileOnIt final : public compound::File {
    public:
        FileOnIt(FaultyDisk& disk, std::shared_ptr<Medium> medium, bool published)
            : disk_(disk), medium_(std::move(medium)), hasName_(published) {}
        std::uint64_t Size() const override { return medium_->now->Size(); }
        std::optional<std::span<const std::byte>> Map() override {
            if (!disk_.maps_) return std::nullopt;
            mapped_ = medium_->Content();
            return mapped_;
        }
        void Read(std::uint64_t offset, std::span<std::byte> bytes) const override {
            medium_->now->Read(offset, bytes);
        }
        void Write(std::uint64_t offset, std::span<const compound::Piece> pieces) override {
            Bytes bytes;
            for (const compound::Piece& piece : pieces) bytes.insert(bytes.end(), piece.begin(), piece.end());
            const bool fails = disk_.Trips();
            if (fails && disk_.fault_ == Fault::Torn) bytes.resize(bytes.size() / 2 / kBlock * kBlock);
            if (!fails || disk_.fault_ == Fault::Torn) {
                if (offset == 0 && Differs(bytes))
                    for (int* at : {&disk_.failAt_, &disk_.beforeAt_})
                        if (*at == kAfterHeader) *at = disk_.operations_ + 1;
                medium_->now->Write(offset, std::span<const std::byte>(bytes));
                medium_->operations.push_back({false, offset, std::move(bytes)});
            }
            if (fails) disk_.Throw();
        }
        void Flush() override {
            if (disk_.Trips()) {
                medium_->Forget();
                disk_.flushFailed_ = true;
                disk_.Throw();
            }
            medium_->Flush();
            if (disk_.named_ == medium_ && !disk_.FlushName()) disk_.Throw();
        }
        void Resize(std::uint64_t size) override {
            if (disk_.Trips()) disk_.Throw();
            medium_->now->Resize(size);
            medium_->operations.push_back({true, size, {}});
        }
        bool HasName() const override { return hasName_; }
        void RequireName() const override {
            if (hasName_ && disk_.named_ != medium_)
                throw compound::StorageError(compound::Status::NotCurrent, "another file has the name");
        }
        void TakeName() override {
            if (!medium_->IsFlushed()) throw std::logic_error("a file takes its name before it is flushed");
            if (disk_.Trips()) disk_.Throw();
            disk_.unflushedName_ = std::exchange(disk_.named_, medium_);
            hasName_ = true;
            static_cast<void>(disk_.FlushName());
        }
        ~FileOnIt() override {
            if (announced_) disk_.readers_.erase(disk_.readers_.find(*announced_));
        }
        bool AnyReader(std::uint32_t first, std::uint32_t count) const override {
            return std::ranges::any_of(disk_.readers_, [&](std::uint32_t each) { return each - first < count; });
        }
        void AnnounceReader(std::uint32_t generation) override {
            if (announced_) disk_.readers_.erase(disk_.readers_.find(*announced_));
            announced_ = *disk_.readers_.insert(generation);
            if (disk_.onAnnounce_) disk_.onAnnounce_(generation);
        }

    private:
        bool Differs(const Bytes& bytes) const {
            const Bytes now = medium_->Content();
            return bytes.size() > now.size() || !std::equal(bytes.begin(), bytes.end(), now.begin());
        }

        FaultyDisk& disk_;
        std::shared_ptr<Medium> medium_;
        bool hasName_;
        std::optional<std::uint32_t> announced_;
        Bytes mapped_;
    };

    bool FlushName() {
        if (unflushedName_ == nullptr) return true;
        if (Trips()) return false;
        unflushedName_ = nullptr;
        return true;
    }

    // True where the operation has to fail.
    bool Trips() {
        if (++operations_ == beforeAt_) {
            beforeAt_ = kNever;
            before_();
        }
        const bool isTurn = failAt_ <= operations_ && operations_ < failAt_ + times_;
        const bool fails = isTurn || (tripped_ && fault_ == Fault::PowerCut);
        tripped_ = tripped_ || fails;
        return fails;
    }
    [[noreturn]] void Throw() const {
        throw compound::StorageError(
            fault_ == Fault::Full ? compound::Status::MediumFull : compound::Status::WriteFault, "on purpose");
    }

    std::shared_ptr<Medium> named_,
        unflushedName_;  // unflushedName_: what had the name before, as long as it may again
    std::multiset<std::uint32_t> readers_;
    std::function<void(std::uint32_t)> onAnnounce_;
    std::function<void()> before_;
    int operations_ = 0, beforeAt_ = kNever, failAt_ = kNever, times_ = 0;
    Fault fault_ = Fault::Fails;
    bool tripped_ = false, flushFailed_ = false, maps_ = true;
};

inline FaultyDisk::Bytes FaultyDisk::Medium::AfterRestart(unsigned seed, std::size_t block) const {
    std::mt19937 random(seed);
    const auto survives = [&](const Operation& operation) {
        return operation.state == Operation::Flushed || seed == 1 || (seed > 1 && random() % 2 == 0);
    };
    Bytes left = durable;
    for (const Operation& operation : operations) {
        if (operation.isResize) {
            if (survives(operation)) left.resize(operation.offset);
            continue;
        }
        for (std::size_t begin = 0; begin < operation.bytes.size();) {
            const std::size_t at = operation.offset + begin;
            const std::size_t length = std::min(block - at % block, operation.bytes.size() - begin);
            if (survives(operation)) {
                left.resize(std::max(left.size(), at + length));
                std::copy_n(operation.bytes.begin() + static_cast<std::ptrdiff_t>(begin), length,
                            left.begin() + static_cast<std::ptrdiff_t>(at));
            }
            begin += length;
        }
    }
    return left;
}

}  // namespace lumvex::tests
