// SPDX-License-Identifier: Apache-2.0
#include "velmorand/LiveSettings.h"

#include <memory>
#include <utility>

#include <unistd.h>

#include <filesystem/Lifetime.h>
#include <utils/Exception.h>

#include "../Access.h"
#include "Current.h"
#include "Events.h"
#include "Memory.h"
#include "OpenRegister.h"
#include "Places.h"
#include "Synchroniser.h"
#include "Worker.h"

namespace velmorand {

/** The implementation of a `LiveSettings`. Stays alive if the process exits without destroying the `LiveSettings`. */
class LiveSettings::State : public live::Current {
public:
    State(LiveOptions options, void* sender)
        : _events(std::move(options.onEvent)), _global(live::findGlobalDirectory(options.globalDirectory)),
          _files(live::openUserDirectory(options.userDirectory), _global), _process(::getpid()) {
        _files.open(_events);
        open(options.delay, sender);
        _events.tell();
    }

    ~State() noexcept override {
        // From now on, changes must not wake the worker, which is about to be destroyed.
        _memory->end();
    }

    SaveResult sync() override {
        if (isForked())
            return {false, "this process was forked from the one that shares the settings"};
        return _synchroniser->run(live::Synchroniser::Missing::makeAgain, nullptr);
    }

    // The wait for the lock is bounded, because a thread that never releases it may be the reason for the exit. If two
    // threads call this at once, both return only after everything has been saved.
    void end() override {
        if (isForked())
            return;
        int waits = 0;
        GiveUp const giveUp = [&waits] {
            return ++waits >= 20;
        }; // called every 50 ms, but only while waiting for the lock
        // Changes of other processes no longer matter here.
        if (!_memory->isSaved(giveUp))
            _synchroniser->run(live::Synchroniser::Missing::leaveAlone, giveUp);
        _synchroniser->stop();
    }

    void stop() {
        end();
        _worker->stop();
        _memory->end(); // another thread may be saving, which keeps this object alive
    }

    [[nodiscard]] bool isSaved() const { return !isForked() && _memory->isSaved(nullptr); }
    [[nodiscard]] live::Events const& events() const { return _events; }
    [[nodiscard]] std::string const& userDirectory() const { return _files.directory; }
    [[nodiscard]] std::string const& globalDirectory() const { return _global; }

private:
    [[nodiscard]] bool isForked() const { return ::getpid() != _process; }

    /** Holds the lock throughout, so that no change is made before the worker exists. */
    void open(std::chrono::milliseconds delay, void* sender) {
        Lock const lock;
        auto* const opened = live::openRegister(_files, _global, sender);
        _memory = std::make_unique<live::Memory>(*opened, _files.userImage, _files.globalImage,
                                                 [this] { _worker->wake(); });
        _synchroniser = std::make_unique<live::Synchroniser>(_files, *_memory, _events, sender);
        _worker = std::make_unique<live::Worker>(
            std::vector<std::string>{_files.user.path(), _files.global.path()}, delay,
            [this] { return _synchroniser->isNews(); },
            [this](GiveUp const& isStopping) {
                return _synchroniser->run(live::Synchroniser::Missing::leaveAlone, isStopping).saved;
            });
    }

    live::Events _events;
    std::string const _global;
    live::Files _files;
    ::pid_t const _process;

    std::unique_ptr<live::Memory> _memory;
    std::unique_ptr<live::Synchroniser> _synchroniser;
    std::unique_ptr<live::Worker> _worker;
};

LiveSettings::LiveSettings(LiveOptions options) {
    live::Current::Place place; // throws if there is one already
    _state = std::make_shared<State>(std::move(options), this);
    place.fill(_state);
}

LiveSettings::~LiveSettings() {
    _state->stop();
    live::Current::leave();
}

SaveResult LiveSettings::sync() {
    return _state->sync();
}

bool LiveSettings::isSaved() const {
    return _state->isSaved();
}

std::vector<LiveEvent> LiveSettings::events() const {
    return _state->events().all();
}

std::string const& LiveSettings::userDirectory() const {
    return _state->userDirectory();
}

std::string const& LiveSettings::globalDirectory() const {
    return _state->globalDirectory();
}

} // namespace velmorand
