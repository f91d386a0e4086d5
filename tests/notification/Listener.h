// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <utils/properties/Register.h>

namespace notification {

using Journal = std::vector<std::string>;

/** Records the names it is notified of, in `told` and in a journal shared with other listeners; then runs an action. */
class Listener : public utils::properties::_Register::Callback {
public:
    Listener() = default;
    Listener(Journal& journal, std::string label) : _journal(&journal), _label(std::move(label)) {}

    void propertyChanged(std::string const& name) override {
        told.push_back(name);
        if (_journal != nullptr)
            _journal->push_back(_label + ": " + name);
        if (whenTold)
            whenTold(name);
    }

    void* owner() override {
        ++asked;
        if (whenAsked)
            whenAsked();
        return identity;
    }

    std::vector<std::string> told;
    int asked = 0;
    void* identity = this;
    std::function<void(std::string const& name)> whenTold;
    std::function<void()> whenAsked;

private:
    Journal* _journal = nullptr;
    std::string _label;
};

} // namespace notification
