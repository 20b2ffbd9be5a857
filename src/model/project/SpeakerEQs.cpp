#include "model/project/SpeakerEQs.hpp"

namespace lumvex::inside {

Ref<Object> CSpeakerEQs::FindName(std::u16string_view name, IModel* model) {
    const Ref<Object> wanted = CSpeakerEQ::ModelReference::Checked(model);
    return wanted ? Find(name, wanted->ID()) : FindName(name);
}

Ref<Object> CSpeakerEQs::Find(std::u16string_view name, std::u16string_view modelId) {
    return FindFirst([&](const Object& member) {
        const auto& speaker = static_cast<const CSpeakerEQ&>(member);
        return CompareNoCase(speaker.Name(), name) == 0 && CompareNoCase(speaker.Model.Id(), modelId) == 0;
    });
}

// The library is asked first, because that may fail: then no speaker was added.
Ref<Object> CSpeakerEQs::Add(std::u16string_view name, IModel* model) {
    CSpeakerEQ::ModelReference reference;
    CSpeakerEQ::ModelNames names;
    if (const Ref<Object> given = CSpeakerEQ::ModelReference::Checked(model)) {
        reference.Point(given);
        names = CSpeakerEQ::NamesOf(*given);
    }
    Ref<Object> added = AddNamed(name);
    auto& speaker = static_cast<CSpeakerEQ&>(*added);
    speaker.Model = std::move(reference);
    speaker.Note(std::move(names));
    return added;
}

Ref<Object> CSpeakerEQs::FindCounterpart(ItemBase& other) {
    return Find(other.Name(), static_cast<const CSpeakerEQ&>(other).Model.Id());
}

}  // namespace lumvex::inside
