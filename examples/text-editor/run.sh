#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: run.sh DIRECTORY
#
# Starts the editor that is built in DIRECTORY twice: the second time it knows the files of the first.
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export XDG_CONFIG_HOME="$work" XDG_CONFIG_DIRS="$work/none"

"$1/text-editor" todo.txt letter.txt
test "$("$1/text-editor" plan.txt)" = "plan.txt
letter.txt
todo.txt"
"$1/text-editor" --declared-settings | grep -F '"view/scheme": {"type": "string", "fallback": "System"'
