# SPDX-License-Identifier: Apache-2.0
#
# usage: awk -v directory=DIRECTORY -f commands.awk DOCUMENT.md
#
# Writes the "console" blocks of a document into DIRECTORY: `expected` has their lines, and `script` is a shell script
# that runs the commands, which are the lines that begin with "$ ", and prints each before its output. "$?" in a command
# is the exit status of the previous command. The output of a command "cat FILE" in the document is written to that file
# beforehand, so that the commands can read it.

/^```/ {
    inside = !inside
    isConsole = inside && $0 == "```console"
    file = ""
    next
}

!isConsole { next }

{ print > (directory "/expected") }

/^\$ / {
    quoted = $0
    gsub(/'/, "'\\''", quoted)
    printf "status=$?; printf '%%s\\n' '%s'; (exit $status)\n%s\n", quoted, substr($0, 3) > (directory "/script")
    file = /^\$ cat [a-z.]+$/ ? substr($0, 7) : ""
    next
}

file != "" { print > (directory "/" file) }
