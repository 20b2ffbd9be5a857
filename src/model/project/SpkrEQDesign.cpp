#include "model/project/SpkrEQDesign.hpp"

namespace lumvex::inside {

namespace {
constexpr std::uint16_t kNone = 0, kLinks = 1, kGroups = 2;
}

void SaveField(RecordWriter& writer, const CorrectionGroups& field) {
    const auto& reference = field.oldLinks.reference ? field.oldLinks.reference : field.reference;
    writer.U16(field.oldLinks.reference ? kLinks : reference ? kGroups : kNone);
    if (reference) writer.ObjectReference(*reference);
}

void LoadField(RecordReader& reader, CorrectionGroups& field) {
    field.reference.reset();
    field.oldLinks.reference.reset();
    switch (reader.U16()) {
        case kNone:
            break;
        case kLinks:
            field.oldLinks.reference = reader.ObjectReference();
            break;
        case kGroups:
            field.reference = reader.ObjectReference();
            break;
        default:
            throw Failure(Message::FileFormat);
    }
}

void CSpkrEQDesign::ForEachChild(const ChildVisitor& visit) {
    Item::ForEachChild(visit);
    if (SpkrCorrectionGroups.oldLinks.reference)
        visit(SpkrCorrectionGroups.oldLinks, Child<CSpkrCorrectionLinks>::CollectionClass());
}

// The links of an older record become a new group. Their collection keeps its ID and members and gets the group as
// owner.
void CSpkrEQDesign::Arrived(Arrival) {
    ChildSlot& oldLinks = SpkrCorrectionGroups.oldLinks;
    if (!oldLinks.reference) return;
    const Ref<Object> groups = SpkrCorrectionGroups.Get(*this);
    const Ref<Object> group = static_cast<CSpkrCorrectionGroups&>(*groups).AddNamed(u"Old Corrections");
    static_cast<CSpkrCorrectionGroup&>(*group).SpkrCorrectionLinks.reference =
        std::exchange(oldLinks.reference, std::nullopt);
}

}  // namespace lumvex::inside
