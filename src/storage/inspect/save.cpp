// Saving as the published interfaces do it, with progress and without replacing anything, and what waits for it.
#include "core/objects/guard.hpp"
#include "lumvex/maintenance.hpp"
#include "storage/document/root_document.hpp"
#include "storage/inspect/client_errors.hpp"

namespace lumvex {

namespace {

// Runs `work` on the document as one call of it.
template <class Work>
void AsCall(::_Root* root, Work&& work) {
    using namespace inside;
    ForClient([&] {
        const Call call;
        const Ref<inside::Object> object = InsideOf(root);
        auto* document = dynamic_cast<RootDocument*>(object.get());
        if (!document) throw Failure(E_NOINTERFACE, "it is no document of this library");
        Operation operation(call.Thread());
        work(*document);
        operation.Keep();
    });
}

}  // namespace

void SaveDocument(::_Root* root, const Progress& progress) {
    AsCall(root, [&](inside::RootDocument& document) { document.Save(progress); });
}

void SaveNewDocument(::_Root* root, const std::filesystem::path& path, const Progress& progress) {
    AsCall(root, [&](inside::RootDocument& document) { document.SaveNew(path, progress); });
}

void SpoolArrays(::_Root* root, const std::filesystem::path& path, std::uint64_t inMemory) {
    AsCall(root, [&](inside::RootDocument& document) { document.SpoolArrays(path, inMemory); });
}

}  // namespace lumvex
