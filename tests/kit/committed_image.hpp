// What a compound file in memory holds, and where in its bytes, for tests that look at it or damage it.
#pragma once

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "storage/compound/read/stream_body.hpp"

namespace lumvex::tests {

class CommittedImage {
public:
    explicit CommittedImage(const std::vector<std::byte>& image)
        : volume_(compound::MemoryFile(image), HeaderOf(image)) {
        volume_.Map();
        volume_.InPlace(0, image.size());  // from now on all is read in the mapping
        state_ = std::make_shared<compound::Committed>(volume_);
    }

    const std::shared_ptr<compound::Committed>& State() const { return state_; }
    compound::Committed* operator->() const { return state_.get(); }

    // Where in the image an entry of the directory begins.
    std::size_t OffsetOf(compound::EntryId id) const {
        compound::FileView::Window none;
        return static_cast<std::size_t>(state_->At(id).bytes() - volume_.Bytes(0, 1, none));
    }
    std::size_t OffsetOf(std::u16string_view name) const {
        std::array<char16_t, compound::kMaxNameLength> buffer;
        for (compound::EntryId id = 1; id < state_->EntryCount(); ++id)
            if (state_->At(id).Name(buffer) == name) return OffsetOf(id);
        throw std::invalid_argument("no entry has this name");
    }

private:
    static compound::Header HeaderOf(const std::vector<std::byte>& image) {
        compound::Header::Bytes head;
        std::copy_n(image.begin(), head.size(), head.begin());
        return compound::Header::Parse(head);
    }

    compound::Volume volume_;
    std::shared_ptr<compound::Committed> state_;
};

}  // namespace lumvex::tests
