# SPDX-License-Identifier: Apache-2.0
#
# To be sourced with the programs' directory in $1 and the command-line tool in $2. Defines functions that start and
# control the processes, in a fresh directory $work. Applications run in the background. Each receives its user's actions
# through one pipe and sends its answers, one line each, through another, so that every step waits for the one before it.
programs=$1
tool=$2
schemas=/usr/share/glib-2.0/schemas
running=

if [ ! -e "$schemas/org.gnome.desktop.interface.gschema.xml" ]; then
    echo "$0: the package gsettings-desktop-schemas is not installed" >&2
    exit 77
fi

clean_up() {
    for process in $running; do
        kill -KILL "$process" 2>/dev/null || true
    done
    rm -rf "$work"
}
work=$(mktemp -d)
trap clean_up EXIT
trap 'exit 1' HUP INT TERM PIPE
mkdir "$work/user" "$work/global"

administrator() {
    "$programs/desktop-settings-administrator" "$schemas" "$work/global"
}

# start APPLICATION DESCRIPTOR: uses this file descriptor and the next for the pipes.
start() {
    rm -f "$work/$1.actions" "$work/$1.answers"
    mkfifo "$work/$1.actions" "$work/$1.answers"
    "$programs/desktop-settings-application" "$work/user" "$work/global" \
        <"$work/$1.actions" >"$work/$1.answers" 2>"$work/$1.messages" 3>&- 4<&- 5>&- 6<&- 7>&- 8<&- &
    running="$running $!"
    eval "process_$1=$! actions_$1=$2 answers_$1=$(($2 + 1))"
    eval "exec $2>'$work/$1.actions' $(($2 + 1))<'$work/$1.answers'"
    answer "$1"
}

# tell APPLICATION ACTION...
tell() {
    eval "descriptor=\$actions_$1"
    shift
    printf '%s\n' "$*" >&"$descriptor"
}

# answer APPLICATION: waits for its next answer and prints it.
answer() {
    eval "descriptor=\$answers_$1"
    if ! IFS= read -r line <&"$descriptor"; then
        echo "$1 exited too early:" >&2
        cat "$work/$1.messages" >&2
        exit 1
    fi
    printf '  %-7s %s\n' "$1" "$line"
}

# note BY SCOPE TYPE NAME VALUE: records a change for the check.
note() {
    printf '%s\n' "$*" >>"$work/changes"
}

# change APPLICATION TYPE NAME VALUE: does not wait for the answer.
change() {
    note "$1" user "$2" "$3" "$4"
    tell "$1" set "$2" "$3" "$4"
}

# await APPLICATION NAME...: waits until the application has been notified that another process changed each setting.
await() {
    application=$1
    shift
    for name in "$@"; do
        tell "$application" await "$name"
        answer "$application"
    done
}

# quit APPLICATION...: each must succeed without messages on standard error.
quit() {
    for application in "$@"; do
        tell "$application" quit
        if ! end_of "$application" || [ -s "$work/$application.messages" ]; then
            echo "$application failed:" >&2
            cat "$work/$application.messages" >&2
            exit 1
        fi
    done
}

# end_of APPLICATION: waits until it has exited. Result: its exit status.
end_of() {
    eval "process=\$process_$1"
    ended=0
    wait "$process" 2>/dev/null || ended=$? # the shell would report a killed process
    running=$(echo " $running " | sed "s/ $process / /")
    return "$ended"
}

check() {
    "$programs/desktop-settings-check" "$schemas" "$work/user" "$work/global" "$work/changes"
}
