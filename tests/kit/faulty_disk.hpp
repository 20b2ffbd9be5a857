// A disk for tests that fails on demand and forgets what was not flushed when its power is cut.
#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "storage/compound/file.hpp"

namespace lumvex::tests {

class FaultyDisk {
public:
    using Bytes = std::vector<std::byte>;

    enum class Fault {
        Fails,     // the operation does nothing
        Full,      // the same, for want of room
        Torn,      // a write does its first half
        PowerCut,  // nothing is done from here on
    };

    explicit FaultyDisk(Bytes content = {}) : durable_(content), now_(compound::MemoryFile(std::move(content))) {}

    // The file on this disk; the disk has to live longer.
    std::unique_ptr<compound::File> Open() { return std::make_unique<FileOnIt>(*this); }

    // Operations are writes, flushes and changes of size, counted from 1 from now on; so many fail one after the other.
    void FailAt(int operation, Fault fault, int times = 1) {
        operations_ = 0;
        failAt_ = operation;
        times_ = times;
        fault_ = fault;
        tripped_ = false;
    }
    bool Tripped() const { return tripped_; }
    int Operations() const { return operations_; }

    // Called when a reader announces itself, with its generation.
    void OnAnnounce(std::function<void(std::uint32_t)> call) { onAnnounce_ = std::move(call); }

    // What a program sees now.
    Bytes Content() const {
        Bytes content(now_->Size());
        now_->Read(0, content);
        return content;
    }

    // What is left when the power goes now: all that was flushed, and of what was not, nothing (seed 0), all (1) or any
    // choice of its 512-byte blocks.
    Bytes AfterRestart(unsigned seed) const {
        std::mt19937 random(seed);
        const auto survives = [&] { return seed == 1 || (seed > 1 && random() % 2 == 0); };
        Bytes left = durable_;
        for (const Operation& operation : unflushed_) {
            if (operation.isResize) {
                if (survives()) left.resize(operation.offset);
                continue;
            }
            for (std::size_t begin = 0; begin < operation.bytes.size();) {
                const std::size_t at = operation.offset + begin;
                const std::size_t length = std::min(kBlock - at % kBlock, operation.bytes.size() - begin);
                if (survives()) {
                    left.resize(std::max(left.size(), at + length));
                    std::copy_n(operation.bytes.begin() + static_cast<std::ptrdiff_t>(begin), length,
                                left.begin() + static_cast<std::ptrdiff_t>(at));
                }
                begin += length;
            }
        }
        return left;
    }

private:
    static constexpr std::size_t kBlock = 512;

    struct Operation {
        bool isResize;
        std::size_t offset;  // or the new size
        Bytes bytes;
    };

    class FileOnIt final : public compound::File {
    public:
        explicit FileOnIt(FaultyDisk& disk) : disk_(disk) {}
        std::uint64_t Size() const override { return disk_.now_->Size(); }
        std::span<const std::byte> Map() override { return disk_.now_->Map(); }
        void Read(std::uint64_t offset, std::span<std::byte> bytes) const override { disk_.now_->Read(offset, bytes); }
        void Write(std::uint64_t offset, std::span<const compound::Piece> pieces) override {
            Bytes bytes;
            for (const compound::Piece& piece : pieces) bytes.insert(bytes.end(), piece.begin(), piece.end());
            disk_.Write(offset, std::move(bytes));
        }
        void Flush() override {
            disk_.Step(compound::Status::WriteFault);
            disk_.durable_ = disk_.Content();
            disk_.unflushed_.clear();
        }
        void Resize(std::uint64_t size) override {
            disk_.Step(compound::Status::WriteFault);
            disk_.now_->Resize(size);
            disk_.unflushed_.push_back({true, size, {}});
        }
        void AnnounceReader(std::uint32_t generation) override {
            if (disk_.onAnnounce_) disk_.onAnnounce_(generation);
        }

    private:
        FaultyDisk& disk_;
    };

    // True where the operation has to fail.
    bool Trips() {
        ++operations_;
        const bool isTurn = failAt_ <= operations_ && operations_ < failAt_ + times_;
        const bool fails = isTurn || (tripped_ && fault_ == Fault::PowerCut);
        tripped_ = tripped_ || fails;
        return fails;
    }
    void Step(compound::Status status) {
        if (Trips())
            throw compound::Failure(fault_ == Fault::Full ? compound::Status::MediumFull : status, "on purpose");
    }
    void Write(std::uint64_t offset, Bytes bytes) {
        const bool fails = Trips();
        if (fails && fault_ == Fault::Torn) bytes.resize(bytes.size() / 2 / kBlock * kBlock);
        if (!fails || fault_ == Fault::Torn) {
            now_->Write(offset, std::span<const std::byte>(bytes));
            unflushed_.push_back({false, offset, std::move(bytes)});
        }
        if (fails)
            throw compound::Failure(fault_ == Fault::Full ? compound::Status::MediumFull : compound::Status::WriteFault,
                                    "on purpose");
    }

    Bytes durable_;
    std::unique_ptr<compound::File> now_;
    std::vector<Operation> unflushed_;
    std::function<void(std::uint32_t)> onAnnounce_;
    int operations_ = 0, failAt_ = 0, times_ = 0;
    Fault fault_ = Fault::Fails;
    bool tripped_ = false;
};

}  // namespace lumvex::tests
