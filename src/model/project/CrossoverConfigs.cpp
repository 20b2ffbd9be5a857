#include "model/project/CrossoverConfigs.hpp"

namespace lumvex::inside {

// A get makes the collection and its entries. Neither marks the document as modified.
void CCrossoverConfigs::Arrived(Arrival how) {
    if (how != Arrival::Made) return;
    Document& document = ResolveRoot();
    const Ref<CConfigs> configs = ConfigsOf(*this);
    for (LONG position = 1; position <= configs->Count(); ++position) {
        const Ref<CConfig> config = configs->Item(position);
        const Ref<Object> made = Class().member()->create();
        members.MakeRoom();
        Entry& entry = document.Enter(*made, OwnEntry());
        entry.name = config->Name();
        auto& crossover = static_cast<CCrossoverConfig&>(*made);
        crossover.timestamp = LocalTimeNow();
        crossover.Config.Point(config->ConfigID());
        members.Append({entry.id, entry.tag}, entry.name);
    }
}

Ref<Object> CCrossoverConfigs::FindCounterpart(ItemBase& other) {
    const LXConfig wanted = static_cast<const CCrossoverConfig&>(other).Config.Id();
    return FindFirst(
        [&](const Object& member) { return static_cast<const CCrossoverConfig&>(member).Config.Id() == wanted; });
}

}  // namespace lumvex::inside
