// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

#include "ByteSource.h"
#include "Format.h"
#include "Kinds.h"
#include "Model.h"
#include "TemporaryDirectory.h"
#include "support/Failure.h"

// Runs operations of the register, in any order and with any arguments, on the process's register, on a derived one,
// and on a model of both. After each step, the trees, the results, the announcements and the pending names must be
// equal. The input is a list of operations, each a byte followed by its arguments.

using namespace fuzz;

namespace {

constexpr std::size_t mostSteps = 300;
constexpr std::size_t listenerCount = 4;
constexpr std::size_t throwing = 2; ///< the listener that throws when it is called
constexpr std::size_t oneShot = 3;  ///< the listener that removes itself when it is called

int owners[listenerCount];

/** The owner of a listener; one listener has a null owner. */
void* ownerOf(std::size_t listener) {
    return listener == 1 ? nullptr : &owners[listener];
}

using Log = std::vector<std::pair<std::size_t, std::string>>;

/** One of the two registers, with its listeners and its directory on disk. */
class Subject {
public:
    Subject(_Register& register_, std::filesystem::path directory)
        : settings(register_), _directory(std::move(directory)) {
        std::filesystem::create_directory(_directory);
        std::filesystem::remove(file());
        for (std::size_t number = 0; number < listenerCount; ++number)
            listeners.emplace_back(*this, number);
    }
    Subject(Subject const&) = delete;
    Subject& operator=(Subject const&) = delete;
    ~Subject() {
        for (Listener& listener : listeners)
            settings.removeCallback(&listener);
        pending().clear();
    }

    class Listener : public _Register::Callback {
    public:
        Listener(Subject& subject, std::size_t number) : _subject(subject), _number(number) {}

        void propertyChanged(std::string const& name) override {
            _subject.log.emplace_back(_number, name);
            if (_number == throwing)
                throw std::runtime_error("listener");
            if (_number == oneShot)
                _subject.settings.removeCallback(this);
        }
        void* owner() override { return ownerOf(_number); }

    private:
        Subject& _subject;
        std::size_t _number;
    };

    std::set<std::string>& pending() const { return settings.*(&Derived::_changedProperties); }

    /** Runs an action with the register's directory set, and clears it again. */
    template <class Action>
    std::string onDisk(Action const& action) {
        Derived::_UserRegisterPath = _directory.string();
        std::string const failed = support::failure([&] { action(settings); });
        Derived::_UserRegisterPath.clear();
        return failed;
    }

    [[nodiscard]] std::filesystem::path file() const { return _directory / "Velmorand.dat"; }

    _Register& settings;
    std::deque<Listener> listeners;
    Log log;
    FileHandle* held = nullptr;

private:
    std::filesystem::path _directory;
};

std::string fileBytes(std::filesystem::path const& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

/** The model of announcements. */
class Announcements {
public:
    void add(std::string const& key, std::size_t listener) { _entries[key].push_back({listener, _serial++}); }

    void remove(std::string const& key, std::size_t listener) {
        auto& entries = _entries[key];
        entries.erase(std::remove_if(entries.begin(), entries.end(),
                                     [&](Entry const& entry) { return entry.listener == listener; }),
                      entries.end());
    }

    void remove(std::size_t listener) {
        for (auto& [key, entries] : _entries)
            remove(key, listener);
    }

    /** Announces the pending names. False if a listener throws. */
    bool announce(void* sender, Log& log) {
        for (std::string const& name : pending)
            if (!announce(sender, name, log))
                return false;
        pending.clear();
        return true;
    }

    std::set<std::string> pending;

private:
    struct Entry {
        std::size_t listener;
        unsigned serial;
    };

    bool announce(void* sender, std::string const& name, Log& log) {
        for (std::string key = name; !key.empty();) {
            std::vector<Entry> const round = _entries[key];
            for (Entry const& entry : round) {
                if (!stands(key, entry.serial) || ownerOf(entry.listener) == sender)
                    continue;
                log.emplace_back(entry.listener, name);
                if (entry.listener == throwing)
                    return false;
                if (entry.listener == oneShot)
                    remove(oneShot);
            }
            std::size_t const slash = key.rfind('/');
            if (key.size() == 1 || slash == std::string::npos)
                break;
            key = slash == 0 ? "/" : key.substr(0, slash);
        }
        return true;
    }

    bool stands(std::string const& key, unsigned serial) {
        for (Entry const& entry : _entries[key])
            if (entry.serial == serial)
                return true;
        return false;
    }

    std::map<std::string, std::vector<Entry>> _entries;
    unsigned _serial = 0;
};

std::string pick(ByteSource& input) {
    // Names that collide with each other, in all spellings with a special meaning.
    static std::string const names[] = {"a",
                                        "b",
                                        "a/x",
                                        "a/y",
                                        "a/b",
                                        "a/b/x",
                                        "a/b/c/d",
                                        "c",
                                        "",
                                        "/",
                                        "a/",
                                        "/a",
                                        "a//x",
                                        ".",
                                        "..",
                                        "a/.",
                                        "a/../b",
                                        "../user/a",
                                        "\xEF\xBB\xBF"
                                        "a",
                                        "\xC3\xA9",
                                        "\xFF",
                                        "a/\xC3",
                                        std::string("a\0b", 3),
                                        std::string(32, 'n'),
                                        std::string(33, 'n'),
                                        "g/" + std::string(40, 'n') + "/x",
                                        "user",
                                        "a-b",
                                        "A",
                                        "a b",
                                        "a/b/c"};
    unsigned const chosen = input.byte();
    return chosen < 224 ? names[chosen % std::size(names)] : input.string();
}

template <class Value>
Value pickNumber(ByteSource& input) {
    unsigned char raw[sizeof(Value)];
    for (unsigned char& byte : raw)
        byte = static_cast<unsigned char>(input.byte());
    Value value;
    std::memcpy(&value, raw, sizeof value);
    return value;
}

void pick(ByteSource& input, std::string& value) {
    value = input.string();
    for (unsigned doublings = input.byte() % 8; doublings > 4; --doublings)
        value += value;
}
void pick(ByteSource& input, double& value) {
    value = pickNumber<double>(input);
}
void pick(ByteSource& input, int& value) {
    value = pickNumber<int>(input);
}
void pick(ByteSource& input, bool& value) {
    value = input.byte() % 2 != 0;
}
template <class Element>
void pick(ByteSource& input, std::vector<Element>& values) {
    for (unsigned left = input.byte() % 8; left > 0; --left) {
        Element element{};
        pick(input, element);
        values.push_back(element);
    }
}

/** The two registers, their model, and the operations. */
class Game {
public:
    Game(ByteSource& input, std::filesystem::path const& directory)
        : _input(input), _plain(emptied(), directory / "plain"), _other(_derived, directory / "derived") {}

    void step() {
        _log.clear();
        _plain.log.clear();
        _other.log.clear();
        play(_input.byte());
        std::string const expected = format::encode(_model.tree);
        for (Subject* const subject : {&_plain, &_other}) {
            check(image(subject->settings, "/") == expected, "the tree equals the model's");
            check(subject->log == _log, "the listeners are notified as in the model");
            check(subject->pending() == _announcements.pending, "the pending names equal the model's");
        }
    }

private:
    void play(unsigned operation) {
        switch (operation % 24) {
        case 0:
        case 1:
        case 2:
        case 3:
        case 4:
            return kinds::visit(operation / 24 % 8, [&](auto kind) { write<decltype(kind)>(); });
        case 5:
        case 6:
            return kinds::visit(operation / 24 % 8, [&](auto kind) { read<decltype(kind)>(); });
        case 7:
            return addGroup();
        case 8:
            return addProperty();
        case 9:
            return delProperty();
        case 10:
            return ask();
        case 11:
            return list();
        case 12:
            return readPropertyType();
        case 13:
            return writeThroughAHandle();
        case 14:
            return hold();
        case 15:
            return readHeld();
        case 16:
            return addCallback();
        case 17:
            return removeCallback();
        case 18:
            return markAsChanged();
        case 19:
            return notify();
        case 20:
            return save();
        case 21:
            return load();
        case 22:
            return loadAnew();
        default:
            return loadDamaged();
        }
    }

    /** Makes a call on both registers; each must have the expected outcome. */
    template <class Call>
    void expect(std::string const& failure, Call const& call) {
        for (Subject* const subject : {&_plain, &_other})
            check(support::failure([&] { call(*subject); }) == failure.c_str(),
                  "a call has the outcome of the model", failure);
    }

    RegisterScope pickScope() {
        int const chosen = static_cast<int>(_input.byte());
        return static_cast<RegisterScope>(chosen < 250 ? chosen % 3 : chosen == 255 ? -1 : 3);
    }

    void* pickSender() {
        unsigned const chosen = _input.byte() % 3;
        return chosen == 0 ? nullptr : &owners[chosen == 1 ? 0 : throwing];
    }

    std::string announced(void* sender) {
        return _announcements.announce(sender, _log) ? "nothing" : "std: listener";
    }

    template <class Kind>
    void write() {
        std::string const name = pick(_input);
        RegisterScope const scope = pickScope();
        void* const sender = pickSender();
        typename Kind::Value value{};
        pick(_input, value);
        std::string outcome = "Bad scope value.";
        if (Model::isScope(scope)) {
            if (_model.write(name, scope, Kind::record(value))) {
                _announcements.pending.insert(name);
                outcome = announced(sender);
            } else {
                outcome = Kind::isString ? '/' + Model::directory(scope) + '/' + name + " no such property"
                                         : name + " no such property.";
            }
        }
        expect(outcome, [&](Subject& subject) { Kind::write(subject.settings, sender, name, value, scope); });
    }

    template <class Kind>
    void read() {
        std::string const name = pick(_input);
        std::size_t const id = _model.located(name);
        typename Kind::Value expected{};
        std::string outcome = "nothing";
        if (id == Tree::none)
            outcome = "PropertyNotFound";
        else if (_model.tree[id].directory)
            outcome = Kind::isString ? "PropertyNotFound" : "PropertyBadType";
        else if (!Kind::decode(_model.tree[id].content, expected))
            outcome = "PropertyBadType";
        expect(outcome, [&](Subject& subject) {
            typename Kind::Value value{};
            Kind::read(subject.settings, name, value);
            check(Kind::record(value) == Kind::record(expected), "a value is read as it was written");
        });
    }

    void readPropertyType() {
        std::string const name = pick(_input);
        std::size_t const id = _model.located(name);
        std::string const content = id == Tree::none ? std::string() : _model.tree[id].content;
        auto const tag = [&](std::size_t i) {
            return i < content.size() ? static_cast<int>(static_cast<signed char>(content[i])) : 0;
        };
        expect(id == Tree::none ? "PropertyNotFound" : "nothing", [&](Subject& subject) {
            auto elements = static_cast<utils::properties::Type>(7);
            check(subject.settings.readPropertyType(name, &elements) == tag(0), "the type is the first byte");
            check(elements == (tag(0) == 'L' ? tag(1) : 7), "the elements' type is a list's second byte");
        });
    }

    void addGroup() {
        std::string const name = pick(_input);
        RegisterScope const scope = pickScope();
        if (Model::isScope(scope))
            _model.addGroup(name, scope);
        expect(scoped(scope), [&](Subject& subject) { subject.settings.addGroup(name, scope); });
    }

    void addProperty() {
        std::string const name = pick(_input);
        RegisterScope const scope = pickScope();
        if (Model::isScope(scope))
            _model.addProperty(name, scope);
        expect(scoped(scope), [&](Subject& subject) { subject.settings.addProperty(name, scope); });
    }

    void delProperty() {
        std::string const name = pick(_input);
        RegisterScope const scope = pickScope();
        if (Model::isScope(scope))
            _model.remove(name, scope);
        expect(scoped(scope), [&](Subject& subject) { subject.settings.delProperty(name, scope); });
    }

    void ask() {
        std::string const name = pick(_input);
        RegisterScope const scope = pickScope();
        expect(scoped(scope), [&](Subject& subject) {
            _Register& settings = subject.settings;
            check(settings.propertyExists(name) == _model.existsAnywhere(name),
                  "a name exists if any scope has it");
            check(settings.groupExists(name) == _model.isGroupAnywhere(name),
                  "a group exists if any scope has it");
            check(settings.propertyExists(name, scope) == _model.exists(name, scope),
                  "a name exists in its scope");
            check(settings.groupExists(name, scope) == _model.isGroup(name, scope),
                  "a group exists in its scope");
        });
    }

    void list() {
        std::string const name = pick(_input);
        RegisterScope const scope = pickScope();
        std::set<std::string> expected;
        if (Model::isScope(scope) && _model.isGroup(name, scope))
            for (auto const& child : _model.tree[_model.find(name, scope)].children)
                expected.insert(child.first);
        expect(!Model::isScope(scope)        ? "Bad scope value."
               : _model.isGroup(name, scope) ? "nothing"
                                             : name + " does not exist or is not a group.",
               [&](Subject& subject) {
                   std::set<std::string> names;
                   for (auto const& entry : subject.settings.propertyList(name, scope))
                       names.insert(bytes('/' + entry.name).substr(1));
                   check(names == expected, "a listing contains the entries of the group");
               });
    }

    /** The failure of `openProperty`, or "nothing". The mode is valid. */
    std::string openingFailure(std::string const& name, RegisterScope scope, bool opens) {
        std::string const group = Model::groupOf(name);
        if (!_model.isGroupAnywhere(group))
            return "Group " + group + " does not exist !";
        if (!Model::isScope(scope))
            return "Bad scope value.";
        return opens ? "nothing" : "Cannot open property named " + name + " !";
    }

    void writeThroughAHandle() {
        std::string const name = pick(_input);
        RegisterScope const scope = pickScope();
        std::string const content = modestRecord(_input.string());
        std::size_t file = Tree::none;
        if (Model::isScope(scope) && _model.isGroupAnywhere(Model::groupOf(name)))
            file = _model.openForWriting(name, scope);
        if (file != Tree::none)
            _model.tree[file].content = content;
        expect(openingFailure(name, scope, file != Tree::none),
               [&](Subject& subject) { store(subject.settings, name, scope, content); });
    }

    /** Opens a property and keeps the handle, even if the property is changed or removed later. */
    void hold() {
        std::string const name = pick(_input);
        RegisterScope const scope = pickScope();
        for (Subject* const subject : {&_plain, &_other})
            if (subject->held != nullptr)
                subject->settings.closeProperty(*std::exchange(subject->held, nullptr));
        _held = Model::isScope(scope) ? _model.find(name, scope) : Tree::none;
        _position = 0;
        bool const opens = _held != Tree::none && !_model.tree[_held].directory;
        expect(openingFailure(name, scope, opens), [&](Subject& subject) {
            subject.held = subject.settings.openProperty(name, _Register::MODE_READ, scope);
        });
        if (_plain.held == nullptr)
            _held = Tree::none;
    }

    void readHeld() {
        std::size_t const wanted = _input.byte();
        std::string expected;
        if (_held != Tree::none && isThere(_held) && _position <= _model.tree[_held].content.size())
            expected = _model.tree[_held].content.substr(_position, wanted);
        _position += expected.size();
        expect("nothing", [&](Subject& subject) {
            std::string read(wanted, '\0');
            read.resize(static_cast<std::size_t>(
                subject.settings.read(subject.held, read.data(), static_cast<long>(wanted))));
            check(read == expected, "an open handle reads the current content, or nothing");
        });
    }

    [[nodiscard]] bool isThere(std::size_t id) const {
        std::vector<std::size_t> left{Tree::root};
        while (!left.empty()) {
            std::size_t const next = left.back();
            left.pop_back();
            if (next == id)
                return true;
            for (auto const& child : _model.tree[next].children)
                left.push_back(child.second);
        }
        return false;
    }

    void addCallback() {
        std::string const key = pick(_input);
        std::size_t const listener = _input.byte() % (listenerCount + 1);
        if (listener == listenerCount)
            return expect("Null callback.",
                          [&](Subject& subject) { subject.settings.addCallback(key, nullptr); });
        _announcements.add(key, listener);
        expect("nothing",
               [&](Subject& subject) { subject.settings.addCallback(key, &subject.listeners[listener]); });
    }

    void removeCallback() {
        std::string const key = pick(_input);
        std::size_t const listener = _input.byte() % listenerCount;
        bool const everywhere = _input.byte() % 4 == 0;
        everywhere ? _announcements.remove(listener) : _announcements.remove(key, listener);
        expect("nothing", [&](Subject& subject) {
            _Register::Callback* const callback = &subject.listeners[listener];
            everywhere ? subject.settings.removeCallback(callback)
                       : subject.settings.removeCallback(key, callback);
        });
    }

    void markAsChanged() {
        std::string const name = pick(_input);
        void* const sender = pickSender();
        _announcements.pending.insert(name);
        expect(announced(sender), [&](Subject& subject) { subject.settings.markAsChanged(sender, name); });
    }

    void notify() {
        void* const sender = pickSender();
        expect(announced(sender), [&](Subject& subject) { subject.settings.notify(sender); });
    }

    void save() {
        std::size_t const scope = _model.find("", SCOPE_USER);
        bool const isDirectory = scope != Tree::none && _model.tree[scope].directory;
        _saved = isDirectory ? format::encode(_model.tree, scope) : format::encode(Tree());
        for (Subject* const subject : {&_plain, &_other}) {
            check(subject->onDisk([](_Register& settings) { settings.save(); }) == "nothing",
                  "saving is silent");
            check(fileBytes(subject->file()) == *_saved, "the file contains the user scope");
        }
    }

    void load() {
        if (_saved)
            putSavedInPlace(_model.tree);
        for (Subject* const subject : {&_plain, &_other})
            check(subject->onDisk([](_Register& settings) { settings.load(); }) == "nothing",
                  "a saved file is loaded");
    }

    /** Loads the file into a new register, as a new process does. */
    void loadAnew() {
        Model expected;
        if (_saved)
            putSavedInPlace(expected.tree);
        for (Subject* const subject : {&_plain, &_other}) {
            std::unique_ptr<Derived> started;
            check(subject->onDisk([&](_Register&) { started = std::make_unique<Derived>(); }) == "nothing",
                  "a saved file is loaded at the start");
            check(image(*started, "/") == format::encode(expected.tree),
                  "the loaded tree equals the saved one");
        }
    }

    void loadDamaged() {
        unsigned const place = _input.byte() * 256 + _input.byte();
        unsigned const bit = 1U << _input.byte() % 8;
        bool const cut = _input.byte() % 2 == 0;
        if (!_saved)
            return;
        std::string damaged = *_saved;
        std::size_t const at = place % damaged.size();
        if (cut)
            damaged.resize(at);
        else
            damaged[at] = static_cast<char>(static_cast<unsigned char>(damaged[at]) ^ bit);
        for (Subject* const subject : {&_plain, &_other}) {
            std::ofstream(subject->file(), std::ios::binary) << damaged;
            std::string const failed = subject->onDisk([](_Register& settings) { settings.load(); });
            check(failed.rfind(subject->file().string() + ": ", 0) == 0, "a damaged file is refused", failed);
            check(fileBytes(subject->file()) == damaged, "a damaged file is not changed");
            std::ofstream(subject->file(), std::ios::binary) << *_saved;
        }
    }

    void putSavedInPlace(Tree& tree) const {
        Tree const saved = format::decode(*_saved)->tree;
        tree[Tree::root].children.erase("user");
        copy(saved, Tree::root, tree, tree.add(Tree::root, "user", true));
    }

    static void copy(Tree const& from, std::size_t source, Tree& to, std::size_t target) {
        for (auto const& [name, id] : from[source].children)
            copy(from, id, to, to.add(target, name, from[id].directory, from[id].content));
    }

    static std::string scoped(RegisterScope scope) {
        return Model::isScope(scope) ? "nothing" : "Bad scope value.";
    }

    ByteSource& _input;
    Derived _derived;
    Subject _plain;
    Subject _other;
    Model _model;
    Announcements _announcements;
    Log _log;
    std::optional<std::string> _saved;
    std::size_t _held = Tree::none;
    std::size_t _position = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static TemporaryDirectory directory;
    ByteSource input({reinterpret_cast<char const*>(data), size});
    Game game(input, directory.path());
    for (std::size_t steps = 0; steps < mostSteps && !input.isEmpty(); ++steps)
        game.step();
    return 0;
}
