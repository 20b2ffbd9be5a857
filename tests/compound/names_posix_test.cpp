// Upper case of entry names, against the C library's own table.
#include <clocale>
#include <cwctype>

#include "support.hpp"

namespace lumvex::tests {
namespace {

TEST(Names, HaveTheSimpleUpperCaseOfEveryLetter) {
    const std::string before = std::setlocale(LC_CTYPE, nullptr);
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr) GTEST_SKIP() << "no locale C.UTF-8";
    unsigned letters = 0;
    for (unsigned unit = 0; unit < 0x10000; ++unit) {
        const char16_t upper = UpperCase(static_cast<char16_t>(unit));
        if (upper == unit) continue;  // or a letter newer than our table, which the library may have
        ++letters;
        ASSERT_EQ(static_cast<std::wint_t>(upper), std::towupper(unit)) << std::hex << unit;
    }
    std::setlocale(LC_CTYPE, before.c_str());
    EXPECT_EQ(letters, 1190u);  // of Unicode 14
}

}  // namespace
}  // namespace lumvex::tests
