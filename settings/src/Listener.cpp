// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Listener.h"

#include <cstdio>

#include "Access.h"
#include "Unwritten.h"
#include "Waiting.h"

namespace velmorand {

bool Unwritten::_isNow = false; // guarded by the settings' lock

void Unwritten::report(std::string const& name, std::string const& thrown) {
    std::string const line =
        "settings: a listener has thrown for a change of " + name + " by another program: " + thrown + '\n';
    static_cast<void>(std::fputs(line.c_str(), stderr));
}

/**
 * What the register knows of a listener. The register calls it through a plain pointer, so while a call is running
 * it outlives the object that it belongs to.
 */
class Listener::Entry final : public utils::properties::_Register::Callback,
                              public std::enable_shared_from_this<Entry> {
public:
    /** Without a sender to leave out it is its own sender, which no change can have. */
    Entry(std::string key, std::function<void(std::string const&)> call, void* sender)
        : _key(std::move(key)), _call(std::move(call)), _sender(sender != nullptr ? sender : this) {}

    void* owner() override { return _sender; }

    void propertyChanged(std::string const& name) override {
        RegistersHold const hold;
        auto const self = shared_from_this(); // the call may destroy the listener
        Unwritten::call(name, [&] { _call(name); });
    }

    void enter() {
        if (Access const settings; settings)
            settings->addCallback(_key, this);
    }

    void leave() {
        if (Access const settings; settings)
            settings->removeCallback(_key, this);
    }

private:
    std::string _key;
    std::function<void(std::string const&)> _call;
    void* _sender;
};

Listener::Listener() noexcept = default;

Listener::Listener(std::string const& key, std::function<void(std::string const&)> call, void* sender,
                   Checked /*checked*/)
    : _entry(std::make_shared<Entry>(key, std::move(call), sender)) {
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
