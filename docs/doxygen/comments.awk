# Shows Doxygen the plain comments of our headers, line for line: a block directly before a declaration becomes ///, one
# behind a declaration ///<. A block also speaks for the declarations directly behind the one it stands before, up to the
# next one with a comment of its own. What has nothing to tell is said here: destructors, and deleted operations.

function flush_block(mark,    i)
{
    for (i = 1; i <= blockLines; ++i)
        print indent[i] mark block[i]
    blockLines = 0
}

NR == 1 && /^#pragma once/ {
    print $0 " /** @file */"
    next
}

# A line of nothing but a comment.
/^ *\/\// {
    match($0, /^ */)
    ++blockLines
    indent[blockLines] = substr($0, 1, RLENGTH)
    block[blockLines] = substr($0, RLENGTH + 3)
    next
}

# What stands alone speaks for nothing.
/^ *$/ || /^#/ || /^ *(public|private|protected):/ {
    flush_block("//")
    shared = ""
    print
    next
}

{
    isDocumented = blockLines > 0
    if (isDocumented) {
        shared = ""
        for (i = 1; i <= blockLines; ++i)
            shared = shared block[i]
        flush_block("///")
    }
    line = $0
    if (match(line, / +\/\/ /)) {
        line = substr(line, 1, RSTART) "///< " substr(line, RSTART + RLENGTH)
        isDocumented = 1
        shared = ""
    }
    if (line ~ /^ *((class|struct|enum|namespace) |[{}])/)
        shared = ""
    begins = !continues && line !~ /^ *[{}]/
    if (begins && !isDocumented && line ~ /^ *(virtual )?~.*;$/)
        line = line " ///< Releases what it holds."
    else if (begins && !isDocumented && line ~ /= delete;$/)
        line = line " ///< Not to be copied."
    else if (begins && !isDocumented && shared != "")
        line = "/**" shared " */" line
    continues = line !~ /[;{}:,][^;{}]*(\/\/\/<.*)?$/ || line ~ /[(,] *$/
    print line
}

END {
    flush_block("//")
}
