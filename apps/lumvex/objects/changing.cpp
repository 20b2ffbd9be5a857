#include "objects/changing.hpp"

namespace lumvex::app {

ExitStatus ChangeItem(const std::filesystem::path& path, const std::string& address, const char* refusal,
                      const ItemChange& change) {
    EditedDocument document(path);
    return ChangeAndSave(document, [&] {
        const Node root = NodeOf(document.Any());
        const Addresses addresses(path, root);
        const Node item = addresses.FindOwn(address);
        const std::string before = PathOf(item);
        if (!item.Is(Kind::Item)) throw PropertyError(before + refusal);
        return before + " -> " + PathOf(change(item, root, addresses));
    });
}

}  // namespace lumvex::app
