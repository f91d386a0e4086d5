// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>

namespace tool {

/** The program's exit status. */
enum class Status : int {
    done = 0,
    notThere = 1,      ///< or different
    misuse = 2,        ///< the command is wrong, whatever the files hold
    fileTrouble = 3,   ///< a register file is damaged, cannot be read or was not saved
    notAsDeclared = 4, ///< settings are not as their programs declare them
};

/** Ends the command. The message is one line, without the program's name. */
class Failure : public std::runtime_error {
public:
    Failure(Status status, std::string const& message) : std::runtime_error(message), _status(status) {}

    [[nodiscard]] Status status() const noexcept { return _status; }

private:
    Status _status;
};

/** A command line of the wrong form: the message is followed by how to call the command. */
class WrongCall : public Failure {
public:
    explicit WrongCall(std::string const& message) : Failure(Status::misuse, message) {}
};

} // namespace tool
