// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

namespace velmorand::detail {

/** Wraps a callable in a `std::function`, even if it is move-only. */
template <class Signature, class Call>
std::function<Signature> asFunction(Call&& call) {
    using Callable = std::decay_t<Call>;
    if constexpr (std::is_copy_constructible_v<Callable>)
        return std::function<Signature>(std::forward<Call>(call));
    else
        return [callable = std::make_shared<Callable>(std::forward<Call>(call))](
                   auto const&... arguments) -> decltype(auto) { return (*callable)(arguments...); };
}

} // namespace velmorand::detail
