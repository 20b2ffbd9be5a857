// One speaker configuration: how many amplifier outputs a speaker uses.
#pragma once

#include "core/published/plain_object.hpp"

namespace lumvex::inside {

class CConfig final : public PlainObject<CConfig, IConfig> {
public:
    CConfig(LXConfig id, LONG outputCount) : id_(id), outputCount_(outputCount) {}

    LONG OutputCount() const { return outputCount_; }
    LXConfig ConfigID() const { return id_; }
    std::u16string_view Name() const;

private:
    LXConfig id_;
    LONG outputCount_;
};

}  // namespace lumvex::inside
