#include "model/project/Project.hpp"

namespace lumvex::inside {

namespace {
constexpr VersionWord kSettingsVersion{1, 1};
}

void SaveField(RecordWriter& writer, const SpecificationsLink& field) {
    writer.U16(field.target ? 1 : 0);
    if (!field.target) return;
    writer.Guid(field.target->id);
    writer.Text(field.target->path);
}

void LoadField(RecordReader& reader, SpecificationsLink& field) {
    field.target.reset();
    if (reader.U16() == 0) return;
    const GUID id = reader.Guid();
    field.target = {id, reader.Text()};
}

Ref<Object> CProject::Create() {
    const Ref<CProject> project(new CProject);
    project->Construct(u"PROJECT");
    return Ref<Object>(project.get());
}

void CProject::SaveSettings(RecordWriter& writer) const {
    writer.U32(kSettingsVersion.Word());
    writer.I32(Units.value);
}

void CProject::LoadSettings(RecordReader* reader) {
    Units.value = LX_UNITS_METRIC;
    if (!reader) return;
    reader->U32();
    Units.value = static_cast<LXUnits>(reader->I32());
}

}  // namespace lumvex::inside
