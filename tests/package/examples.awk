# SPDX-License-Identifier: Apache-2.0
#
# usage: awk -v directory=DIRECTORY -f examples.awk DOCUMENT.md
#
# Writes the C++ blocks of a document into files of DIRECTORY: a block with a `main` is NN.cpp, and the text block that
# follows it, its output, is NN.txt; one whose first line is "// NAME.h" or "// NAME.cpp" is that header or that source
# of a plug-in; any other is the body of a function, NN.inc. NN counts the blocks from 01.

function finish(    name) {
    if (language == "text" && program != "") {
        printf "%s", block > (directory "/" program ".txt")
    }
    program = ""
    if (language != "cpp") {
        return
    }
    name = sprintf("%02d", ++count)
    if (block ~ /^\/\/ [A-Za-z]+\.(h|cpp)\n/) {
        name = substr(block, 4, index(block, "\n") - 4)
    } else if (block ~ /int main\(/) {
        program = name
        name = name ".cpp"
    } else {
        name = name ".inc"
    }
    printf "%s", block > (directory "/" name)
}

/^```/ {
    if (inside) {
        finish()
    } else {
        language = substr($0, 4)
        block = ""
    }
    inside = !inside
    next
}

inside { block = block $0 "\n" }
