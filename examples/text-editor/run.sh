#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: run.sh DIRECTORY TOOL
#
# Runs the editor in DIRECTORY as a user and an administrator would, starting with the settings of version 1, and compares
# the output of each run with the expected one. Then the command-line tool TOOL checks the settings with the editor's
# catalogue.
set -eu
editor=$1/text-editor tool=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export XDG_CONFIG_HOME="$work" XDG_CONFIG_DIRS="$work/administrator"

# run ARGUMENT... - runs the editor, shows its output, and compares it with standard input.
run() {
    echo "\$ text-editor $*"
    cat >"$work/expected"
    "$editor" "$@" 2>&1 | tee "$work/printed"
    diff "$work/expected" "$work/printed" >&2
}

mkdir "$work/Example"
printf '[General]\ntheme=light\nrecentFiles=old.txt\n[cache]\nsize=1000\n' >"$work/Example/Editor.conf"

run todo.txt <<'OUTPUT'
theme: light
geometry: centred
recent: todo.txt
recent: old.txt
OUTPUT
run --theme dark <<'OUTPUT'
theme: dark
geometry: 01d9d0cb0003
recent: todo.txt
recent: old.txt
OUTPUT
run --profile 'Thesis / 100 %' plan.txt <<'OUTPUT'
open: plan.txt
theme: light
geometry: 01d9d0cb0003
recent: plan.txt
recent: todo.txt
recent: old.txt
profile: Thesis / 100 %
OUTPUT
mkdir -p "$work/administrator/velmorand"
"$tool" --global "$work/administrator/velmorand" lock view/theme
run <<'OUTPUT'
theme: system
geometry: 01d9d0cb0003
recent: plan.txt
recent: todo.txt
recent: old.txt
profile: Thesis / 100 %
OUTPUT

"$editor" --declared-settings >"$work/editor.json"
grep -F '"view/theme": {"type": "string", "fallback": "system"' "$work/editor.json"
"$tool" --catalogue "$work/editor.json" check --declared
"$tool" --catalogue "$work/editor.json" list --declared -r | grep -F 'unset  view/wrap: "Window"'
if "$tool" --catalogue "$work/editor.json" set integer view/theme 1; then
    exit 1
fi
