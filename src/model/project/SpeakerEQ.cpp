#include "model/project/SpeakerEQ.hpp"

#include "model/project/Project.hpp"

namespace lumvex::inside {

std::u16string CSpeakerEQ::DisplayName() {
    if (Model.IsEmpty()) return u"Unknown Spkr/" + Name();
    try {
        if (const Ref<Object> model = Model.GetShown(*this)) Refresh(NamesOf(*model));
    } catch (const Failure&) {
        // The library cannot be read now: the names that were seen last are shown.
    }
    return manufacturerName_.value + u"/" + modelName_.value + u"/" + Name();
}

// Keeps names that differ from those seen last, and has the next save write them; the document does not become modified
// by being shown. A document that is open for reading is never saved, so that the speaker need not stay in memory for
// it.
void CSpeakerEQ::Refresh(ModelNames names) {
    if (names.manufacturer == manufacturerName_.value && names.model == modelName_.value) return;
    CProject* project = ProjectOf(*this);
    if (project && project->AccessMode() != LX_SHARE_READ) ResolveRoot().MarkChanged(*this);
    Note(std::move(names));
}

CSpeakerEQ::ModelNames CSpeakerEQ::NamesOf(const Object& model) {
    return {model.ResolveParent()->ResolveParent()->Name(), model.Name()};
}

void CSpeakerEQ::Note(ModelNames names) {
    manufacturerName_.value = std::move(names.manufacturer);
    modelName_.value = std::move(names.model);
}

}  // namespace lumvex::inside
