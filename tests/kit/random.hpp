// Random numbers that come out alike on every system.
#pragma once

#include <cstdint>

namespace lumvex::tests {

class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed * 0xD1342543DE82EF95u) { state_ = Next(); }

    std::uint64_t Next() {
        std::uint64_t mixed = state_ += 0x9E3779B97F4A7C15u;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
        return mixed ^ (mixed >> 31);
    }
    std::size_t Below(std::size_t count) { return static_cast<std::size_t>(Next() % count); }
    bool OneIn(std::size_t count) { return Below(count) == 0; }
    template <class T, std::size_t N>
    T Of(const T (&values)[N]) {
        return values[Below(N)];
    }

private:
    std::uint64_t state_;
};

}  // namespace lumvex::tests
