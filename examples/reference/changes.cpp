// SPDX-License-Identifier: Apache-2.0
//
// Several changes that take effect together, and consistent reads.
#include <iostream>
#include <string>

#include <velmorand/Changes.h>
#include <velmorand/Listener.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Lock.h>
#include <velmorand/Property.h>

using namespace velmorand;

int main() {
    LiveSettings live{{"user", "global"}};
    Property<int> const width{"window/width", 640};
    Property<int> const height{"window/height", 480};
    Listener listener{"window", [&](std::string const& name) {
                          std::cout << name << ": " << width.get() << " x " << height.get() << '\n';
                      }};

    //! [apply]
    Changes changes;
    changes.set(width, 800);
    changes.set(height, 600);
    changes.reset("window/title");
    changes.apply(); // makes all changes or, if it throws, none
    //! [apply]

    //! [lock]
    {
        Lock const lock; // no other thread changes anything in between
        std::cout << width.get() * height.get() << '\n';
    }
    //! [lock]
}
