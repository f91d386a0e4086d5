// SPDX-License-Identifier: Apache-2.0
//
// velmorand-register: looks at and changes register files, for people and scripts. Answers go to standard
// output, complaints to standard error.

#include <exception>
#include <functional>
#include <iostream>
#include <map>
#include <string>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "Text.h"

namespace {

using tool::Failure;
using tool::Places;
using tool::Scope;
using tool::Status;

constexpr char const* footer =
    R"(velmorand-register COMMAND --help tells more of a command, the manual page all.

The exit status is 0 when it is done, 1 when a name is not there or something
is different, 2 when the command makes no sense, 3 when a register file is
damaged, cannot be read or was not saved.)";

/** The command line, and what it says. */
class CommandLine {
public:
    CommandLine() : _line("Looks at and changes register files: the settings of applications.") {
        _line.name("velmorand-register");
        _line.footer(footer);
        _line.set_version_flag("--version", "velmorand-register " VELMORAND_VERSION);
        _line.fallthrough();
        _line.require_subcommand(0, 1); // what follows a command may be named like one
        _line.get_formatter()->column_width(28);
        _line.get_formatter()->label("REQUIRED", "");
        _line.get_formatter()->label("SUBCOMMAND", "COMMAND");
        addPlaces();
        addReading();
        addWriting();
        addFiles();
    }
    CommandLine(CommandLine const&) = delete;
    CommandLine& operator=(CommandLine const&) = delete;

    /** Parses the arguments and does what they say. */
    Status run(int argc, char const* const* argv) {
        _line.parse(argc, argv);
        if (!_command)
            throw Failure(Status::misuse, "a command is missing; --help lists them");
        return _command();
    }

    [[nodiscard]] CLI::App const& line() const { return _line; }

    /** What is wrong with a line that has more than it should. */
    [[nodiscard]] std::string unexpected() const {
        std::string const text = _line.remaining(true).front();
        bool const isOption = text.size() > 1 && text.front() == '-';
        if (!isOption && _line.get_subcommands().empty()) {
            std::string all;
            for (CLI::App const* const command : _line.get_subcommands({}))
                all += (all.empty() ? "" : ", ") + command->get_name();
            return "no such command: " + text + " (there are " + all + ")";
        }
        return (isOption ? "no such option: " : "one argument too many: ") + text +
               (isOption ? " (put -- before a value that begins with \"-\")" : "");
    }

private:
    CLI::App* add(char const* name, char const* what, std::function<Status()> const& command) {
        CLI::App* const added = _line.add_subcommand(name, what);
        added->group("Commands");
        added->footer("The options of velmorand-register may stand here as well.");
        added->callback([this, command] { _command = command; });
        return added;
    }

    void addPlaces() {
        _line.add_option("--user", _places.userDirectory, "The user's directory [~/.config/velmorand]")
            ->type_name("DIR");
        _line.add_option("--global", _places.globalDirectory, "The global directory [none]")
            ->type_name("DIR");
        static std::map<std::string, Scope> const scopes{
            {"user", Scope::user}, {"global", Scope::global}, {"temporary", Scope::temporary}};
        _line
            .add_option_function<std::string>(
                "--scope", [this](std::string const& scope) { _places.scope = scopes.at(scope); },
                "Only this scope: user, global, temporary")
            ->type_name("SCOPE")
            ->check([](std::string const& scope) {
                return scopes.count(scope) > 0
                           ? std::string()
                           : "no such scope: " + scope + " (there are user, global, temporary)";
            });
    }

    void addReading() {
        auto* const list = add("list", "Prints kind, scope and name of what a group has",
                               [this] { return tool::list(_places, _group, _isRecursive, _isLong); });
        list->add_option("GROUP", _group, "Without: the settings in no group, and all groups")->type_name("");
        list->add_flag("-r,--recursive", _isRecursive, "Also what is in the groups within it");
        list->add_flag("-l,--long", _isLong, "Also the values");

        auto* const get = add("get", "Prints a property's value, an element a line",
                              [this] { return tool::get(_places, _name); });
        addName(get, "The property's name");
    }

    void addWriting() {
        auto* const set = add("set", "Sets a property",
                              [this] { return tool::set(_places, _kind, _name, _values->results()); });
        set->add_option("KIND", _kind,
                        "string, number, integer, boolean, or a list:\nstrings, numbers, integers, booleans")
            ->required()
            ->type_name("");
        addName(set, "The property's name");
        // As many as there are, and each as it is: where CLI11 is to take some more, "[a,b]" is two of them.
        _values = set->add_option("VALUE", "The value; for a list, each of its elements");
        constexpr int most = CLI::detail::expected_max_vector_size;
        _values->take_all()->expected(most - 1, most)->allow_extra_args(false)->type_name("");
        set->footer("Put -- before values that begin with a \"-\" and no digit behind it.\n" +
                    set->get_footer());

        addName(add("delete", "Removes a property, or a group with all in it",
                    [this] { return tool::remove(_places, _name); }),
                "The name of the property or group");

        auto* const exporting = add("export", "Prints the settings in JSON",
                                    [this] { return tool::exportGroup(_places, _group); });
        exporting->add_option("GROUP", _group, "Without: all groups")->type_name("");

        auto* const importing = add("import", "Sets what JSON says: all of it or nothing",
                                    [this] { return tool::import(_places, _file, _isReplacing); });
        importing->add_option("FILE", _file, "The JSON; - for standard input")->required()->type_name("");
        importing->add_flag("--replace", _isReplacing, "Remove all settings that it does not have");
    }

    void addFiles() {
        auto* const diff = add("diff", "Prints what differs between two register files",
                               [this] { return tool::diff(_file, _otherFile); });
        diff->add_option("FILE", _file, "A register file, or the directory of one")
            ->required()
            ->type_name("");
        diff->add_option("OTHER", _otherFile, "The other one")->required()->type_name("");

        auto* const check = add("check", "Says whether a register file is whole and sound",
                                [this] { return tool::check(_places, _checked); });
        check->add_option("FILE", _checked, "Without: those of the directories")->type_name("");

        add("watch", "Prints what other processes change, old and new",
            [this] { return tool::watch(_places); });
    }

    void addName(CLI::App* command, char const* what) {
        command->add_option("NAME", _name, what)->required()->type_name("");
    }

    CLI::App _line;
    std::function<Status()> _command;
    Places _places;
    std::string _group;
    std::string _name;
    std::string _kind;
    CLI::Option* _values = nullptr;
    std::string _file;
    std::string _otherFile;
    std::optional<std::string> _checked;
    bool _isRecursive = false;
    bool _isLong = false;
    bool _isReplacing = false;
};

Status complained(Status status, std::string const& message) {
    tool::complain(message);
    return status;
}

/** Everything that was printed has arrived. */
Status delivered(Status status) {
    return std::cout.flush() ? status : complained(Status::fileTrouble, "standard output cannot be written");
}

Status run(int argc, char const* const* argv) {
    CommandLine commandLine;
    try {
        return delivered(commandLine.run(argc, argv));
    } catch (CLI::Success const& answer) {
        commandLine.line().exit(answer); // help, or the version
        return delivered(Status::done);
    } catch (CLI::ExtrasError const&) {
        return complained(Status::misuse, commandLine.unexpected());
    } catch (CLI::ParseError const& misuse) {
        return complained(Status::misuse, misuse.what());
    } catch (Failure const& failure) {
        return complained(failure.status(), failure.what());
    }
}

} // namespace

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    try {
        return static_cast<int>(run(argc, argv));
    } catch (std::exception const& failure) {
        return static_cast<int>(complained(Status::fileTrouble, failure.what()));
    }
}
