#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: lost-override.sh PROGRAMS-DIRECTORY
#
# When what the application left is lost, the check says so and fails.
set -eu
. "$(dirname "$0")/processes.sh"

administrator
application
rm "$work/user/Velmorand.dat"
if check 2>"$work/message"; then
    echo "the check passes without the user's settings" >&2
    exit 1
fi
cat "$work/message"
grep -q "expected" "$work/message"
