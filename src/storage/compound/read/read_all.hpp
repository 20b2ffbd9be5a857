// Reads everything at the speed of the disk: streams in file order, in place where the file is mapped. This takes less
// time than copying them would, even if the visitor looks at every byte.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string_view>

#include "storage/compound/read/committed.hpp"

namespace lumvex::compound {

// The bytes are valid during the visit.
using VisitStream = std::function<void(std::u16string_view name, std::span<const std::byte> bytes)>;

// Corrupt where streams need more sectors than the file has, as streams that share sectors do.
void ReadAllStreams(std::shared_ptr<Committed> committed, const VisitStream& visit);

}  // namespace lumvex::compound
