// SPDX-License-Identifier: Apache-2.0
//
// velmorand-register: shows and changes register files. Results go to standard output, diagnostics to standard error.

#include <algorithm>
#include <array>
#include <chrono>
#include <exception>
#include <functional>
#include <iostream>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <fcntl.h>

#include "Commands.h"
#include "Text.h"

namespace {

using tool::Failure;
using tool::Places;
using tool::Scope;
using tool::Status;
using tool::WrongCall;

constexpr char const* program = "velmorand-register";

constexpr char const* footer =
    R"(For a command: "velmorand-register COMMAND --help". See also the manual page.

If a file already holds the same settings, "set", "import" and "restore" print
"nothing changed" and leave it untouched.

Exit status: 0 success; 1 a name does not exist, files differ, or "import" has
refused some settings; 2 wrong usage; 3 a register file is damaged, cannot be
read, or was not saved; 4 "check" found only undeclared names, invalid values or
an invalid list of locks.)";

/** Parses the command line and runs its command. */
class CommandLine {
public:
    CommandLine() : _line("Show and change register files, which hold the settings of applications.") {
        _line.name(program);
        _line.footer(footer);
        _line.set_help_flag("-h,--help", "Print this help");
        _line.set_version_flag("--version", std::string(program) + " " VELMORAND_VERSION,
                               "Print the version");
        _line.fallthrough();
        _line.require_subcommand(0, 1); // at most 1, so that an argument may equal a command's name
        _line.get_formatter()->column_width(28);
        _line.get_formatter()->label("REQUIRED", "");
        _line.get_formatter()->label("SUBCOMMAND", "COMMAND");
        addPlaces();
        addReading();
        addWriting();
        addExchange();
        addFiles();
    }
    CommandLine(CommandLine const&) = delete;
    CommandLine& operator=(CommandLine const&) = delete;

    /** Parses the arguments and runs the command. */
    Status run(int argc, char const* const* argv) {
        _line.parse(argc, argv);
        if (!_command)
            throw WrongCall("no command given (commands: " + commands() + ")");
        return _command();
    }

    [[nodiscard]] CLI::App const& line() const { return _line; }

    /** The diagnostic for an argument that the parser did not expect. */
    [[nodiscard]] std::string unexpected() const {
        std::string const text = _line.remaining(true).front();
        if (text.size() > 1 && text.front() == '-')
            return "no such option: " + text +
                   (_line.got_subcommand("set") ? R"( (put -- before a value that begins with "-"))" : "");
        if (_line.get_subcommands().empty())
            return "no such command: " + text + " (commands: " + commands() + ")";
        return "unexpected argument: " + text;
    }

    /** The diagnostic for an option that is given more than once, or without its argument as the last word. */
    [[nodiscard]] std::string mismatch(std::string const& lastWord) const {
        std::vector<CLI::Option const*> options = _line.get_options();
        for (CLI::App const* const command : _line.get_subcommands())
            for (CLI::Option const* const option : command->get_options())
                options.push_back(option);
        auto const isRepeated = [](CLI::Option const* option) {
            return option->count() > 1 && option->get_multi_option_policy() == CLI::MultiOptionPolicy::Throw;
        };
        auto const repeated = std::find_if(options.begin(), options.end(), isRepeated);
        return repeated == options.end() ? lastWord + " needs an argument"
                                         : (*repeated)->get_name() + " can be given only once";
    }

    /** The usage of the command or, without one, of the program. */
    [[nodiscard]] std::string usage() const {
        std::string const help = _line.help();
        std::size_t const begin = std::min(help.find("Usage: "), help.size());
        std::string const name = _line.get_subcommands().empty()
                                     ? std::string()
                                     : ' ' + _line.get_subcommands().front()->get_name();
        return help.substr(begin, help.find('\n', begin) - begin) + "\nTry '" + program + name +
               " --help' for more.\n";
    }

private:
    [[nodiscard]] std::string commands() const {
        std::string all;
        for (CLI::App const* const command : _line.get_subcommands({}))
            all += (all.empty() ? "" : ", ") + command->get_name();
        return all;
    }

    CLI::App* add(char const* name, char const* what, std::function<Status()> const& command) {
        CLI::App* const added = _line.add_subcommand(name, what);
        added->group("Commands");
        added->footer(std::string("The options of ") + program + " are accepted here, too.");
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
                "The scope to use: user, global, temporary")
            ->type_name("SCOPE")
            ->check([](std::string const& scope) {
                return scopes.count(scope) > 0
                           ? std::string()
                           : "no such scope: " + scope + " (scopes: user, global, temporary)";
            });
        _line
            .add_option(
                "--catalogue", _places.catalogues,
                "A catalogue of declared settings, or a directory of\ncatalogues [the installed ones]")
            ->type_name("PATH")
            ->allow_extra_args(false);
        _line
            .add_option_function<unsigned>(
                "--wait", [this](unsigned seconds) { _places.patience = std::chrono::seconds(seconds); },
                "How long to wait for a locked directory [5]")
            ->type_name("SECONDS")
            ->check([](std::string const& seconds) {
                constexpr std::size_t longest = 9; // digits: about 30 years
                bool const isNumber = !seconds.empty() && seconds.size() <= longest &&
                                      seconds.find_first_not_of("0123456789") == std::string::npos;
                return isNumber ? std::string() : "not a whole number of seconds: " + seconds;
            });
    }

    void addReading() {
        auto* const list = add("list", "List the properties and groups in a group", [this] {
            return _isDeclared ? tool::listDeclared(_places, _group, _isRecursive, _isLong)
                               : tool::list(_places, _group, _isRecursive, _isLong);
        });
        list->add_option("GROUP", _group, "The group [all settings]")->type_name("");
        addFlag(list, "-r,--recursive", _isRecursive, "Include nested groups");
        addFlag(list, "-l,--long", _isLong,
                "Also print the values or, with --declared, which\nvalues are allowed");
        addFlag(list, "--declared", _isDeclared, "List declared settings, with values or fallbacks");

        auto* const get = add("get", "Print a property's value, one element per line",
                              [this] { return tool::get(_places, _name); });
        addName(get, "The property's name");
    }

    void addWriting() {
        auto* const set = add("set", "Set a property", [this] {
            return tool::set(_places, _kind, _name, _values->results(), _isForced);
        });
        set->add_option("KIND", _kind,
                        "string, number, integer, boolean, or a list:\nstrings, numbers, integers, booleans")
            ->required()
            ->type_name("");
        addName(set, "The property's name");
        _values = addWords(set, "VALUE", "The value, or the elements of a list");
        addFlag(set, "--force", _isForced, "Also set locked settings and invalid values");
        set->footer("Put -- before values that begin with \"-\", unless a digit follows.\n" +
                    set->get_footer());

        constexpr char const* locked = "Properties, or groups with everything in them";
        _toLock = addWords(add("lock", "Keep users from changing settings",
                               [this] { return tool::lock(_places, _toLock->results()); }),
                           "NAME", locked);
        _toUnlock = addWords(add("unlock", "Let users change locked settings again",
                                 [this] { return tool::unlock(_places, _toUnlock->results()); }),
                             "NAME", locked);

        addName(add("delete", "Remove a property, or a group with everything in it",
                    [this] { return tool::remove(_places, _name); }),
                "The name of the property or group");
    }

    void addExchange() {
        auto* const exporting =
            add("export", "Print settings as JSON", [this] { return tool::exportGroup(_places, _group); });
        exporting->add_option("GROUP", _group, "The group [all settings]")->type_name("");

        auto* const importing =
            add("import", "Import settings from JSON or from another store", [this] { return import(); });
        importing->add_option("FILE", _moving.file, "The file to import; - for standard input")
            ->required()
            ->type_name("");
        addFlag(importing, "--replace", _isReplacing, "Remove all other settings");
        importing
            ->add_option("--from", _store,
                         "The format of another store: ini (QSettings), kconfig,\ndconf, json (any object)")
            ->type_name("STORE");
        importing->add_option("--map", _moving.map, "With --from: a file of new names and kinds")
            ->type_name("FILE");
        addFlag(importing, "--overwrite", _moving.isOverwriting, "With --from: replace existing values");
        addFlag(importing, "--force", _moving.isForced, "With --from: also set locked or invalid values");
        addFlag(importing, "--dry-run", _moving.isDryRun, "Only print what would be changed");
    }

    void addFiles() {
        auto* const diff = add("diff", "Print the differences between two files",
                               [this] { return tool::diff(_file, _otherFile); });
        diff->add_option("FILE", _file,
                         "A register file, its directory, or a file of exported\nsettings; - for exported "
                         "settings on standard input")
            ->required()
            ->type_name("");
        diff->add_option("OTHER", _otherFile, "The file to compare it with")->required()->type_name("");

        auto* const check = add("check", "Check register files and all their values", [this] {
            return _isDeclared ? tool::checkDeclared(_places, _checked) : tool::check(_places, _checked);
        });
        addFlag(check, "--declared", _isDeclared, "Also check names and values against declarations");
        check->add_option("FILE", _checked, "A register file, or its directory [those of all scopes]")
            ->type_name("");

        auto* const restore = add("restore", "List the copies of a register file, or restore one",
                                  [this] { return tool::restore(_places, _copy); });
        restore->add_option("NAME", _copy, "The copy to restore, such as \"previous\"")->type_name("");

        add("watch", "Print changes by other processes as they happen",
            [this] { return tool::watch(_places); });
    }

    Status import() {
        if (_store && _isReplacing)
            throw WrongCall("--replace cannot be used with --from");
        if (_store)
            return tool::importFrom(_places, *_store, _moving);
        if (_moving.map || _moving.isOverwriting || _moving.isForced)
            throw WrongCall("--map, --overwrite and --force need --from");
        return _moving.isDryRun ? tool::previewImport(_places, _moving.file, _isReplacing)
                                : tool::import(_places, _moving.file, _isReplacing);
    }

    void addName(CLI::App* command, char const* what) {
        command->add_option("NAME", _name, what)->required()->type_name("");
    }

    /**
     * Adds an option without a value. Without the check, CLI11 would accept values such as "false", and its message
     * about any other value would not give the reason.
     */
    static void addFlag(CLI::App* command, std::string const& names, bool& isGiven, std::string const& what) {
        command->add_flag(names, isGiven, what)->check([](std::string const& value) {
            return value == "true" ? std::string() : "does not take a value: " + value;
        });
    }

    /**
     * Adds an option that takes any number of words literally: without an upper bound, CLI11 would split "[a,b]" into
     * two words.
     */
    static CLI::Option* addWords(CLI::App* command, std::string const& name, std::string const& what) {
        constexpr int most = CLI::detail::expected_max_vector_size;
        CLI::Option* const words = command->add_option(name, what);
        return words->take_all()->expected(most - 1, most)->allow_extra_args(false)->type_name("");
    }

    CLI::App _line;
    std::function<Status()> _command;
    Places _places;
    std::string _group;
    std::string _name;
    std::string _kind;
    CLI::Option* _values = nullptr;
    CLI::Option* _toLock = nullptr;
    CLI::Option* _toUnlock = nullptr;
    std::optional<std::string> _store;
    tool::Moving _moving;
    std::string _file;
    std::string _otherFile;
    std::optional<std::string> _checked;
    std::optional<std::string> _copy;
    bool _isRecursive = false;
    bool _isLong = false;
    bool _isReplacing = false;
    bool _isDeclared = false;
    bool _isForced = false;
};

Status complained(Status status, std::string const& message) {
    tool::complain(message);
    return status;
}

Status wrongCall(CommandLine const& commandLine, std::string const& message) {
    tool::complain(message);
    std::cerr << commandLine.usage() << std::flush;
    return Status::misuse;
}

/** Flushes standard output. Result: `status`, or `fileTrouble` if not all output could be written. */
Status delivered(Status status) {
    return std::cout.flush() ? status : complained(Status::fileTrouble, "cannot write to standard output");
}

Status run(int argc, char const* const* argv) {
    CommandLine commandLine;
    try {
        return delivered(commandLine.run(argc, argv));
    } catch (CLI::Success const& answer) {
        commandLine.line().exit(answer); // help, or the version
        return delivered(Status::done);
    } catch (CLI::ExtrasError const&) {
        return wrongCall(commandLine, commandLine.unexpected());
    } catch (CLI::ArgumentMismatch const&) {
        return wrongCall(commandLine, commandLine.mismatch(argv[argc - 1]));
    } catch (CLI::ParseError const& misuse) {
        return wrongCall(commandLine, misuse.what());
    } catch (WrongCall const& misuse) {
        return wrongCall(commandLine, misuse.what());
    } catch (Failure const& failure) {
        return complained(failure.status(), failure.what());
    }
}

/**
 * Opens the standard descriptors that the caller has closed, so that files opened later do not get their numbers. Using
 * them still fails: standard input is open for writing only, the others for reading only.
 */
void openStandardDescriptors() {
    constexpr std::array modes{O_WRONLY, O_RDONLY, O_RDONLY};
    for (int descriptor = 0; descriptor < 3; ++descriptor)
        if (::fcntl(descriptor, F_GETFD) < 0)
            static_cast<void>(::open("/dev/null", modes.at(static_cast<std::size_t>(descriptor))));
}

} // namespace

int main(int argc, char** argv) {
    openStandardDescriptors();
    std::ios::sync_with_stdio(false);
    try {
        return static_cast<int>(run(argc, argv));
    } catch (std::exception const& failure) {
        return static_cast<int>(complained(Status::fileTrouble, failure.what()));
    }
}
