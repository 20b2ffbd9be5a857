// One speaker configuration: how many amplifier outputs a speaker uses.
#pragma once

#include "core/published/plain_object.hpp"

namespace lumvex::inside {

class CConfig : public PlainObject {
public:
    static Ref<CConfig> Make(LXConfig id, LONG outputCount);

    LONG OutputCount() const { return outputCount_; }
    LXConfig ConfigID() const { return id_; }
    std::u16string_view Name() const;

private:
    LXConfig id_{};
    LONG outputCount_ = 0;
    mutable std::u16string_view name_;  // empty until somebody asks for it
};

}  // namespace lumvex::inside
