#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: lost-override.sh PROGRAMS-DIRECTORY TOOL
#
# The check must pass if every change was saved. If a change was lost, was not made by any of the programs, or was saved
# in the wrong place, the check must fail and name the setting.
set -eu
. "$(dirname "$0")/processes.sh"

interface=org/gnome/desktop/interface

administrator
start panel 3
change panel s $interface/clock-format "'12h'"
answer panel
change panel i $interface/cursor-size 48
answer panel
quit panel
check
cp "$work/user/Velmorand.dat" "$work/sound"

# must_fail MESSAGE: the check must fail with this message.
must_fail() {
    if check >"$work/output" 2>&1; then
        echo "the check passes: $1" >&2
        exit 1
    fi
    cat "$work/output"
    grep -q -- "$1" "$work/output"
    cp "$work/sound" "$work/user/Velmorand.dat"
}

"$tool" --user "$work/user" delete $interface/cursor-size
must_fail "interface/cursor-size .*panel .*WRONG: expected 48"

"$tool" --user "$work/user" set integer $interface/clock-format 12
must_fail "interface/clock-format .*panel .*WRONG: expected '12h'"

"$tool" --user "$work/user" set string $interface/font-name "Nobody's"
must_fail "interface/font-name .*WRONG: expected"

"$tool" --user "$work/user" set boolean session/presentation-mode true
must_fail "the user scope holds 3 settings, expected 2"

rm "$work/user/Velmorand.dat"
must_fail "wrong settings: 2"

"$tool" --global "$work/global" --scope global delete $interface/font-name
must_fail "interface/font-name .*MISSING"
