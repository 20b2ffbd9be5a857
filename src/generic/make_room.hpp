// Makes room in a list before the start of something that must not fail.
#pragma once

#include <algorithm>
#include <vector>

namespace lumvex {

// Room for so many more elements, so that adding them cannot fail.
template <class T>
void MakeRoom(std::vector<T>& vector, std::size_t more) {
    const std::size_t needed = vector.size() + more;
    if (vector.capacity() < needed) vector.reserve(std::max(needed, 2 * vector.capacity()));
}

}  // namespace lumvex
