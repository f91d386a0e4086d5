#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
#
# usage: completion.sh TOOL COMPLETION
#
# Asks the completion for what it offers, as bash does when Tab is pressed.
[ -r /usr/share/bash-completion/bash_completion ] || exit 77
. /usr/share/bash-completion/bash_completion
. "$2"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
mkdir user bin
ln -s "$1" bin/velmorand-register
PATH=$work/bin:$PATH
for name in deep/er recent 'with space' '*'; do
    velmorand-register --user user set integer "$name" 1 || exit 1
done

failed=0
offers() { # EXPECTED WORD...
    local expected=$1
    shift
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMP_LINE="$*" COMPREPLY=()
    COMP_POINT=${#COMP_LINE}
    _velmorand_register
    local offered
    offered=$(printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort | paste -s -d ' ' -)
    if [[ $offered != "$expected" ]]; then
        echo "completing \"$*\" offers \"$offered\", not \"$expected\""
        failed=1
    fi
}

offers 'check delete diff export get import list restore set watch' velmorand-register ''
offers 'diff' velmorand-register --user user di
offers '--user' velmorand-register get --u
offers '--replace' velmorand-register import --r
offers 'bin user' velmorand-register --user ''
offers 'temporary' velmorand-register --scope t
offers '' velmorand-register --wait ''
offers 'get' velmorand-register --wait 1 ge
offers 'integer integers' velmorand-register set i
offers '\* deep/er recent with\ space' velmorand-register --user user get ''
offers 'recent' velmorand-register --user user delete r
offers 'with\ space' velmorand-register --user=user get 'with\ s'
offers 'deep deep/er' velmorand-register --user user delete d
offers 'deep/er' velmorand-register --user user set string d
offers '' velmorand-register --user user set string deep/er ''
offers 'deep' velmorand-register --user user list ''
offers 'bin user' velmorand-register check ''
offers 'Velmorand.dat.previous' velmorand-register --user user restore ''
cp user/Velmorand.dat user/Velmorand.dat.damaged-20261121T093000Z
offers 'Velmorand.dat.damaged-20261121T093000Z Velmorand.dat.previous' velmorand-register --user user restore Vel
offers '' velmorand-register --user user restore Velmorand.dat.previous ''
exit $failed
