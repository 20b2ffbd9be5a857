#include "model/specifications/config_reference.hpp"

namespace lumvex::inside {

LXConfig ConfigReference::Id() const {
    if (id_ == 0) throw Failure(Message::Orphaned);
    return id_;
}

void SaveField(RecordWriter& writer, const ConfigReference& field) { writer.I32(field.Id()); }

void LoadField(RecordReader& reader, ConfigReference& field) {
    const std::int32_t id = reader.I32();
    if (id > LX_MAXFCFGS) throw Failure(E_FAIL);
    field.Point(id < LX_SINGLEAMP ? LX_SINGLEAMP : static_cast<LXConfig>(id));
}

}  // namespace lumvex::inside
