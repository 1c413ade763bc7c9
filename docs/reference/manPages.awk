# Makes manual pages of include/brairu.h, its comments being the only source: brairu.3 for the
# conventions, codes and records, and one page for each call.
#
#   awk -v folder=FOLDER -v version=VERSION -f manPages.awk include/brairu.h

function escaped(text) {
    gsub(/\\/, "\\e", text)
    gsub(/-/, "\\-", text)
    sub(/^[.']/, "\\\\\\&&", text)
    return text
}

# The text between the comment marks of a line.
function bare(line) {
    sub(/^ *\/\* ?/, "", line)
    sub(/^ \* ?/, "", line)
    sub(/ *\*\/$/, "", line)
    sub(/ +$/, "", line)
    return line
}

function joined(text, line) {
    return text == "" || line == "" ? text line : text " " line
}

# The first sentence of the text that says what the call does.
function summary(    text, end) {
    text = own ~ /^[A-Z]/ ? own : intro
    end = match(text, /[.;:]( |$)/)
    return end > 0 ? substr(text, 1, end - 1) : text
}

function header(name, file) {
    printf ".TH %s 3 \"\" \"brairu %s\" \"Library calls\"\n", name, version > file
}

function section(title, text, file) {
    if (text != "") {
        printf ".SH %s\n%s\n", title, escaped(text) > file
    }
}

function verbatim(title, text, file) {
    printf ".SH %s\n.nf\n%s.fi\n", title, text > file
}

function writeCall(name, declaration, file) {
    file = folder "/" name ".3"
    header(name, file)
    printf ".SH NAME\n%s \\- %s\n", name, escaped(summary()) > file
    printf ".SH SYNOPSIS\n.nf\n#include <brairu.h>\n\n%s\n.fi\n", escaped(declaration) > file
    section("DESCRIPTION", joined(own, note), file)
    section("ALL OF ITS KIND", intro, file)
    printf ".SH SEE ALSO\nbrairu(3)\n" > file
    close(file)
}

function endOfComment() {
    inComment = 0
    ended = 1
}

# A comment that an empty line follows speaks of the whole section, another of the calls below it.
function settle() {
    if (ended) {
        ended = 0
        if ($0 == "" && inCalls) {
            intro = comment
            own = ""
        } else {
            own = comment
        }
    } else if ($0 == "") {
        own = ""
    }
}

NR == 1 { inTop = 1 }
inTop {
    top = top escaped(bare($0)) "\n"
    if ($0 ~ /\*\/$/) {
        inTop = 0
    }
    next
}

/^\/\* ---- / {
    title = $0
    gsub(/^\/\* ---- | -+ \*\/$/, "", title)
    inCalls = title !~ /^(Sizes|Codes|Records)$/
    inRecords = !inCalls
    intro = own = ""
    ended = 0
    next
}

inRecords {
    records = records escaped($0) "\n"
    next
}

{ settle() }

/^\/\*/ && !/^\/\*.*\*\/ *[^ ]/ {
    comment = ""
    inComment = 1
}
inComment {
    comment = joined(comment, bare($0))
    if ($0 ~ /\*\/$/) {
        endOfComment()
    }
    next
}

/^[a-z][a-z0-9_]* [a-zA-Z_0-9]+\(/ && inCalls { declaration = note = "" }
/^[a-z][a-z0-9_]* [a-zA-Z_0-9]+\(/ && inCalls || declaration != "" {
    if (match($0, /\/\*.*\*\/$/)) {
        note = bare(substr($0, RSTART))
        $0 = substr($0, 1, RSTART - 1)
    }
    sub(/ +$/, "")
    declaration = declaration == "" ? $0 : declaration "\n" $0
    if (/;$/) {
        name = declaration
        sub(/\(.*/, "", name)
        sub(/.* /, "", name)
        writeCall(name, declaration)
        calls = calls name "(3)\n"
        declaration = ""
    }
}

END {
    file = folder "/brairu.3"
    header("brairu", file)
    printf ".SH NAME\nbrairu \\- palm recognition: conventions, codes and records\n" > file
    printf ".SH SYNOPSIS\n.nf\n#include <brairu.h>\n\ncc host.c \\-lbrairu\n.fi\n" > file
    verbatim("DESCRIPTION", top, file)
    verbatim("SIZES, CODES AND RECORDS", records, file)
    printf ".SH SEE ALSO\n.nf\n%s.fi\n", calls > file
}
