// A reference to a function or lambda of the caller's, valid during the call that it is passed to; for visitors. Unlike
// std::function it never allocates memory.
#pragma once

#include <memory>
#include <type_traits>
#include <utility>

namespace lumvex {

template <class Signature>
class FunctionRef;

template <class Result, class... Arguments>
class FunctionRef<Result(Arguments...)> {
public:
    template <class Function>
    requires(!std::is_same_v<std::remove_cvref_t<Function>, FunctionRef>)
        // NOLINTNEXTLINE(bugprone-forwarding-reference-overload): `requires` excludes copies
        FunctionRef(Function&& function)
    noexcept
        : function_(const_cast<void*>(static_cast<const void*>(std::addressof(function)))),
          call_([](void* called, Arguments... arguments) -> Result {
              return (*static_cast<std::remove_reference_t<Function>*>(called))(std::forward<Arguments>(arguments)...);
          }) {}

    Result operator()(Arguments... arguments) const { return call_(function_, std::forward<Arguments>(arguments)...); }

private:
    void* function_;
    Result (*call_)(void*, Arguments...);
};

}  // namespace lumvex
