# Doxygen's input filter: makes the header's comments documentation comments, its sections groups, and its rows of the common
# form prototypes. Indented text keeps its lines.

NR == 1 { held = "@file\n"; in_comment = 1; next }

/^\/\* ==== / {
    gsub(/^\/\* ==== [0-9]+ | =+ \*\/$/, "")
    if (group != "") print "/** @} */"
    group = tolower($0)
    gsub(/[^a-z0-9]+/, "_", group)
    print "/** @defgroup " group " " $0 "\n@{ */"
    next
}

/^\/\* *name  / {
    gsub(/^\/\* *name *| *\*\/$/, "")
    gsub(/   +/, ", ")
    print "/** @} */\n/** @addtogroup " group "\nIn the remarks: " escaped($0) ".\n@{ */"
    next
}

# A comment before a blank line is about the whole group.
in_comment {
    ending = /\*\//
    sub(/^ \*\/?/, "")
    text(substr($0, 2))
    if (!ending) next
    if (verbatim) held = held "@endverbatim"
    in_comment = verbatim = 0
    next
}

/^\/\*$/ { in_comment = 1; held = "\n"; next }
/^\/\* .*\*\/$/ { gsub(/^\/\* | \*\/$/, ""); held = escaped($0) "\n"; next }

held != "" {
    print /^$/ && group != "" ? "/** @} */\n/** @addtogroup " group "\n" held "@{ */" : "/** " held " */"
    held = ""
}

/^ZEMT_API ZEMTConversion / {
    sub(/ZEMTConversion [A-Za-z0-9_]+/, "int32_t&(const void *src, int32_t *srcLen, void *dst, int32_t dstSize, int32_t *outLen, const ZEMTCnvParms *parms)")
    sub(/ZEMTConversion/, "")
}

{
    sub(/; *\/\* */, "; /**< ")
    sub(/^#define [^ ]+ +[^ ]+ +\/\*/, "&*<")
    print
}

/^#endif \/\* ZEMT_H/ { if (group != "") print "/** @} */" }

# Between double quotes Doxygen takes everything as it stands.
function escaped(line,    parts, count, i) {
    count = split(line, parts, "\"")
    line = ""
    for (i = 1; i <= count; ++i) {
        if (i % 2 == 1) gsub(/[\\@%<>#&]/, "\\\\&", parts[i])
        line = line (i == 1 ? "" : "\"") parts[i]
    }
    return line
}

function text(line) {
    if (verbatim && line !~ /^  / && line !~ /^$/) {
        held = held "@endverbatim\n"
        verbatim = 0
    } else if (!verbatim && line ~ /^  /) {
        held = held "@verbatim\n"
        verbatim = 1
    }
    held = held (verbatim ? line : escaped(line)) "\n"
}
