# The manual pages of section 3, made from the public headers, so that they say what the headers say:
#     awk -v version=1.2.3 -v out=DIRECTORY -f man3.awk man3.txt HEADER...
# Of each declaration that follows a comment of "///", the page to which man3.txt gives it has both.
# One that has no page, or a name without a declaration, is a failure.

function Trimmed(s) { gsub(/^[ \t]+|[ \t]+$/, "", s); return s }

# Text as roff takes it; names between backticks stand out.
function Roff(s) {
    gsub(/\\/, "\\e", s); gsub(/-/, "\\-", s)
    while (match(s, /`[^`]+`/)) {
        s = substr(s, 1, RSTART - 1) "\\fI" substr(s, RSTART + 1, RLENGTH - 2) "\\fR" \
            substr(s, RSTART + RLENGTH)
    }
    return (s ~ /^[.']/ ? "\\&" : "") s
}

# Lines as they stand, the first one's indentation taken from all.
function Verbatim(s,    count, i, lines, indent, made) {
    count = split(s, lines, "\n")
    match(lines[1], /^ */)
    indent = RLENGTH
    for (i = 1; i <= count; ++i) {
        made = made Roff(substr(lines[i], match(lines[i], /[^ ]/) > indent ? indent + 1 : RSTART)) "\n"
    }
    return ".PP\n.nf\n" made ".fi\n"
}

# A comment: paragraphs, lists, and examples, which are indented.
function Prose(s,    count, i, lines, line, made, example, list) {
    count = split(s, lines, "\n")
    for (i = 1; i <= count; ++i) {
        line = lines[i]
        if (line ~ /^ *- / || (list && line ~ /^ /)) {
            if (line ~ /^ *- /) made = made (example ? ".fi\n" : "") ".IP \\(bu 2\n"
            sub(/^ *(- )?/, "", line)
            list = 1
            example = 0
        } else if (line ~ /^   /) {
            if (!example) made = made ".nf\n"
            example = 1
        } else if (line == "") {
            if (!example && made) made = made ".PP\n"
            list = 0
            continue
        } else {
            if (example) made = made ".fi\n.PP\n"
            if (list) made = made ".PP\n"
            example = list = 0
        }
        made = made Roff(line) "\n"
    }
    return made (example ? ".fi\n" : "")
}

function NameOf(s,    parts) {
    if (s ~ /^typedef/ && match(s, /\(\*[A-Za-z_0-9]+\)/)) return substr(s, RSTART + 2, RLENGTH - 3)
    if (match(s, /enum \{ *[A-Za-z_0-9]+/) || match(s, /(struct|enum|class) [A-Za-z_0-9]+/)) {
        s = substr(s, RSTART, RLENGTH)
    } else {
        sub(/[(;=[].*/, "", s)
    }
    match(s, /~?[A-Za-z_0-9]+ *$/)
    return Trimmed(substr(s, RSTART))
}

# What is told of it: of a function its head, of a record what is in it, of a template nothing.
function Shown(s) {
    if (s ~ /^ *template/) { sub(/ *[{].*/, "", s); return s ";" }
    gsub(/(LOCALSTORAGE|LS)_API |virtual | *__attribute__\(\(format.*\)\)/, "", s)
    sub(/ = 0;$| *\{\}?$/, ";", s)
    if (match(s, /\n\n? +[A-Za-z_]+\(/)) s = substr(s, 1, RSTART - 1) "\n};"  # constructors
    return s
}

function Declared(name) {
    shown[name] = Shown(text)
    about[name] = doc
    is_function[name] = text ~ /\(/ && text !~ /^ *(typedef|struct|enum|class|template)/
    is_exported[name] = text ~ /(LOCALSTORAGE|LS)_API /
    header_of[name] = header
    order[++declared] = name
}

/^#/ && FILENAME == ARGV[1] { next }
FILENAME == ARGV[1] {
    split($0, parts, "|")
    page = Trimmed(parts[1])
    pages[++page_count] = page
    purpose[page] = Trimmed(parts[2])
    names_of[page] = Trimmed(parts[3])
    next
}

FNR == 1 {
    header = FILENAME
    sub(/.*\//, "", header)
    headers[++header_count] = header
    bIntroduction = 1
    doc = text = ""
}
bIntroduction {
    if (/^\/\//) { sub(/^\/\/ ?/, ""); introduction[header] = introduction[header] $0 "\n"; next }
    bIntroduction = 0
}
text == "" && /^ *\/\/\// { sub(/^ *\/\/\/ ?/, ""); doc = doc (doc ? "\n" : "") $0; next }
text == "" && (doc == "" || /^ *$/ || /^#/) { doc = ""; next }
{
    text = text (text ? "\n" : "") $0
    code = $0
    sub(/\/\/.*/, "", code)
    depth += gsub(/[{(]/, "", code) - gsub(/[})]/, "", code)
    # A class is looked into.
    if ((depth == 0 && code ~ /[;]|^ *virtual/) || text ~ /^class [A-Za-z_0-9]+ *\{/) {
        Declared(NameOf(text))
        depth = 0
        doc = text = ""
    }
}

END {
    for (i = 1; i <= page_count; ++i) {
        count = split(names_of[pages[i]], names, " ")
        for (j = 1; j <= count; ++j) {
            if (!(names[j] in shown)) Fail(pages[i] ": no header declares " names[j])
            if (names[j] in page_of) Fail(names[j] " is on two pages")
            page_of[names[j]] = pages[i]
        }
    }
    for (i = 1; i <= declared; ++i) if (!(order[i] in page_of)) Fail("no page tells " order[i])
    if (failed) exit 1
    WriteOverview()
    for (i = 1; i <= page_count; ++i) WritePage(pages[i])
}

function Fail(s) {
    print "man3.awk: " s > "/dev/stderr"
    failed = 1
}

function Head(page) {
    return ".TH " toupper(page) " 3 \"\" \"localstorage " version "\" \"Library Functions Manual\"\n" \
        ".SH NAME\n"
}

function WriteOverview(    i, path) {
    path = out "/liblocalstorage.3"
    printf "%s", Head("liblocalstorage") \
        "liblocalstorage \\- record the video of cameras on local disks\n" \
        ".SH SYNOPSIS\n.nf\n" > path
    for (i = 1; i <= header_count; ++i) print "#include <localstorage/" headers[i] ">" > path
    print ".PP\nc++ host.cpp $(pkg\\-config \\-\\-cflags \\-\\-libs localstorage)\n.fi" > path
    for (i = 1; i <= header_count; ++i) {
        print ".SH " (i == 1 ? "DESCRIPTION" : Roff(headers[i])) > path
        printf "%s", Prose(introduction[headers[i]]) > path
    }
    print ".SH PAGES" > path
    for (i = 1; i <= page_count; ++i) {
        print ".TP\n.BR " Roff(pages[i]) " (3)\n" Roff(purpose[pages[i]]) > path
    }
    print ".SH SEE ALSO\n.BR localstorage (1),\n.BR localstorage\\-files (5)" > path
    close(path)
}

function WritePage(page,    count, names, i, path, functions, types, includes, listed) {
    path = out "/" page ".3"
    count = split(names_of[page], names, " ")
    for (i = 1; i <= count; ++i) {
        name = names[i]
        if (index(includes, header_of[name] ">") == 0) {
            includes = includes "#include <localstorage/" header_of[name] ">\n"
        }
        if (is_function[name]) {
            listed = listed (listed ? ", " : "") name
            synopsis = synopsis Verbatim(shown[name])
            functions = functions ".SS " name "\n" Prose(about[name])
        } else {
            types = types ".SS " name "\n" Prose(about[name]) Verbatim(shown[name])
        }
        if (is_function[name] && is_exported[name]) {
            print ".so man3/" page ".3" > (out "/" name ".3")
            close(out "/" name ".3")
        }
    }
    printf "%s", Head(page) Roff(page (listed ? ", " listed : "")) " \\- " Roff(purpose[page]) "\n" \
        ".SH SYNOPSIS\n.nf\n" includes ".fi\n" synopsis \
        (functions ? ".SH DESCRIPTION\n" functions : "") \
        (types ? ".SH " (functions ? "TYPES AND VALUES" : "DESCRIPTION") "\n" types : "") \
        ".SH SEE ALSO\n.BR liblocalstorage (3)\n" > path
    synopsis = ""
    close(path)
}
