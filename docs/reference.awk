# SPDX-License-Identifier: Apache-2.0
#
# usage: awk -f docs/reference.awk HEADER
#
# Prepares a file for Doxygen, without changing the number of its lines. Puts what a header declares, and the comment
# that introduces the header, into a group of reference.dox, and makes a paragraph of each comment line that starts with
# one of the words below and a colon.

BEGIN {
    words = "Errors|Locks|Owner|Result|Threads|Handles|Numbers|Paths|Cost|Order|Exit|Fork"

    group["LiveSettings.h"] = "live"
    group["Property.h"] = "access"
    group["Scope.h"] = "access"
    group["Declaration.h"] = "declare"
    group["Stored.h"] = group["Duration.h"] = group["Enum.h"] = group["QtTypes.h"] = "types"
    group["Catalogue.h"] = "catalogue"
    group["Listener.h"] = group["QtThread.h"] = "listen"
    group["Group.h"] = "groups"
    group["Changes.h"] = group["Lock.h"] = "changes"
    group["Import.h"] = "import"
    group["Initialize.h"] = group["Save.h"] = "plain"
    group["AnyValue.h"] = group["ForeignSettings.h"] = "tools"
    group["Register.h"] = group["Types.h"] = group["Exception.h"] = "core"
    group["FileSystem.h"] = group["FileHandle.h"] = group["DirEntry.h"] = group["Path.h"] = "files"
    group["RAMFileSystem.h"] = group["RealFileSystem.h"] = group["Direct.h"] = "files"
    group["ChangeCounter.h"] = group["ChangeLog.h"] = group["EntryNotice.h"] = group["FileWatch.h"] = "filechanges"
    group["DamagedFiles.h"] = group["Lifetime.h"] = group["PrivateDirectory.h"] = group["TreeImage.h"] = "filechanges"
}

{ lines[NR] = $0 }

# Puts the comment that ends at a line into the group, under the header's name.
function introduce(last, header,    first) {
    first = last
    while (first > 0 && lines[first] !~ /^\/\*\*/)
        --first
    if (lines[first] == "/**") {
        lines[first] = "/** @addtogroup " name
        sub(/^ \* /, " * @details <b>" header ".</b> ", lines[first + 1])
    } else if (lines[first - 1] == "") { # a comment of one line
        lines[first - 1] = "/** @addtogroup " name
        sub(/^\/\*\* /, " * @details <b>" header ".</b> ", lines[first])
    }
}

END {
    base = header = FILENAME
    sub(/.*\//, "", base)
    sub(/.*include\//, "", header)
    name = group[base]
    for (i = 1; name != "" && i < NR; ++i) {
        if (lines[i] !~ /^namespace (velmorand|utils|filesystem)[a-z:]* \{$/)
            continue
        if (lines[i - 1] ~ /\*\/$/)
            introduce(i - 1, header)
        if (lines[i] ~ /::detail/ || lines[i + 1] != "")
            continue
        lines[i] = lines[i] " /** @addtogroup " name
        lines[i + 1] = "@{ */"
        end = lines[i]
        sub(/ \{.*/, "", end)
        for (j = i + 2; j <= NR; ++j)
            if (lines[j] == "} // " end) {
                lines[j] = "/** @} */ " lines[j]
                break
            }
        break
    }
    for (i = 1; i <= NR; ++i) {
        if (lines[i] ~ /^class [A-Za-z]+;$/) { # declared elsewhere, and in the group of its own header
            lines[i] = ""
            if (lines[i - 1] ~ /^template </)
                lines[i - 1] = ""
        }
    }
    for (i = 1; i <= NR; ++i) {
        if (match(lines[i], "^( *\\*|/\\*\\*) (" words "): ")) {
            head = substr(lines[i], 1, RLENGTH)
            rest = substr(lines[i], RLENGTH + 1)
            word = head
            gsub(/[^A-Za-z]/, "", word)
            sub(/[A-Za-z]+: $/, "", head)
            lines[i] = head "@lead{" word "} " rest
        }
        gsub(/\.md#/, ".md\\#", lines[i]) # "#" would start a link
        print lines[i]
    }
}
