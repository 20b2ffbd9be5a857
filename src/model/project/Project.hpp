// The root document of one measurement and correction project.
#pragma once

#include "arrays/Data.hpp"
#include "storage/root_document.hpp"

namespace lumvex::inside {

// The Specifications library a project refers to: its ID and the path under which it was last seen.
class SpecificationsLink {
public:
    struct Target {
        GUID id{};
        std::u16string path;
    };
    std::optional<Target> target;
};

void SaveField(RecordWriter& writer, const SpecificationsLink& field);
void LoadField(RecordReader& reader, SpecificationsLink& field);

class CProject final : public Root<CProject, IProject> {
public:
    static Ref<Object> Create();

    KeptReference      SpeakerEQs, Experiments, CrossoverConfigs, Rooms, BoxCfgs;
    SpecificationsLink Specifications;
    Child<CData>       Data;
    Array              WorkspaceData{LX_UI1};  // the client's own, never interpreted
    Scalar<LXUnits>    Units{LX_UNITS_METRIC}; // in a stream of its own

    static constexpr std::u16string_view kErrorSource = u"Lumvex-Dev.Project.1";

private:
    void SaveSettings(RecordWriter& writer) const override;
    void LoadSettings(RecordReader* reader) override;
};

template <>
struct RecordOf<CProject> : Record<Version{4096, 4096}> {
    static constexpr auto fields =
        std::tuple{&CProject::SpeakerEQs, &CProject::Experiments,    &CProject::CrossoverConfigs,
                   &CProject::Rooms,      &CProject::BoxCfgs,        &CProject::Specifications,
                   &CProject::Data,       &CProject::WorkspaceData};
};

}  // namespace lumvex::inside
