# SPDX-License-Identifier: Apache-2.0
#
# usage: awk -v directory=DIRECTORY -f examples.awk DOCUMENT.md
#
# Writes the C++ blocks of a document into files in DIRECTORY. A block with a `main` becomes NN.cpp, and the text block
# after it, which shows its output, NN.txt. A block whose first line is "// NAME.h" or "// NAME.cpp" becomes that header
# or that plug-in source. Any other block is the body of a function and becomes NN.inc. NN counts the blocks from 01.

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
