// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <filesystem/Path.h>
#include <filesystem/RealFileSystem.h>

#include "Format.h"
#include "Model.h"
#include "TemporaryDirectory.h"
#include "support/Failure.h"

// Uses any bytes as names of groups and properties, of paths in the register, and of files in memory and on disk. No
// name may lead out of its scope or root, and all operations must agree on its meaning. The input is up to three names,
// one per line; as UTF-16, the whole input is also a path in memory and on disk.

using namespace fuzz;
using support::failure;

namespace {

std::string cString(std::string const& message) {
    return message.c_str();
}

/** The result of a call, or its failure. */
template <class Call>
std::string answer(Call&& call) {
    std::string result;
    bool returned = false; // because a message may also be "nothing"
    std::string const failed = failure([&] {
        result = call();
        returned = true;
    });
    return returned ? "result: " + result : "failure: " + cString(failed);
}

std::string pathToName(std::string const& path) {
    std::size_t const start = path.find_first_not_of('/');
    std::string const rest = start == std::string::npos ? std::string() : path.substr(start);
    if (rest.rfind("temp/", 0) == 0)
        return rest.size() < 7 ? "out of range" : "result: " + rest.substr(7);
    if (rest.rfind("user/", 0) == 0)
        return "result: " + rest.substr(5);
    if (rest.rfind("global/", 0) == 0)
        return "result: " + rest.substr(7);
    return "failure: Bad scope value.";
}

void checkConversions(_Register const& settings, std::string const& name) {
    for (RegisterScope const scope : scopes) {
        std::string const path = '/' + Model::directory(scope) + '/' + name;
        check(settings._nameToPath(name, scope) == path, "a path is the scope and the name");
        if (scope != SCOPE_TEMPORARY)
            check(settings._pathToName(path) == name, "a path is converted back to its name");
    }
    for (int const scope : {-1, 3, 255, 2147483647})
        check(answer([&] { return settings._nameToPath(name, static_cast<RegisterScope>(scope)); }) ==
                  "failure: Bad scope value.",
              "there are three scopes");
    for (std::string const& path : {name, '/' + name, "temp/" + name, "//global/" + name}) {
        std::string const expected = pathToName(path);
        std::string const given = answer([&] { return settings._pathToName(path); });
        check(expected == "out of range" ? given.rfind("failure: std: basic_string::substr", 0) == 0
                                         : given == expected,
              "a path is split as documented");
    }
    QString const path = text(name);
    std::string const whole = bytes(path);
    std::size_t const slash = whole.rfind('/');
    check(bytes(filesystem::dirName(path)) == (slash == std::string::npos ? "" : whole.substr(0, slash)),
          "the directory part ends before the last slash");
}

/** The process's register, a derived one, and the model of both. */
class Trio {
public:
    Trio() : _settings(emptied()) {
        for (RegisterScope const scope : scopes)
            change([&](auto& each) { put(each, "canary", scope); });
    }

    /** Makes the same change to all three and compares them. */
    template <class Change>
    void change(Change const& change) {
        change(_settings);
        change(static_cast<_Register&>(_derived));
        change(_model);
        std::string const expected = format::encode(_model.tree);
        check(image(_settings, "/") == expected, "the register's tree equals the model's");
        check(image(_derived, "/") == expected, "a derived register's tree equals the model's");
    }

    void compare(std::string const& name, RegisterScope scope) {
        for (_Register* const each : {&_settings, static_cast<_Register*>(&_derived)})
            compare(*each, name, scope);
    }

    void putAndTakeAway(std::string const& name, RegisterScope scope) {
        Tree const before = _model.tree;
        change([&](auto& each) { put(each, name, scope); });
        compare(name, scope);
        for (RegisterScope const other : scopes)
            check(other == scope || sameScope(before, other), "no name leads out of its scope");
        for (auto const& entry : _model.tree[Tree::root].children)
            check(entry.first == "global" || entry.first == "user" || entry.first == "temp",
                  "no name leads above its scope");
        change([&](auto& each) { remove(each, name, scope); });
    }

    void addAndTakeAway(std::string const& name, RegisterScope scope) {
        change([&](auto& each) { each.addGroup(name, scope); });
        compare(name, scope);
        change([&](auto& each) { remove(each, name, scope); });
        compare(name, scope);
        change([&](auto& each) { each.addProperty(name, scope); });
        compare(name, scope);
        change([&](auto& each) { open(each, name, scope); });
        compare(name, scope);
    }

private:
    static constexpr int value = 42;

    static void put(_Register& settings, std::string const& name, RegisterScope scope) {
        static_cast<void>(failure([&] { settings._writeInteger(nullptr, name, value, scope); }));
    }
    static void put(Model& model, std::string const& name, RegisterScope scope) {
        model.write(name, scope, std::string("I*\0\0\0", 5));
    }

    static void remove(_Register& settings, std::string const& name, RegisterScope scope) {
        settings.delProperty(name, scope);
    }
    static void remove(Model& model, std::string const& name, RegisterScope scope) {
        model.remove(name, scope);
    }

    static void open(_Register& settings, std::string const& name, RegisterScope scope) {
        static_cast<void>(failure(
            [&] { settings.closeProperty(*settings.openProperty(name, _Register::MODE_WRITE, scope)); }));
    }
    static void open(Model& model, std::string const& name, RegisterScope scope) {
        if (model.isGroupAnywhere(Model::groupOf(name)))
            model.openForWriting(name, scope);
    }

    [[nodiscard]] bool sameScope(Tree const& before, RegisterScope scope) const {
        std::string const directory = Model::directory(scope);
        return format::encode(before, before.find({directory})) ==
               format::encode(_model.tree, _model.tree.find({directory}));
    }

    /** Compares all operations on a name that do not change the tree. */
    void compare(_Register& settings, std::string const& name, RegisterScope scope) {
        std::string const group = Model::groupOf(name);
        QString const path = text(settings._nameToPath(name, scope));
        std::size_t const id = _model.find(name, scope);
        bool const isGroup = _model.isGroup(name, scope);
        check(settings.propertyExists(name, scope) == (id != Tree::none), "a name exists if it was created");
        check(settings.groupExists(name, scope) == isGroup, "a group exists if it was created");
        check(settings.propertyExists(name) == _model.existsAnywhere(name),
              "a name exists if any scope has it");
        check(settings.groupExists(name) == _model.isGroupAnywhere(name),
              "a group exists if any scope has it");
        check(settings.exists(path) == (id != Tree::none) && settings.isDirectory(path) == isGroup &&
                  settings.isFile(path) == (id != Tree::none && !isGroup),
              "the file system agrees about a name");

        check(answer([&] { return listed(settings.propertyList(name, scope)); }) ==
                  (isGroup ? "result: " + listed(id)
                           : "failure: " + cString(name + " does not exist or is not a group.")),
              "a listing contains the entries of the group");
        check(answer([&] { return settings._locateProperty(name); }) == expectedPlace(name),
              "a name is located in the first scope that has it");
        check(answer([&] {
                  int number = 0;
                  settings._readInteger(name, number);
                  return std::to_string(number);
              }) == expectedReading(name),
              "reading a name returns the value written under it");

        FileHandle* handle = nullptr;
        std::string const opened = answer([&] {
            handle = settings.openProperty(name, _Register::MODE_READ, scope);
            return std::string();
        });
        if (handle != nullptr)
            settings.closeProperty(*handle);
        check(opened == (!_model.isGroupAnywhere(group)
                             ? "failure: " + cString("Group " + group + " does not exist !")
                         : id == Tree::none || isGroup
                             ? "failure: " + cString("Cannot open property named " + name + " !")
                             : "result: "),
              "an existing property is opened");
    }

    static std::string listed(std::set<filesystem::DirEntry> const& entries) {
        std::string result;
        std::set<std::string> names; // entries are ordered by UTF-16
        for (auto const& entry : entries)
            names.insert(bytes('/' + entry.name).substr(1));
        for (std::string const& name : names)
            result += name + '/';
        return result;
    }

    [[nodiscard]] std::string listed(std::size_t id) const {
        std::string result;
        for (auto const& child : _model.tree[id].children)
            result += child.first + '/';
        return result;
    }

    [[nodiscard]] std::string expectedPlace(std::string const& name) const {
        for (RegisterScope const scope : {SCOPE_USER, SCOPE_GLOBAL, SCOPE_TEMPORARY})
            if (_model.exists(name, scope))
                return "result: /" + Model::directory(scope) + '/' + name;
        return "failure: PropertyNotFound";
    }

    [[nodiscard]] std::string expectedReading(std::string const& name) const {
        std::size_t const id = _model.located(name);
        if (id == Tree::none)
            return "failure: PropertyNotFound";
        bool const written = !_model.tree[id].directory && !_model.tree[id].content.empty();
        return written ? "result: " + std::to_string(value) : "failure: PropertyBadType";
    }

    _Register& _settings;
    Derived _derived;
    Model _model;
};

/** Checks any path in a file system in memory. */
void checkInMemory(QString const& path) {
    RAMFileSystem files;
    bool const isText = path.isValidUtf16();
    std::vector<std::string> const levels = levelsOf(bytes(path));
    bool const isPossible = isText && !levels.empty() && levels.back() != "." && levels.back() != "..";
    bool const atTop = isPossible && levels.size() == 1;
    check(files.exists(path) == (isText && levels.empty()), "only the root exists at first");
    check(files.mkdir(path) == atTop, "a directory is created in an existing one");
    check(files.exists(path) == (atTop || (isText && levels.empty())), "the new directory exists");
    check(files.getFileList(text("/")).empty() == !atTop, "the new directory is listed");
    check(files.remove(path) == atTop, "an existing directory can be removed");
    FileHandle* handle = nullptr;
    check(files.open(path, &handle, FileSystem::MODE_WRITE) == atTop,
          "a file is created in an existing directory");
    check(files.close(handle) == atTop, "an open file can be closed");
    check(files.isFile(path) == atTop, "a new file exists");
}

/** A directory on disk that contains only the root of a file system and a file outside that root. */
class Disk {
public:
    Disk() {
        std::filesystem::create_directory(root());
        std::ofstream(_home.path() / "outside") << "kept";
    }

    void checkName(QString const& path) {
        filesystem::RealFileSystem files(text(root().string()));
        bool dots = false;
        for (std::string const& level : levelsOf(bytes(path)))
            dots = dots || level == "." || level == "..";
        // Checked first, because the changes below could damage other files if it did not hold.
        check(!(dots && files.exists(path)), "no name with dots exists");
        if (!files.exists(path))
            files.mkdir(path);
        files.remove(path);
        FileHandle* handle = nullptr;
        if (files.open(path, &handle, FileSystem::MODE_WRITE))
            files.close(handle);
        files.remove(path);
        check(std::filesystem::is_directory(root()) && std::filesystem::is_empty(root()),
              "a new entry can be removed");
        std::size_t entries = 0;
        for (auto const& entry : std::filesystem::directory_iterator(_home.path()))
            entries += entry.path().filename() == "root" || entry.path().filename() == "outside" ? 1U : 10U;
        std::ifstream outside(_home.path() / "outside");
        std::string const content{std::istreambuf_iterator<char>(outside), std::istreambuf_iterator<char>()};
        check(entries == 2 && content == "kept", "no file name leads out of its root");
    }

private:
    [[nodiscard]] std::filesystem::path root() const { return _home.path() / "root"; }

    TemporaryDirectory _home;
};

std::vector<std::string> namesIn(std::string const& input) {
    std::vector<std::string> names;
    for (std::size_t begin = 0; begin <= input.size() && names.size() < 3;) {
        std::size_t const end = std::min(input.find('\n', begin), input.size());
        names.push_back(input.substr(begin, end - begin));
        begin = end + 1;
    }
    return names;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static Disk disk;
    std::vector<std::string> const names = namesIn({reinterpret_cast<char const*>(data), size});
    Trio trio;
    unsigned turn = 0;
    for (std::string const& name : names) {
        RegisterScope const scope = scopes[(turn++ + size) % 3];
        checkConversions(*_Register::getInstance(), name);
        trio.compare(name, scope);
        trio.putAndTakeAway(name, scope);
        trio.addAndTakeAway(name, scope); // leaves a property for the next name
        checkInMemory(text(name));
        disk.checkName(text(name));
    }
    QString utf16;
    for (std::size_t i = 0; i + 1 < size; i += 2)
        utf16 += QChar(static_cast<unsigned short>(data[i] | data[i + 1] << 8));
    checkInMemory(utf16);
    disk.checkName(utf16);
    return 0;
}
