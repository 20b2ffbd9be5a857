// One loudspeaker of a project: the configurations in which it is measured and corrected.
#pragma once

#include "core/tree/item.hpp"
#include "model/project/SpkrEQConfigs.hpp"

namespace lumvex::inside {

class CModel;

class CSpeakerEQ : public Item<CSpeakerEQ, ISpeakerEQ> {
public:
    using ModelReference = LibraryReference<CModel, 2>;

    Child<CSpkrEQConfigs> SpkrEQConfigs;
    ModelReference Model;
    Text manufacturerName, modelName;  // as last seen in the library

    std::u16string DisplayName() override;  // "Acme/Alpha/Main"

    struct ModelNames {
        std::u16string manufacturer, model;
    };
    static ModelNames NamesOf(const Object& model);
    void Note(ModelNames names);

private:
    void Refresh(ModelNames names);
};

template <>
struct RecordOf<CSpeakerEQ> : Record<Version{1}> {
    static constexpr auto fields = std::tuple{&CSpeakerEQ::SpkrEQConfigs, &CSpeakerEQ::Model,
                                              &CSpeakerEQ::manufacturerName, &CSpeakerEQ::modelName};
};

}  // namespace lumvex::inside
