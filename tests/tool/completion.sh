#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
#
# usage: completion.sh TOOL COMPLETION
#
# Calls the completion function as bash does when Tab is pressed, and checks the words that it offers.
[ -r /usr/share/bash-completion/bash_completion ] || exit 77
. /usr/share/bash-completion/bash_completion
. "$2"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
export HOME=$work XDG_DATA_HOME=$work/data XDG_DATA_DIRS=$work/share
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

offers 'check delete diff export get import list lock restore set unlock watch' velmorand-register ''
offers 'diff' velmorand-register --user user di
offers '--user' velmorand-register get --u
offers '--replace' velmorand-register import --r
offers 'dconf ini json kconfig' velmorand-register import --from ''
offers '--dry-run' velmorand-register import --from ini --d
offers '--force' velmorand-register import --from ini --fo
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
offers '--declared' velmorand-register list --d
offers '--declared' velmorand-register check --d
offers '--force' velmorand-register set --f
offers '--catalogue' velmorand-register --c
offers 'bin user' velmorand-register --catalogue ''
offers 'Velmorand.dat.previous' velmorand-register --user user restore ''
offers 'deep deep/er' velmorand-register --user user lock d
mkdir global
velmorand-register --global global lock deep 'with space' >/dev/null || exit 1
offers 'deep with\ space' velmorand-register --user user --global global unlock ''
offers 'with\ space' velmorand-register --global global unlock deep w
offers '' velmorand-register unlock ''
rm -r global
cp user/Velmorand.dat user/Velmorand.dat.damaged-20261121T093000Z
offers 'Velmorand.dat.damaged-20261121T093000Z Velmorand.dat.previous' velmorand-register --user user restore Vel
offers '' velmorand-register --user user restore Velmorand.dat.previous ''

mkdir -p data/velmorand/declared
cat >data/velmorand/declared/a.json <<'EOF'
{"settings": {
  "app/line\nbreak": {"type": "number"},
  "app/size": {"type": "number", "fallback": 1, "description": "a: size"},
  "app/tab width": {"type": "integer", "fallback": 8},
  "recent": {"type": "integers"}
}}
EOF
echo '{"settings": {"other/x": {"type": "boolean"}}}' >other.json
offers 'app/size app/tab\ width' velmorand-register --user user get app
offers 'app app/size app/tab\ width' velmorand-register --user user delete app
offers '\* app/size deep/er recent with\ space' velmorand-register --user user set number ''
offers '\* app/size deep/er recent with\ space' velmorand-register --user user set --force number ''
offers 'app/tab\ width' velmorand-register --user user set integer app
offers 'other/x' velmorand-register --user user --catalogue other.json get o
offers 'other/x' velmorand-register get --catalogue=other.json o
offers 'app' velmorand-register --user user list --declared ''
offers 'deep' velmorand-register --user user list ''

# The cursor may be before the name.
COMP_WORDS=(velmorand-register --user user set '' app/size) COMP_CWORD=4
COMP_LINE="${COMP_WORDS[*]}" COMPREPLY=() COMP_POINT=35
_velmorand_register
if [[ ${COMPREPLY[*]} != number ]]; then
    echo "completing the kind of app/size offers \"${COMPREPLY[*]}\", not \"number\""
    failed=1
fi
exit $failed
