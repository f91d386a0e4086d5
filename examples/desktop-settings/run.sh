#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: run.sh PROGRAMS-DIRECTORY
#
# An administrator sets up the desktop for everyone, an application changes what its user wants otherwise, and a third
# process finds both as they were left.
set -eu
. "$(dirname "$0")/processes.sh"

administrator
echo
application
check
