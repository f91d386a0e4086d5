#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: run.sh PROGRAMS-DIRECTORY TOOL
#
# Demonstrates the settings of a desktop: an administrator, three applications and the command-line tool change them at
# the same time, an application is killed, and the user's file is damaged. At the end, no change must be lost.
set -eu
. "$(dirname "$0")/processes.sh"

desktop=org/gnome/desktop
interface=$desktop/interface
tablet=$desktop/peripherals/tablet

heading() {
    printf '\n%s\n\n' "$*"
}

echo "1. An administrator sets up the desktop"
echo
administrator

heading "2. Three applications start"
start panel 3
start mail 5
start editor 7

heading "3. All three change settings at the same time; each is notified of the others' changes"
change panel s $interface/clock-format "'12h'"
change mail as $desktop/input-sources/xkb-options "['compose:ralt', 'caps:escape']"
change editor d $interface/text-scaling-factor 1.25
change panel b $interface/clock-show-seconds true
change mail ad $tablet/area '[0.1, 0.1, 0.9, 0.9]'
change editor ai $tablet/stylus/pressure-curve '[0, 25, 75, 100]'
for application in panel mail editor; do
    answer $application
    answer $application
done
echo
by_panel="$interface/clock-format $interface/clock-show-seconds"
by_mail="$desktop/input-sources/xkb-options $tablet/area"
by_editor="$interface/text-scaling-factor $tablet/stylus/pressure-curve"
hear panel $by_mail $by_editor
hear mail $by_panel $by_editor
hear editor $by_panel $by_mail

heading "4. The command-line tool changes a user's and an administrator's setting while they run"
echo "  \$ velmorand-register --user user set integer $interface/cursor-size 48"
"$tool" --user "$work/user" set integer $interface/cursor-size 48
note tool user i $interface/cursor-size 48
for application in panel mail editor; do
    hear $application $interface/cursor-size
done
echo "  \$ velmorand-register --global global --scope global set integer $desktop/session/idle-delay 600"
"$tool" --global "$work/global" --scope global set integer $desktop/session/idle-delay 600
note administrator global i $desktop/session/idle-delay 600
for application in panel mail editor; do
    hear $application $desktop/session/idle-delay
done

heading "5. The mail program is killed after others were notified of its change, which is therefore saved"
change mail s $interface/font-name "'Cantarell 12'"
answer mail
hear panel $interface/font-name
hear editor $interface/font-name
kill -KILL "$process_mail"
ended=0
end_of mail || ended=$?
test "$ended" -eq 137
echo "  mail    is killed with SIGKILL, and started again:"
start mail 5
tell mail show $interface/font-name
answer mail

heading "6. The user's file is damaged while nothing runs"
change editor b $desktop/sound/event-sounds false
answer editor
hear panel $desktop/sound/event-sounds
hear mail $desktop/sound/event-sounds
quit panel mail editor
size=$(wc -c <"$work/user/Velmorand.dat")
printf 'damage' | dd of="$work/user/Velmorand.dat" bs=1 seek=$((size / 2)) conv=notrunc 2>/dev/null
echo "  All applications have quit. Six bytes in the middle of the file are overwritten. The next application reports:"
echo
start viewer 3 >"$work/viewer.first"
sed "s|$work/||g" "$work/viewer.messages" | fold -s -w 100 | sed 's/^/  /'
grep -q "replaced by an intact copy" "$work/viewer.messages"
: >"$work/viewer.messages" # as expected; there must be no others
cmp "$work/user/Velmorand.dat" "$work/user/Velmorand.dat.previous"
ls "$work"/user/Velmorand.dat.damaged-* >/dev/null
echo
cat "$work/viewer.first"
echo "  The copy from before the last save has replaced it: only that save is lost. The user repeats the change:"
tell viewer show $desktop/sound/event-sounds
answer viewer
change viewer b $desktop/sound/event-sounds false
answer viewer
quit viewer

heading "7. Another process compares every setting with the changes"
check
