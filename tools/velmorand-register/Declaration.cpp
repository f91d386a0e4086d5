// SPDX-License-Identifier: Apache-2.0
#include "Declaration.h"

namespace tool {

DeclaredGroup declaredIn(Declarations const& declarations, std::string_view group) {
    if (group.empty())
        return {declarations.begin(), declarations.end()};
    constexpr char afterSlash = '/' + 1;
    return {declarations.lower_bound(std::string(group) + '/'),
            declarations.lower_bound(std::string(group) + afterSlash)};
}

} // namespace tool
