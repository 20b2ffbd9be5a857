// The root document of one measurement and correction project.
#pragma once

#include "arrays/Data.hpp"
#include "model/project/BoxCfgs.hpp"
#include "model/project/CrossoverConfigs.hpp"
#include "model/project/Experiments.hpp"
#include "model/project/RoomEQs.hpp"
#include "model/project/SpeakerEQs.hpp"
#include "model/project/specifications_link.hpp"
#include "storage/document/root_document.hpp"

namespace lumvex::inside {

class CProject : public Root<CProject, IProject>, public OwnsConfigs {
    static constexpr ArrayRules kBytes{.answeredAs = LX_UI1};

public:
    Child<CSpeakerEQs> SpeakerEQs;
    Child<CExperiments> Experiments;
    Child<CCrossoverConfigs> CrossoverConfigs;
    Child<CRoomEQs> Rooms;
    Child<CBoxCfgs> BoxCfgs;
    SpecificationsLink Specifications;
    Child<CData> Data;
    ArrayOf<kBytes> WorkspaceData;           // the client's own bytes
    Scalar<LXUnits> Units{LX_UNITS_METRIC};  // in a stream of its own

    static constexpr std::u16string_view kName = u"PROJECT";
    static constexpr std::u16string_view kErrorSource = u"Lumvex-Dev.Project.1";

private:
    void SaveSettings(RecordWriter& writer) const override;
    void LoadSettings(RecordReader& reader) override;
    void SwapSettings(DocumentRoot& other) noexcept override;
    std::optional<Link> LinkedDocument() const override { return Specifications.Current(); }
    void FileClosed() noexcept override { Specifications.Close(); }
};

template <>
struct RecordOf<CProject> : RootRecord {
    static constexpr auto fields =
        std::tuple{&CProject::SpeakerEQs, &CProject::Experiments,  &CProject::CrossoverConfigs,
                   &CProject::Rooms,      &CProject::BoxCfgs,      &CProject::Specifications,
                   &CProject::Data,       &CProject::WorkspaceData};
};

// The project that an object belongs to; null when the object is orphaned or belongs to a library.
CProject* ProjectOf(const Object& object);

}  // namespace lumvex::inside
