// An item's reference to a speaker configuration. The item and its record keep the number; the object comes from the
// table of the root that owns the item.
#pragma once

#include "model/specifications/Configs.hpp"
#include "storage/records/record_reader.hpp"
#include "storage/records/record_writer.hpp"

namespace lumvex::inside {

class ConfigReference {
public:
    // 4009 when the item is orphaned.
    template <class Owner>
    Ref<CConfig> Get(const Owner& owner) const {
        return ConfigsOf(owner)->Item(Id());
    }

    LXConfig Id() const;  // 4009 when there is none yet
    void Point(LXConfig id) { id_ = id; }
    void CopyFrom(const ConfigReference& other) { id_ = other.id_; }

private:
    LXConfig id_{};  // 0: none yet
};

// In a record: the number, 32 bits. A number below 1 reads as 1, a number above 4 fails with E_FAIL.
void SaveField(RecordWriter& writer, const ConfigReference& field);
void LoadField(RecordReader& reader, ConfigReference& field);

}  // namespace lumvex::inside
