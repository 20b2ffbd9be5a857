#include "core/objects/guard.hpp"
#include "lumvex/diagnostics.hpp"
#include "storage/document/root_document.hpp"

namespace lumvex {

LoadStatistics StatisticsOf(::_Root* root) {
    const inside::Call call;
    const Ref<inside::Object> object = inside::InsideOf(root);
    const auto* document = dynamic_cast<inside::RootDocument*>(object.get());
    if (!document) return {};
    return {document->LoadedObjects(), document->BytesRead()};
}

}  // namespace lumvex
