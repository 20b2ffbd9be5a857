// The crossover designs for one speaker configuration.
#pragma once

#include "core/tree/item.hpp"
#include "model/project/SpkrEQDesigns.hpp"
#include "model/specifications/config_reference.hpp"

namespace lumvex::inside {

// The speaker configuration of an entry, given once: copying another entry into this one leaves it as it is.
class OwnConfig : public ConfigReference {
public:
    void Point(LXConfig id) {
        ConfigReference::Point(id);
        given_ = true;
    }
    void CopyFrom(const OwnConfig& other) {
        if (!given_) Point(other.Id());
    }

private:
    bool given_ = false;
};

inline void LoadField(RecordReader& reader, OwnConfig& field) {
    ConfigReference stored;
    LoadField(reader, stored);
    field.Point(stored.Id());
}

class CCrossoverConfig final : public Item<CCrossoverConfig, ICrossoverConfig> {
public:
    Child<CSpkrEQDesigns> SpkrEQDesigns;
    OwnConfig Config;

    LXConfig ConfigID() const { return Config.Id(); }
};

template <>
struct RecordOf<CCrossoverConfig> : Record<CCrossoverConfig> {
    static constexpr auto fields = std::tuple{&CCrossoverConfig::SpkrEQDesigns, &CCrossoverConfig::Config};
};

}  // namespace lumvex::inside
