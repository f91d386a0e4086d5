// SPDX-License-Identifier: Apache-2.0
//
// usage: desktop-settings-application USER-DIRECTORY GLOBAL-DIRECTORY
//
// An application that shares its settings with others. It reads its user's actions from standard input, one per line, and
// answers each with a line:
//
//   set TYPE NAME VALUE   changes a setting
//   await NAME            waits until another process has changed a setting
//   read NAME             reads a setting
//   quit                  ends the application; so does the end of the input

#include <chrono>
#include <condition_variable>
#include <iostream>
#include <mutex>
#include <set>
#include <sstream>
#include <string>

#include <velmorand/Listener.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>

#include "Changes.h"
#include "Settings.h"

using namespace desktop;

namespace {

/** The changes by other processes that this one has not handled yet. */
class News {
public:
    News()
        : _listener(
              desktopGroup, [this](std::string const& name) { add(name); }, this) {}

    /** The sender for this application's own changes, which the listener ignores. */
    [[nodiscard]] void* sender() { return this; }

    /** Waits for a setting to change. Errors: `std::runtime_error` if that takes half a minute. */
    void waitFor(std::string const& name) {
        std::unique_lock<std::mutex> lock(_mutex);
        require(_added.wait_for(lock, std::chrono::seconds(30), [&] { return _names.erase(name) != 0; }),
                "no notification of " + name);
    }

    [[nodiscard]] bool isEmpty() {
        std::lock_guard<std::mutex> const lock(_mutex);
        return _names.empty();
    }

private:
    void add(std::string const& name) {
        std::lock_guard<std::mutex> const lock(_mutex);
        _names.insert(name);
        _added.notify_all();
    }

    std::mutex _mutex; // no other lock is taken while it is held
    std::condition_variable _added;
    std::set<std::string> _names;
    velmorand::Listener _listener;
};

std::string described(std::string const& name) {
    return shortName(name) + " = " + textOf(read(name));
}

std::string change(News& news, std::istream& words) {
    std::string type;
    std::string name;
    std::string text;
    words >> type >> name;
    std::getline(words, text);
    write(news.sender(), name, valueOf(type, text), velmorand::SCOPE_USER);
    return "sets      " + described(name);
}

std::string act(News& news, std::string const& line) {
    std::istringstream words(line);
    std::string action;
    std::string name;
    words >> action;
    if (action == "set")
        return change(news, words);
    words >> name;
    if (action == "await") {
        news.waitFor(name);
        return "receives  " + described(name);
    }
    require(action == "read", "no such action: " + line);
    return "reads     " + described(name);
}

void run(std::string const& userDirectory, std::string const& globalDirectory) {
    velmorand::LiveSettings const live{{userDirectory, globalDirectory}};
    News news;
    velmorand::write(sessionProperty, true, velmorand::SCOPE_TEMPORARY);
    std::cout << "starts with " << countProperties("", velmorand::SCOPE_GLOBAL)
              << " settings from the administrator and " << countProperties("", velmorand::SCOPE_USER)
              << " from the user" << std::endl;

    for (std::string line; std::getline(std::cin, line) && line != "quit";)
        std::cout << act(news, line) << std::endl;
    require(news.isEmpty(), "notified of changes that the actions did not wait for");
}

} // namespace

int main(int argc, char** argv) {
    return runProgram("application", [&] {
        require(argc == 3, "usage: desktop-settings-application USER-DIRECTORY GLOBAL-DIRECTORY");
        run(argv[1], argv[2]);
    });
}
