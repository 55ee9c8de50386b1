# Turns one part of a program's help into the macros of a manual page: "description" (what stands
# before the usage), "options" (all lists of options), "notes" (the sections behind them) or "verb"
# (the whole help of one verb); or, for "names", lists the verbs below.

function plain(text) {
    gsub(/\\/, "\\e", text)
    gsub(/-/, "\\-", text)
    if (text ~ /^[.']/) text = "\\&" text
    return text
}

# "INT:INT in [1 - 64]" names the type twice.
function typed(text) {
    sub(/ [A-Z]+:/, " ", text)
    return plain(text)
}

function entry(line,    name) {
    name = line
    sub(/^ +/, "", name)
    sub(/  .*/, "", name)
    if (part == "verb" && name ~ /^-h,/) {
        skip = 1 # every verb has it
        return
    }
    skip = 0
    print ".TP"
    print "\\fB" typed(name) "\\fR"
    if (line ~ /[^ ]  +[^ ]/) {
        sub(/^ +/, "", line)
        sub(/^.*[^ ]  +/, "", line)
        print plain(line)
    }
}

/^Usage: / {
    section = "usage"
    if (part == "verb") {
        print ".SS " plain(substr($0, 8))
        print plain(description)
    }
    next
}
section == "" {
    if (part == "description") print plain($0)
    description = description $0
    next
}
/^[A-Z][A-Za-z ]*:$/ {
    section = $0
    sub(/:$/, "", section)
    if (part == "notes" && section !~ /^(Options|Positionals|Subcommands)/) {
        print ".SH " toupper(section)
        print ".nf"
        inNotes = 1
    } else if (inNotes) {
        inNotes = 0
    }
    next
}
/^$/ { next }
section ~ /^(Options|Positionals)/ {
    if (part != "options" && part != "verb") next
    if ($0 ~ /^  [^ ]/) entry($0)
    else if (!skip) {
        sub(/^ +/, "")
        print plain($0)
    }
    next
}
part == "names" && section == "Subcommands" {
    if ($0 ~ /^  [^ ]/) print $1
    next
}
part == "verb" && section == "Example" {
    sub(/^ +/, "")
    print ".PP\nExample:"
    print ".EX"
    print plain($0)
    print ".EE"
    next
}
part == "notes" && inNotes {
    sub(/^ +/, "")
    print plain($0)
}
END { if (inNotes) print ".fi" }
