#include "storage/compound/write/balanced_tree.hpp"

#include <bit>
#include <vector>

namespace lumvex::compound {

namespace {

constexpr int kLevelsTogether = 5;  // 31 entries: a version 4 sector

// The numbers of a subtree, and how deep its top is.
struct Range {
    std::uint32_t begin, end;
    int depth;

    std::uint32_t Middle() const { return begin + (end - begin) / 2; }
};

}  // namespace

BalancedTree::BalancedTree(std::uint32_t count) : nodes(count) {
    if (count == 0) return;
    // All levels are full and black, but for the last one, which is red.
    const int fullLevels = static_cast<int>(std::bit_width(std::uint64_t{count} + 1)) - 1;
    order.reserve(count);
    std::vector<Range> blocks{{0, count, 0}};
    top = blocks.front().Middle();
    std::vector<Range> level, below;
    while (!blocks.empty()) {
        level.assign(1, blocks.back());
        blocks.pop_back();
        for (int i = 0; i < kLevelsTogether && !level.empty(); ++i) {
            below.clear();
            for (const Range& range : level) {
                const std::uint32_t middle = range.Middle();
                const Range left{range.begin, middle, range.depth + 1}, right{middle + 1, range.end, range.depth + 1};
                order.push_back(middle);
                Node& node = nodes[middle];
                node.colour = range.depth < fullLevels ? Colour::Black : Colour::Red;
                if (left.begin < left.end) node.left = left.Middle(), below.push_back(left);
                if (right.begin < right.end) node.right = right.Middle(), below.push_back(right);
            }
            level.swap(below);
        }
        blocks.insert(blocks.end(), level.rbegin(), level.rend());
    }
}

}  // namespace lumvex::compound
