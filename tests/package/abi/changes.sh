#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# usage: changes.sh
#
# The comparison with the baselines must notice each change that breaks programs. The changes are made in a copy of the
# headers.
set -eu
here=$(dirname "$0")
. "$here/../temporary-directory.sh"
interface=$here/interface.sh
. "$interface"
require_platform

mkdir "$work/settings" "$work/platform" "$work/platform/exception" "$work/platform/filesystem"
cp -r "$SOURCE_DIR/include" "$work"
for library in settings platform/exception platform/filesystem; do
    cp -r "$SOURCE_DIR/$library/include" "$work/$library"
done

change() { # HEADER SED-SCRIPT
    sed "$2" "$work/$1" >"$work/changed"
    if cmp -s "$work/changed" "$work/$1"; then
        echo "changes: $2 does not change $1" >&2
        exit 1
    fi
    mv "$work/changed" "$work/$1"
}

change platform/exception/include/utils/Exception.h 's/_message;/&\n    int _addedInException;/'
change platform/filesystem/include/filesystem/FileSystem.h '/ virtual bool mkdir(/{h;d}; / virtual bool close(/G'
change platform/filesystem/include/filesystem/FileSystem.h 's/MODE_WRITE = 1/MODE_WRITE = 2/'
change include/utils/properties/Types.h 's/SCOPE_USER = 1/SCOPE_USER = 3/'
change include/utils/properties/Register.h 's/boost::recursive_mutex\* _mutex/boost::recursive_timed_mutex* _mutex/'
change settings/include/velmorand/LiveSettings.h 's/ startedEmpty,/ added,\n&/'
change settings/include/velmorand/LiveSettings.h '/ file;/{h;d}; / std::string reason;/G'
change settings/include/velmorand/LiveSettings.h 's/ delay{100};/&\n    bool addedInOptions = false;/'
change settings/include/velmorand/Listener.h 's/ _entry;/&\n    int _addedInListener = 0;/'
change settings/include/velmorand/Property.h 's/ _declared;/&\n    int _addedInProperty = 0;/'
change settings/include/velmorand/Declared.h 's/^    std::string expected;/&\n    int _addedInRule = 0;/'
change settings/include/velmorand/Declared.h 's/ _rules;/&\n    int _addedInDeclared = 0;/'

build_headers "$work" "$BUILD_DIR/include" "$work/headers.so"
write_interface "$work/headers.so" >"$work/headers.abi"
abidiff --harmless "$baselines/headers.abi" "$work/headers.abi" >"$work/report" && status=0 || status=$?
if [ "$status" -eq 0 ] || [ $((status & 3)) -ne 0 ]; then
    cat "$work/report"
    echo "changes: abidiff exits with $status" >&2
    exit 1
fi

missed=0
notices() { # EXTENDED-REGULAR-EXPRESSION
    if ! grep -Eq "$1" "$work/report"; then
        echo "changes: not noticed: $1" >&2
        missed=1
    fi
}
notices "'int _addedInException', at offset 192"
notices "vtable offset of method virtual bool filesystem::FileSystem::mkdir.* changed from 5 to 7"
notices "FileSystemMode::MODE_WRITE' from value '1' to '2'"
notices "RegisterScope::SCOPE_USER' from value '1' to '3'"
notices "boost::recursive_mutex\*.*boost::recursive_timed_mutex\*"
notices "LiveEventKind::startedEmpty' from value '1' to '2'"
notices "'std::string file' offset changed from 64 to 320"
notices "'bool addedInOptions', at offset"
notices "'int _addedInListener', at offset"
notices "'int _addedInProperty', at offset"
notices "'int _addedInRule', at offset"
notices "'int _addedInDeclared', at offset"
exit $missed
