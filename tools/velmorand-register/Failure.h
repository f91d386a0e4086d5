// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>

namespace tool {

/** What the program says to its caller: its exit status. */
enum class Status : int {
    done = 0,
    notThere = 1,    ///< or different
    misuse = 2,      ///< the command makes no sense, whatever the files hold
    fileTrouble = 3, ///< a register file is damaged, cannot be read or was not saved
};

/** Ends the command. The message is one line, without the program's name. */
class Failure : public std::runtime_error {
public:
    Failure(Status status, std::string const& message) : std::runtime_error(message), _status(status) {}

    [[nodiscard]] Status status() const noexcept { return _status; }

private:
    Status _status;
};

} // namespace tool
