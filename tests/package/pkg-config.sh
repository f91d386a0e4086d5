#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# Builds and runs a program with the flags that pkg-config gives for the installed package.
set -eu
here=$(dirname "$0")
. "$here/installed.sh"

pc_dir=$(dirname "$(find "$prefix" -name "velmorand-register$QT_SUFFIX.pc")")
export PKG_CONFIG_PATH="$pc_dir"
# shellcheck disable=SC2046,SC2086 # flags are words
"$CXX" $CXXFLAGS -std=c++17 -DQT_MAJOR="$QT_MAJOR" "$here/consumer/main.cpp" -o "$work/consumer" \
    $(pkg-config --cflags --libs "velmorand-settings$QT_SUFFIX")

mkdir "$work/settings"
LD_LIBRARY_PATH=$(dirname "$pc_dir") "$work/consumer" "$work/settings"
test -s "$work/settings/Velmorand.dat"
