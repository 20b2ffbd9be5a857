#include "model/project/SpeakerEQ.hpp"

#include "model/project/Project.hpp"

namespace lumvex::inside {

std::u16string CSpeakerEQ::DisplayName() {
    if (Model.IsEmpty()) return u"Unknown Spkr/" + Name();
    try {
        if (const Ref<Object> model = Model.GetShown(*this)) Refresh(NamesOf(*model));
    } catch (const Failure&) {
        // A library that cannot be read now does not keep the speaker from being shown by the names it had.
    }
    return manufacturerName.value + u"/" + modelName.value + u"/" + Name();
}

// The next save writes names that are new, though being shown is no change of the document. One that is open for reading
// is never saved: the speaker is not kept in memory for it.
void CSpeakerEQ::Refresh(ModelNames names) {
    if (names.manufacturer == manufacturerName.value && names.model == modelName.value) return;
    CProject* project = ProjectOf(*this);
    if (project && project->AccessMode() != LX_SHARE_READ) ResolveRoot().MarkChanged(*this);
    Note(std::move(names));
}

CSpeakerEQ::ModelNames CSpeakerEQ::NamesOf(const Object& model) {
    return {model.ResolveParent()->ResolveParent()->Name(), model.Name()};
}

void CSpeakerEQ::Note(ModelNames names) {
    manufacturerName.value = std::move(names.manufacturer);
    modelName.value = std::move(names.model);
}

}  // namespace lumvex::inside
