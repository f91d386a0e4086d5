// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string_view>

namespace velmorand {

/**
 * The value in a record; none if it is of another kind, or truncated. For the eight kinds. The register's own readers
 * look for a record in all scopes.
 */
template <class T>
[[nodiscard]] std::optional<T> valueIn(std::string_view record);

} // namespace velmorand
