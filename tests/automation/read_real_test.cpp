// The replacement of from_chars against the standard library's own, where there is one.
#include "numbers/replaced/read_real.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

template <class Real>
struct Read {
    std::errc error;
    std::ptrdiff_t length;
    Real value;
    bool operator==(const Read&) const = default;
};

template <class Real>
void ExpectTheSame(const std::string& text) {
    const char* const first = text.data();
    const char* const last = first + text.size();
    const Real before = 42;
    Real ours = before, theirs = before;
    const auto [ourEnd, ourError] = lumvex::inside::ReadReal(first, last, ours);
    const auto [theirEnd, theirError] = std::from_chars(first, last, theirs);
    EXPECT_EQ((Read<Real>{ourError, ourEnd - first, ours}), (Read<Real>{theirError, theirEnd - first, theirs})) << text;
    EXPECT_EQ(std::signbit(ours), std::signbit(theirs)) << text;
}

TEST(ReadReal, TheReplacementReadsAsTheStandardLibrary) {
    std::vector<std::string> texts{"",
                                   "-",
                                   "+1",
                                   ".",
                                   "-.",
                                   "1",
                                   "-1",
                                   "1.",
                                   ".5",
                                   "-.5",
                                   "1.5.5",
                                   "1,5",
                                   "1e",
                                   "1e+",
                                   "1e-x",
                                   "1e5x",
                                   "1E+05",
                                   "0",
                                   "-0",
                                   "-0.0",
                                   "0e999",
                                   "1e999",
                                   "-1e999",
                                   "1e-999",
                                   "4e-324",
                                   "1e-45",
                                   "1e39",
                                   "3.5e38",
                                   "0x10",
                                   " 1",
                                   "1 ",
                                   "--1",
                                   "e5",
                                   ".e5",
                                   "4.9406564584124654e-324",
                                   "2.2250738585072011e-308",
                                   "1.7976931348623157e308",
                                   "1.7976931348623159e308",
                                   std::string(2000, '9') + "e-1990",
                                   "0." + std::string(2000, '0') + "1e2001"};
    std::mt19937_64 random(1);
    for (int i = 0; i < 5000; ++i) {
        const auto any = std::bit_cast<double>(random());
        if (!std::isfinite(any)) continue;
        char text[64];
        texts.emplace_back(text, std::to_chars(text, std::end(text), any).ptr);
        texts.emplace_back(text, std::to_chars(text, std::end(text), static_cast<float>(random()) * 1e-20f).ptr);
    }
    for (const std::string& text : texts) {
        ExpectTheSame<double>(text);
        ExpectTheSame<float>(text);
    }
}

}  // namespace
