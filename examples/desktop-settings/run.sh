#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: run.sh PROGRAMS-DIRECTORY TOOL
#
# Demonstrates the settings of a desktop: an administrator, three applications and the command-line tool change them, an
# application is killed, and the user's file is damaged. At the end, every setting must have the value of its last change.
set -eu
. "$(dirname "$0")/processes.sh"

desktop=org/gnome/desktop
interface=$desktop/interface
tablet=$desktop/peripherals/tablet

# heading TITLE TEXT...: each text is a line.
heading() {
    printf '\n\n%s\n\n' "$1"
    shift
    printf '%s\n' "$@"
    echo
}

cat <<'TEXT'
This demonstration runs programs that share the settings of one user and one administrator. Each program is a
separate process. Its output has lines such as these, in which names are shown without "org/gnome/desktop/":

  panel   sets      NAME = VALUE   the application "panel" changes a setting
  mail    receives  NAME = VALUE   "mail" is notified that another program has changed the setting
  mail    reads     NAME = VALUE   "mail" reads the setting
TEXT

heading "1. An administrator sets the defaults of a desktop" \
    "The values come from the schemas of the package gsettings-desktop-schemas."
administrator

heading "2. Three applications start" \
    "Each of them must find the administrator's settings; the user has not set any yet."
start panel 3
start mail 5
start editor 7

heading "3. All three applications change settings at the same time" \
    "Each of them must receive the four changes of the other two."
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
await panel $by_mail $by_editor
await mail $by_panel $by_editor
await editor $by_panel $by_mail

heading "4. The command-line tool changes a setting of the user and one of the administrator" \
    "The running applications must receive both changes."
echo "  \$ velmorand-register --user user set integer $interface/cursor-size 48"
"$tool" --user "$work/user" set integer $interface/cursor-size 48
note tool user i $interface/cursor-size 48
for application in panel mail editor; do
    await $application $interface/cursor-size
done
echo
echo "  \$ velmorand-register --global global --scope global set integer $desktop/session/idle-delay 600"
"$tool" --global "$work/global" --scope global set integer $desktop/session/idle-delay 600
note administrator global i $desktop/session/idle-delay 600
for application in panel mail editor; do
    await $application $desktop/session/idle-delay
done

heading "5. An application changes a setting and is killed" \
    "The other applications receive the change, so it has been saved. After a restart, the killed application must" \
    "still have it."
change mail s $interface/font-name "'Cantarell 12'"
answer mail
await panel $interface/font-name
await editor $interface/font-name
kill -KILL "$process_mail"
ended=0
end_of mail || ended=$?
test "$ended" -eq 137
echo "  mail    is killed with SIGKILL, and started again"
start mail 5
tell mail read $interface/font-name
answer mail

heading "6. The user's file is damaged while no application runs" \
    "The next application that starts must report the damage and restore the file from before the last save, so" \
    "that only the change of that save is lost."
change editor b $desktop/sound/event-sounds false
answer editor
await panel $desktop/sound/event-sounds
await mail $desktop/sound/event-sounds
quit panel mail editor
size=$(wc -c <"$work/user/Velmorand.dat")
printf 'damage' | dd of="$work/user/Velmorand.dat" bs=1 seek=$((size / 2)) conv=notrunc 2>/dev/null
echo
echo "  All applications have quit. Six bytes in the middle of the user's file are overwritten."
echo "  The application \"viewer\" starts, and prints on standard error:"
echo
start viewer 3 >"$work/viewer.first"
sed "s|$work/||g" "$work/viewer.messages" | fold -s -w 100 | sed 's/^/    /; s/ *$//'
grep -q "restored from the previous file" "$work/viewer.messages"
: >"$work/viewer.messages" # as expected; there must be no others
cmp "$work/user/Velmorand.dat" "$work/user/Velmorand.dat.previous"
ls "$work"/user/Velmorand.dat.damaged-* >/dev/null
echo
cat "$work/viewer.first"
tell viewer read $desktop/sound/event-sounds
answer viewer
echo
echo "  The last change, of event-sounds, is lost. The user makes it again:"
echo
change viewer b $desktop/sound/event-sounds false
answer viewer
quit viewer

heading "7. A new process checks all settings" \
    "The table lists the changed settings. Each must have the value of its last change."
check
