// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include <QObject>

#include <velmorand/Changes.h>
#include <velmorand/Listener.h>
#include <velmorand/Property.h>
#include <velmorand/QtThread.h>

#include "Settings.h"

namespace editor {

/** The setting that one control of a dialog shows and edits. For use on the dialog's thread. */
template <class T>
class Control {
public:
    /** `show()` is called later, on the thread of `dialog`, when the value or the lock may have changed. */
    Control(velmorand::Property<T> const& setting, QObject* dialog, std::function<void()> const& show)
        : _setting(setting), _values(setting, velmorand::inThreadOf(dialog), [show](T const&) { show(); }),
          _locks("velmorand/locked", velmorand::inThreadOf(dialog), [show](std::string const&) { show(); }) {}

    /** The user's edit. Without an edit, or while the administrator has locked the setting, the value in force. */
    [[nodiscard]] T value() const { return _edit && !isLocked() ? *_edit : _setting.get(); }

    /** Whether to grey out the control. */
    [[nodiscard]] bool isLocked() const { return _setting.isLocked(); }

    void edit(T value) { _edit = std::move(value); }

    void forgetEdit() { _edit.reset(); }

    /** Errors: `utils::Exception` if the setting's declaration does not allow the edit. */
    void addTo(velmorand::Changes& changes) const {
        if (_edit && !isLocked())
            changes.set(_setting, *_edit);
    }

private:
    velmorand::Property<T> _setting;
    std::optional<T> _edit;
    velmorand::QueuedListener _values;
    velmorand::QueuedListener _locks;
};

/** The dialog for the editor's preferences, without its widgets. Nothing changes before `apply`. */
class Preferences {
public:
    /** `show()` refreshes all controls; the constructor of `Control` says when it is called. */
    Preferences(QObject* dialog, std::function<void()> const& show);

    /**
     * The button "Apply": makes all edits or none. Edits of locked settings are left out.
     * Errors: `utils::Exception` with a message for the user; nothing has changed then, and the edits are kept.
     */
    void apply();

    /** The button "Cancel". */
    void cancel();

    Control<Theme> theme;
    Control<double> fontSize;
    Control<int> tabWidth;
};

} // namespace editor
