// Reads through content that a caller hands over in pieces.
#pragma once

#include <algorithm>
#include <cstring>
#include <vector>

#include "storage/compound/file/file.hpp"

namespace lumvex::compound {

class PieceCursor {
public:
    explicit PieceCursor(std::span<const Piece> pieces) : pieces_(pieces) {}

    // The next adjacent bytes, at most count; empty at the end only.
    Piece Next(std::uint64_t count) {
        while (!pieces_.empty() && within_ == pieces_.front().size()) {
            pieces_ = pieces_.subspan(1);
            within_ = 0;
        }
        if (pieces_.empty()) return {};
        const Piece rest = pieces_.front().subspan(within_);
        const Piece next = rest.first(static_cast<std::size_t>(std::min<std::uint64_t>(rest.size(), count)));
        within_ += next.size();
        return next;
    }

    // Whether the next count bytes are these; goes on behind them either way.
    bool Equals(const std::byte* bytes, std::uint64_t count) {
        bool equal = true;
        while (count != 0) {
            const Piece next = Next(count);
            equal = equal && std::memcmp(bytes, next.data(), next.size()) == 0;
            bytes += next.size();
            count -= next.size();
        }
        return equal;
    }

    void Skip(std::uint64_t count) {
        while (count != 0) count -= Next(count).size();
    }

private:
    std::span<const Piece> pieces_;
    std::size_t within_ = 0;
};

}  // namespace lumvex::compound
