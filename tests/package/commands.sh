#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: commands.sh DOCUMENT.md TOOL
#
# Runs the commands of a document with the command-line tool, as commands.awk extracts them. They must print what the
# document shows. /etc/xdg and /home/ada are replaced by temporary directories, and `sudo` only runs its command.
set -eu
. "$(dirname "$0")/temporary-directory.sh"
here=$(cd "$(dirname "$0")" && pwd)

mkdir -p "$work/document" "$work/bin" "$work/etc/xdg" "$work/home/ada"
awk -v directory="$work/document" -f "$here/commands.awk" "$1"
ln -s "$2" "$work/bin/velmorand-register"
for file in "$work/document"/*; do
    sed "s,/etc/xdg,$work/etc/xdg,g; s,/home/ada,$work/home/ada,g" "$file" >"$work/$(basename "$file")"
done
mv "$work/script" "$work/expected" "$work/bin"

cd "$work"
PATH=$work/bin:$PATH HOME=$work/home/ada
export PATH HOME
unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_DATA_DIRS
sudo() { "$@"; }
set +e # some commands fail, as shown
. "$work/bin/script" >"$work/bin/printed" 2>&1
set -e
diff -u "$work/bin/expected" "$work/bin/printed"
