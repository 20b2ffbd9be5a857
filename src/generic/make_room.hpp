// Makes room in a list before the start of something that must not fail.
#pragma once

#include <algorithm>
#include <vector>

namespace lumvex {

// What MakeRoom() does where there is not enough room: seldom, and therefore apart from where it is asked.
template <class T, class Allocator>
[[gnu::noinline]] void MoveToMoreRoom(std::vector<T, Allocator>& vector, std::size_t more) {
    vector.reserve(std::max(vector.size() + more, 2 * vector.capacity()));
}

// Room for so many more elements, so that adding them cannot fail.
template <class T, class Allocator>
void MakeRoom(std::vector<T, Allocator>& vector, std::size_t more) {
    if (vector.capacity() - vector.size() < more) MoveToMoreRoom(vector, more);
}

}  // namespace lumvex
