// The speakers of a project.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/SpeakerEQ.hpp"

namespace lumvex::inside {

class CSpeakerEQs final : public Collection<CSpeakerEQs, ISpeakerEQs> {
public:
    using CollectionBase::FindName;
    // The first speaker of this name and model; of this name where the model is null.
    Ref<Object> FindName(std::u16string_view name, IModel* model);
    Ref<Object> Add(std::u16string_view name, IModel* model);  // which may be null

    Ref<Object> FindCounterpart(ItemBase& other) override;  // of the same name and model

private:
    Ref<Object> Find(std::u16string_view name, std::u16string_view modelId);
};

}  // namespace lumvex::inside
