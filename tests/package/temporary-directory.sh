# SPDX-License-Identifier: Apache-2.0
#
# To be sourced: creates the directory $work, which is removed when the script ends.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
