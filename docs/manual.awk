# Makes the manual pages from the comments of the header:
#     awk -v folder=DIRECTORY -v version=VERSION -f manual.awk zemt.h
# where the directory has the directories man3 and man7.
# The introduction and the first sections, which every call needs, become zemt(7); each family a page of section 3, and each
# function a page that leads to that of its family.

BEGIN {
    page = "zemt"
}

/^#ifdef __cplusplus/, /^#endif/ { next }

NR <= 2 {
    sub(/^ \* zemt\.h - /, "")
    title[page] = $0
    in_comment = 1
    next
}

# Between the introduction and the first section are platforms and compilers.
!in_comment && !in_sections && !/^\/\* ==== / { next }

/^\/\* ==== / {
    gsub(/^\/\* ==== | =+ \*\/$/, "")
    in_sections = 1
    heading = $0
    sub(/^[0-9]+ /, "", heading)
    if ($1 <= 3) {
        set_style("filled")
        add(".SH " toupper(heading))
        next
    }
    page = tolower(heading)
    gsub(/[^a-z0-9]+/, "_", page)
    page = "zemt_" page
    pages[++page_count] = page
    title[page] = "conversion of database column values: " heading
    next
}

/^\/\*/ { in_comment = 1 }

in_comment && /^ ?\/?\*/ {
    line = $0
    in_comment = line !~ /\*\/$/
    gsub(/^ ?\/?\*+ ?| ?\*?\/$/, "", line)
    if (sub(/^ *name  +/, "", line)) {  # the heading of a table whose rows become prototypes
        gsub(/   +/, ", ", line)
        line = "In the remarks: " line
    }
    if (line ~ /^ *$/) {
        set_style("filled")
        add(".PP")
    } else {
        set_style(line ~ /^ / ? "lines" : "filled")
        add(escaped(line))
    }
    next
}

/^$/ {
    set_style("filled")
    add(".PP")
    next
}

{
    set_style("code")
    gsub(/ ?ZEMT_NONNULL\([0-9, ]*\)| ZEMT_NOEXCEPT/, "")
    is_function = sub(/^ZEMT_API /, "") || /^static inline/
    if (/^ *;$/) sub(/\\fR\n$/, ";&", body[page])
    else add("\\fB" escaped($0) "\\fR")
    if (is_function && match($0, /[A-Za-z0-9_]+ *[(;]/)) {
        name = substr($0, RSTART, RLENGTH - 1)
        names[page] = names[page] ", " name
        home[name] = page
    }
}

END {
    for (i = 1; i <= page_count; ++i) {
        write_page(pages[i], 3, ".SH SEE ALSO\n.BR zemt (7)")
        see_also = see_also (i == 1 ? "" : ",\n") ".BR " pages[i] " (3)"
    }
    write_page("zemt", 7, ".SH SEE ALSO\n" see_also)
    for (name in home) {
        section = home[name] == "zemt" ? 7 : 3
        print ".so man" section "/" home[name] "." section > (folder "/man3/" name ".3")
    }
}

function add(line) {
    body[page] = body[page] line "\n"
}

# What is indented keeps its lines, and so does code; all else is filled.
function set_style(wanted) {
    if (style[page] == wanted || (wanted == "filled" && style[page] == "")) return
    if (style[page] == "code" || style[page] == "lines") add(".fi")
    if (wanted != "filled") add(".nf")
    style[page] = wanted
}

function escaped(line) {
    gsub(/\\/, "\\e", line)
    gsub(/-/, "\\-", line)
    return (line ~ /^[.']/ ? "\\&" : "") line
}

function write_page(name, section, end,    file) {
    file = folder "/man" section "/" name "." section
    page = name
    set_style("filled")
    printf ".TH %s %d \"\" \"zemt %s\" \"zemt\"\n.nh\n.ad l\n.SH NAME\n%s%s \\- %s\n", toupper(name), section, version, name, names[name],
        title[name] > file
    printf ".SH SYNOPSIS\n.nf\n.B #include <zemt.h>\n.PP\nLink with \\fB\\-lzemt\\fR.\n.fi\n.SH DESCRIPTION\n%s%s\n", body[name],
        end > file
    close(file)
}
