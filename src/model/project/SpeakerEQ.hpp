// One loudspeaker of a project: the configurations in which it is measured and corrected.
#pragma once

#include "core/tree/item.hpp"
#include "model/project/SpkrEQConfigs.hpp"

namespace lumvex::inside {

class CModel;

class CSpeakerEQ final : public Item<CSpeakerEQ, ISpeakerEQ> {
public:
    using ModelReference = LibraryReference<CModel, 2>;

    Child<CSpkrEQConfigs> SpkrEQConfigs;
    ModelReference Model;

    std::u16string DisplayName() override;  // "Acme/Alpha/Main"

    struct ModelNames {
        std::u16string manufacturer, model;
    };
    static ModelNames NamesOf(const Object& model);
    void Note(ModelNames names);

private:
    void Refresh(ModelNames names);

    Text manufacturerName_, modelName_;  // as last seen in the library
    friend struct RecordOf<CSpeakerEQ>;
};

template <>
struct RecordOf<CSpeakerEQ> : Record<CSpeakerEQ> {
    static constexpr auto fields =
        std::tuple{&CSpeakerEQ::SpkrEQConfigs, &CSpeakerEQ::Model,
                   Private("Name of the manufacturer as last seen in the library.", &CSpeakerEQ::manufacturerName_),
                   Private("Name of the model as last seen in the library.", &CSpeakerEQ::modelName_)};
};

}  // namespace lumvex::inside
