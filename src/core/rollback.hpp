// Takes back the first steps of an operation whose later ones fail.
#pragma once

#include <utility>

namespace lumvex::inside {

template <class Undo>
class Rollback {
public:
    explicit Rollback(Undo undo) : undo_(std::move(undo)) {}
    ~Rollback() {
        if (!done_) undo_();
    }
    Rollback(const Rollback&) = delete;
    Rollback& operator=(const Rollback&) = delete;

    void Done() noexcept { done_ = true; }

private:
    Undo undo_;
    bool done_ = false;
};

}  // namespace lumvex::inside
