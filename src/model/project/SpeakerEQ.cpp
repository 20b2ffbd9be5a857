#include "model/project/SpeakerEQ.hpp"

namespace lumvex::inside {

std::u16string CSpeakerEQ::DisplayName() {
    if (Model.IsEmpty()) return u"Unknown Spkr/" + Name();
    try {
        if (const Ref<Object> model = Model.GetShown(*this)) Note(NamesOf(*model));
    } catch (const Failure&) {
        // A library that cannot be read now does not keep the speaker from being shown by the names it had.
    }
    return manufacturerName.value + u"/" + modelName.value + u"/" + Name();
}

CSpeakerEQ::ModelNames CSpeakerEQ::NamesOf(const Object& model) {
    return {model.ResolveParent()->ResolveParent()->Name(), model.Name()};
}

void CSpeakerEQ::Note(ModelNames names) {
    manufacturerName.value = std::move(names.manufacturer);
    modelName.value = std::move(names.model);
}

}  // namespace lumvex::inside
