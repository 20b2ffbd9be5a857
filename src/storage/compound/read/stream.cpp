#include "storage/compound/read/stream.hpp"

#include <utility>

#include "storage/compound/read/stream_body.hpp"

namespace lumvex::compound {

Stream::Stream(std::shared_ptr<StreamBody> body) : body_(std::move(body)) {}

std::uint64_t Stream::Size() const { return body_->size; }

void Stream::Read(std::uint64_t offset, std::span<std::byte> bytes) const { body_->Read(offset, bytes); }

const std::byte* Stream::Contiguous(std::uint64_t offset, std::uint64_t count) const {
    return body_->Contiguous(offset, count);
}

}  // namespace lumvex::compound
