// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>

namespace tool {

/** The program's exit status. */
enum class Status : int {
    done = 0,
    notThere = 1,      ///< a name or file does not exist, files differ, or settings were refused
    misuse = 2,        ///< the command line or its input is invalid
    fileTrouble = 3,   ///< a register file is damaged, cannot be read or was not saved; or lost output
    notAsDeclared = 4, ///< `check` printed warnings and found nothing worse
};

/** Ends the command with a status. The message is one line, without the program's name. */
class Failure : public std::runtime_error {
public:
    Failure(Status status, std::string const& message) : std::runtime_error(message), _status(status) {}

    [[nodiscard]] Status status() const noexcept { return _status; }

private:
    Status _status;
};

/** An invalid command line; the usage is printed after the message. */
class WrongCall : public Failure {
public:
    explicit WrongCall(std::string const& message) : Failure(Status::misuse, message) {}
};

} // namespace tool
