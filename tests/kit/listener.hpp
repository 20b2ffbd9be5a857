// What clients of a document were told, as texts.
#pragma once

#include "kit/late_calls.hpp"
#include "kit/published.hpp"
#include "lumvex/events.hpp"

namespace lumvex::tests {

using Strings = std::vector<std::string>;

// Since the last time: "item Left 0", "collection MEASUREMENTS 1", "root".
class Listener {
public:
    explicit Listener(const Root& root)
        : subscription_(root, [this](const Change& change) { told_.push_back(TextOf(change)); }) {}

    Strings Taken() { return std::exchange(told_, {}); }
    void End() { subscription_.End(); }

private:
    static std::string TextOf(const Change& change) {
        if (change.kind == Change::Kind::Root) return "root";
        const bool isItem = change.kind == Change::Kind::Item;
        const std::u16string name =
            isItem ? change.object.As<Collectable>().Name() : change.object.As<Collection>().Name();
        return (isItem ? "item " : "collection ") + ToUtf8(name) + " " + std::to_string(change.type);
    }

    Strings told_;
    Subscription subscription_;
};

// The status of a call through the client classes.
template <class Call>
HRESULT StatusOf(Call call) {
    try {
        call();
    } catch (const Error& error) {
        return error.Status();
    }
    return S_OK;
}

}  // namespace lumvex::tests
