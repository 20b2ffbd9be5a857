// A function that somebody else holds, to be called while it lives: what visitors are passed as. Needs no memory, so that
// visiting cannot fail for want of it.
#pragma once

#include <memory>
#include <type_traits>
#include <utility>

namespace lumvex::inside {

template <class Signature>
class FunctionRef;

template <class Result, class... Arguments>
class FunctionRef<Result(Arguments...)> {
public:
    template <class Function>
        requires(!std::is_same_v<std::remove_cvref_t<Function>, FunctionRef>)
    // NOLINTNEXTLINE(bugprone-forwarding-reference-overload): `requires` excludes copies
    FunctionRef(Function&& function) noexcept
        : function_(const_cast<void*>(static_cast<const void*>(std::addressof(function)))),
          call_([](void* called, Arguments... arguments) -> Result {
              return (*static_cast<std::remove_reference_t<Function>*>(called))(std::forward<Arguments>(arguments)...);
          }) {}

    Result operator()(Arguments... arguments) const { return call_(function_, std::forward<Arguments>(arguments)...); }

private:
    void* function_;
    Result (*call_)(void*, Arguments...);
};

}  // namespace lumvex::inside
