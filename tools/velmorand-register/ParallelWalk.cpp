// SPDX-License-Identifier: Apache-2.0
#include "ParallelWalk.h"

#include <algorithm>
#include <utility>

namespace tool {

ParallelWalk::ParallelWalk(Walk first, Walk second) : _first(std::move(first)), _second(std::move(second)) {}

bool ParallelWalk::next() {
    int const last = _order;
    std::size_t same = _common; // the part of the old common prefix that is still common
    if (last <= 0) {
        _isFirstThere = _isFirstThere && _first.next();
        same = std::min(same, _first.nameBegin());
    }
    if (last >= 0) {
        _isSecondThere = _isSecondThere && _second.next();
        same = std::min(same, _second.nameBegin());
    }
    if (!_isFirstThere || !_isSecondThere)
        _order = _isFirstThere ? -1 : _isSecondThere ? 1 : 0;
    else
        compareFrom(same);
    return _isFirstThere || _isSecondThere;
}

void ParallelWalk::compareFrom(std::size_t begin) {
    std::string_view const first = _first.path().substr(begin);
    std::string_view const second = _second.path().substr(begin);
    auto const differing = std::mismatch(first.begin(), first.end(), second.begin(), second.end()).first;
    _common = begin + static_cast<std::size_t>(differing - first.begin());
    _order = first.substr(_common - begin).compare(second.substr(_common - begin));
}

void ParallelWalk::skip() {
    if (_order <= 0)
        _first.skip();
    if (_order >= 0)
        _second.skip();
}

} // namespace tool
