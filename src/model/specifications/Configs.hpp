// The fixed table of speaker configurations. Each root document has one of its own; it never changes and is not saved.
#pragma once

#include <vector>

#include "model/specifications/Config.hpp"

namespace lumvex::inside {

class CConfigs final : public PlainObject<CConfigs, IConfigs> {
public:
    CConfigs();

    using PlainObject::FindName;  // of the interface; the one below would hide it
    // Positions count from 1. One below 1 answers the first configuration, one beyond the last fails with E_FAIL.
    Ref<CConfig> Item(LONG position) const;
    Ref<IUnknown> _NewEnum() const;
    LONG Count() const { return static_cast<LONG>(list_.size()); }
    // The configuration of exactly this name; null where there is none. Fails with E_POINTER for an empty name, because
    // some hosts pass an empty text as a null pointer.
    Ref<CConfig> FindName(std::u16string_view name) const;

private:
    std::vector<Ref<CConfig>> list_;
};

// Part of both root classes.
class OwnsConfigs {
public:
    class Table {
    public:
        template <class Owner>
        Ref<CConfigs> Get(const Owner&) const {
            return table_;
        }

    private:
        Ref<CConfigs> table_{new CConfigs};
    };
    Table Configs;
};

// The table of the root that owns an object; 4009 when the object is orphaned.
Ref<CConfigs> ConfigsOf(const Object& object);

}  // namespace lumvex::inside
