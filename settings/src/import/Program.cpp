// SPDX-License-Identifier: Apache-2.0
//
// Reads a store with a separate program, so that applications and the command-line tool do not need the store's
// library, and its side effects and failures stay out of their processes.

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <system_error>

#include <dlfcn.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <utils/Exception.h>

#include "Readers.h"

namespace velmorand::import {

namespace {

using utils::Exception;

/** The path of a program in the directory "velmorand-register" next to this library. */
std::string pathOf(std::string const& program) {
    Dl_info info = {};
    if (::dladdr(reinterpret_cast<void const*>(&readByProgram), &info) == 0 || info.dli_fname == nullptr)
        throw Exception("cannot find the directory of this library");
    return (std::filesystem::path(info.dli_fname).parent_path() / "velmorand-register" / program).string();
}

class Pipe {
public:
    Pipe() {
        if (::pipe2(_ends.data(), O_CLOEXEC) != 0)
            throw Exception("cannot create a pipe: " + std::generic_category().message(errno));
    }
    Pipe(Pipe const&) = delete;
    Pipe& operator=(Pipe const&) = delete;
    ~Pipe() {
        ::close(_ends[0]);
        closeWriteEnd();
    }

    [[nodiscard]] int writeEnd() const { return _ends[1]; }
    void closeWriteEnd() {
        if (_ends[1] >= 0)
            ::close(_ends[1]);
        _ends[1] = -1;
    }

    /** Reads until the write end is closed. */
    [[nodiscard]] std::string readAll() const {
        std::string all;
        std::array<char, 65'536> part{};
        for (;;) {
            ::ssize_t const got = ::read(_ends[0], part.data(), part.size());
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                return all;
            all.append(part.data(), static_cast<std::size_t>(got));
        }
    }

private:
    std::array<int, 2> _ends{-1, -1};
};

/** Runs a program with one argument. Result: its standard output. */
std::string outputOf(std::string const& program, std::string const& argument) {
    Pipe output;
    ::posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, output.writeEnd(), 1);
    std::string name = program; // the system call needs writable text
    std::string path = argument;
    std::array<char*, 3> arguments{name.data(), path.data(), nullptr};
    ::pid_t child = 0;
    int const error = ::posix_spawn(&child, program.c_str(), &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw Exception(program + ": " + std::generic_category().message(error));
    output.closeWriteEnd();
    std::string text = output.readAll();
    // Success is determined from the output, not the exit status: the application may ignore SIGCHLD or reap all
    // children itself.
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    return text;
}

std::vector<std::string> texts(QJsonArray const& array) {
    std::vector<std::string> all;
    std::transform(array.begin(), array.end(), std::back_inserter(all),
                   [](QJsonValue const& text) { return text.toString().toStdString(); });
    return all;
}

AnyValue valueIn(QJsonObject const& setting) {
    std::vector<std::string> elements = texts(setting["value"].toArray());
    if (setting["isBase64"].toBool())
        for (std::string& element : elements)
            element = QByteArray::fromBase64(QByteArray::fromStdString(element)).toStdString();
    return valueOf(kindIndex(setting["kind"].toString().toStdString()), elements);
}

Found foundIn(QJsonObject const& setting) {
    Found found{texts(setting["path"].toArray()), std::nullopt};
    if (setting.contains("problem"))
        found.problem = setting["problem"].toString().toStdString();
    else
        found.value = valueIn(setting);
    if (setting.contains("list"))
        found.list = texts(setting["list"].toArray());
    return found;
}

} // namespace

std::vector<Found> readByProgram(std::string const& name, std::string const& path) {
    std::string const program = pathOf("import-" + name);
    if (::access(program.c_str(), X_OK) != 0)
        throw Exception("cannot import settings of " + name + ": " + program + " is not installed");
    std::string const output = outputOf(program, path);
    QJsonDocument const answer =
        QJsonDocument::fromJson(QByteArray::fromRawData(output.data(), static_cast<int>(output.size())));
    if (!answer.isObject())
        throw Exception(program + ": incomplete answer");
    if (answer.object().contains("error"))
        throw Exception(answer["error"].toString().toStdString());
    QJsonArray const settings = answer["settings"].toArray();
    std::vector<Found> all;
    std::transform(settings.begin(), settings.end(), std::back_inserter(all),
                   [](QJsonValue const& setting) { return foundIn(setting.toObject()); });
    return all;
}

} // namespace velmorand::import
