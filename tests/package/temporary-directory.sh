# SPDX-License-Identifier: Apache-2.0
#
# To be sourced: makes the directory $work, which goes when the script ends.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
