#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: run.sh DIRECTORY TOOL
#
# Starts the editor that is built in DIRECTORY twice: the second time it knows the files of the first. Then the
# command-line tool TOOL checks the settings by the editor's own catalogue.
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export XDG_CONFIG_HOME="$work" XDG_CONFIG_DIRS="$work/none"

"$1/text-editor" todo.txt letter.txt
test "$("$1/text-editor" plan.txt)" = "plan.txt
letter.txt
todo.txt"
"$1/text-editor" --declared-settings >"$work/editor.json"
grep -F '"view/scheme": {"type": "string", "fallback": "System"' "$work/editor.json"
"$2" --catalogue "$work/editor.json" check --declared
"$2" --catalogue "$work/editor.json" list --declared -r | grep -F 'unset  view/scheme: "System"'
if "$2" --catalogue "$work/editor.json" set integer view/scheme 1; then
    exit 1
fi
