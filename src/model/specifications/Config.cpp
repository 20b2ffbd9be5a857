#include "model/specifications/Config.hpp"

#include "core/base/strings.hpp"

namespace lumvex::inside {

namespace {
constexpr int kFirstName = 4269;
}

std::u16string_view CConfig::Name() const { return StringOf(kFirstName + id_ - LX_SINGLEAMP); }

}  // namespace lumvex::inside
