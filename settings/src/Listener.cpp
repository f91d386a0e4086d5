// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Listener.h"

#include <cstdio>

#include "Access.h"
#include "Everything.h"
#include "Names.h"
#include "Notifying.h"
#include "Waiting.h"

namespace velmorand {

Notifying* Notifying::_innermost = nullptr; // guarded by the settings' lock

void reportThrown(std::string const& name, char const* byWhom, std::string const& thrown) {
    std::string const line =
        "settings: exception in a listener to " + inQuotes(name) + byWhom + ": " + thrown + '\n';
    static_cast<void>(std::fputs(line.c_str(), stderr));
}

/**
 * The part of a listener that the register calls, through a plain pointer. It stays alive during a call even if the
 * `Listener` is destroyed.
 */
class Listener::Entry final : public utils::properties::_Register::Callback,
                              public std::enable_shared_from_this<Entry> {
public:
    /**
     * Without a sender to ignore, the owner is the object's own address, which is never a sender. A null owner would
     * make the register skip the listener for every write without a sender.
     */
    Entry(std::string const& key, Hears hears, Function call, void* sender)
        : _key(cleanName(key)), _hears(hears), _call(std::move(call)),
          _sender(sender != nullptr ? sender : this) {}

    void* owner() override { return _sender; }

    void propertyChanged(std::string const& name) override {
        if (_hears == Hears::property && name != _key && cleanName(name) != _key)
            return;
        RegistersHold const hold;
        auto const self = shared_from_this(); // the call may destroy the listener
        Notifying::call(name, [&] { _call(name); });
    }

    void enter() {
        Access const settings;
        if (!settings)
            return;
        if (hearsEverything())
            listenToEverything(*settings, this);
        else
            settings->addCallback(_key, this);
    }

    void leave() {
        Access const settings;
        if (!settings)
            return;
        if (hearsEverything())
            stopListeningToEverything(*settings, this);
        else
            settings->removeCallback(_key, this);
    }

private:
    [[nodiscard]] bool hearsEverything() const { return _hears == Hears::group && _key.empty(); }

    std::string _key;
    Hears _hears;
    Function _call;
    void* _sender;
};

Listener::Listener() noexcept = default;

Listener::Listener(std::string const& key, Hears hears, Function call, void* sender)
    : _entry(std::make_shared<Entry>(key, hears, std::move(call), sender)) {
    _entry->enter();
}

Listener::Listener(Listener&& other) noexcept = default;

Listener& Listener::operator=(Listener&& other) noexcept {
    Listener old(std::move(other));
    std::swap(_entry, old._entry);
    return *this;
}

Listener::~Listener() {
    if (_entry)
        _entry->leave();
}

} // namespace velmorand
