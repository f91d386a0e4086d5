# SPDX-License-Identifier: Apache-2.0
#
# usage: awk -v directory=DIRECTORY -f quotes.awk DOCUMENT.md
#
# Checks the "c++" blocks of a document, which are not compiled. The first line of a block, "// NAME", names a file in
# DIRECTORY, which must contain the rest of the block. Fails if it does not, or if the document has no "c++" blocks.

function content(path,    line, text) {
    while ((getline line < path) > 0) {
        text = text line "\n"
    }
    close(path)
    return text
}

/^```/ {
    if (quotes) {
        ++count
        if (index(content(directory "/" file), block) == 0) {
            print FILENAME ":" FNR ": not in " file ":\n" block
            failed = 1
        }
    }
    quotes = !inside && $0 == "```c++"
    inside = !inside
    file = block = ""
    next
}

quotes && file == "" { file = substr($0, 4); next }
quotes { block = block $0 "\n" }

END { exit failed || count == 0 }
