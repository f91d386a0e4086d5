# SPDX-License-Identifier: Apache-2.0
#
# To be sourced, with the programs' directory in $1: the three processes, and a fresh directory $work to run them in.
programs=$1
schemas=/usr/share/glib-2.0/schemas

if [ ! -e "$schemas/org.gnome.desktop.interface.gschema.xml" ]; then
    echo "$0: the package gsettings-desktop-schemas is not installed" >&2
    exit 77
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Its register file becomes the global one.
administrator() {
    mkdir "$work/administrator" "$work/global"
    "$programs/desktop-settings-administrator" "$schemas" "$work/administrator"
    mv "$work/administrator/Velmorand.dat" "$work/global/"
}

application() {
    mkdir "$work/user"
    "$programs/desktop-settings-application" "$work/global" "$work/user"
}

check() {
    "$programs/desktop-settings-check" "$schemas" "$work/global" "$work/user"
}
