#include "model/project/Project.hpp"

namespace lumvex::inside {

namespace {
constexpr VersionWord kSettingsVersion{1, 1};
}

Ref<Object> CProject::Create() {
    const Ref<CProject> project(new CProject);
    project->Construct(u"PROJECT");
    return Ref<Object>(project.get());
}

CProject* ProjectOf(const Object& object) {
    Document* document = object.OwnEntry().document;
    return document ? dynamic_cast<CProject*>(&document->RootObject()) : nullptr;
}

void CProject::SaveSettings(RecordWriter& writer) const {
    writer.U32(kSettingsVersion.Word());
    writer.I32(Units.value);
}

void CProject::LoadSettings(RecordReader& reader) {
    const VersionWord stored(reader.U32());
    if (stored.NamesMinimumReader() && stored.MinimumReader() > kSettingsVersion.Writer())
        throw Failure(Message::FileFormat);
    Units.value = static_cast<LXUnits>(reader.I32());
}

void CProject::SwapSettings(DocumentRoot& other) noexcept { std::swap(Units, static_cast<CProject&>(other).Units); }

}  // namespace lumvex::inside
