// SPDX-License-Identifier: Apache-2.0
//
// Listening to changes: immediately, in the program's own loop, and in Qt's event loop.
#include <iostream>
#include <string>

#include <QCoreApplication>
#include <QObject>

#include <velmorand/Listener.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>
#include <velmorand/QtThread.h>

using namespace velmorand;

int main(int argc, char** argv) {
    QCoreApplication const application{argc, argv};
    LiveSettings live{{"user", "global"}};
    Property<int> const width{"editor/tab width", 8};

    //! [at once]
    bool isOutOfDate = false;
    Listener drawing{"editor", [&isOutOfDate](std::string const&) { isOutOfDate = true; }};
    //! [at once]

    //! [own loop]
    QueuedListener changes{"editor"};
    //! [own loop]

    //! [event loop]
    QObject window; // lives in the thread in which the handler is to be called
    QueuedListener shown{width, inThreadOf(&window),
                         [](int value) { std::cout << "show " << value << '\n'; }};
    //! [event loop]

    width.set(4);
    std::cout << "out of date: " << isOutOfDate << '\n';

    //! [deliver]
    changes.deliver(
        [](std::string const& name) { std::cout << name << " changed\n"; }); // once per turn of the loop
    //! [deliver]

    QCoreApplication::processEvents();

    //! [own changes]
    Listener others{"editor", [](std::string const&) { std::cout << "another part\n"; }, &window};
    width.set(2, &window); // `others` has the same sender, and is not notified
    //! [own changes]
}
