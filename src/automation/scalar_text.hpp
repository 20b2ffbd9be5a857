// Numbers and dates as text, the same in every locale.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "lumvex/native_automation.hpp"

namespace lumvex::inside {

// A number as its source held it, so that nothing is lost before the target's type is known.
class Number {
public:
    Number() noexcept : Number(std::int64_t{0}) {}
    Number(std::int64_t value) noexcept : kind_(Kind::Signed), signed_(value) {}
    Number(std::uint64_t value) noexcept : kind_(Kind::Unsigned), unsigned_(value) {}
    Number(float value) noexcept : kind_(Kind::Single), single_(value) {}
    Number(double value) noexcept : kind_(Kind::Double), double_(value) {}
    Number(CY value) noexcept : kind_(Kind::Money), money_(value) {}

    // Calls the work with the value as the type that it is. (std::visit, unlike this, may throw.)
    template <class Work>
    auto Visit(Work&& work) const {
        switch (kind_) {
            case Kind::Signed:
                return work(signed_);
            case Kind::Unsigned:
                return work(unsigned_);
            case Kind::Single:
                return work(single_);
            case Kind::Double:
                return work(double_);
            case Kind::Money:
                break;
        }
        return work(money_);
    }

private:
    enum class Kind { Signed, Unsigned, Single, Double, Money } kind_;
    union {
        std::int64_t signed_;
        std::uint64_t unsigned_;
        float single_;
        double double_;
        CY money_;
    };
};

// Digits with a decimal point and exponent, or &H and &O numbers, blanks around allowed. DISP_E_TYPEMISMATCH for
// anything else, DISP_E_OVERFLOW beyond (or too small for) a double. Commas are refused: whether they group digits or
// mark decimals depends on who wrote them.
HRESULT ParseNumber(std::u16string_view text, Number& number) noexcept;

// Integers and money exactly, a float with 7 and a double with 15 significant digits.
std::u16string NumberText(const Number& number);

// "2011-05-25 14:03:00"; without the time at midnight, without the date on day 0. Read with a blank or T between, and
// without seconds too.
std::optional<DATE> ParseDate(std::u16string_view text) noexcept;
std::optional<std::u16string> DateText(DATE date);

// The text without blanks and tabs around it.
std::u16string_view Trim(std::u16string_view text) noexcept;

}  // namespace lumvex::inside
