// SPDX-License-Identifier: Apache-2.0
//
// The core register, without the settings library.
#include <iostream>
#include <string>

#include <utils/properties/Register.h>

using namespace utils::properties;

//! [callback]
struct Watcher : _Register::Callback {
    void propertyChanged(std::string const& name) override { std::cout << name << " changed\n"; }
    void* owner() override { return this; } // not notified of changes with this sender
};
//! [callback]

int main() {
    //! [open]
    _Register::initialize("global", "user");
    _Register* const settings = _Register::getInstance();
    //! [open]

    //! [values]
    Watcher watcher;
    settings->addCallback("sidebar", &watcher);
    settings->_writeInteger(nullptr, "sidebar/width", 200, SCOPE_USER);
    settings->_writeInteger(&watcher, "sidebar/width", 240, SCOPE_USER);
    settings->_writeString(&watcher, "sidebar/side", "left", SCOPE_USER);

    int width = 0;
    settings->_readInteger("sidebar/width", width);
    settings->removeCallback(&watcher); // before it is destroyed
    //! [values]
    std::cout << width << '\n';

    //! [list]
    for (filesystem::DirEntry const& entry : settings->propertyList("sidebar", SCOPE_USER))
        std::cout << entry.name.toStdString() << '\n';
    settings->delProperty("sidebar/width", SCOPE_USER);
    //! [list]
}
