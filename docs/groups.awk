# Doxygen's view of a header: a comment stands for all declarations up to the next blank line or
# comment, which is how the headers are written, and Doxygen calls a member group. Lines keep their
# numbers.
function flush() {
    if (declarations > 1)
        block = "/**@{*/" substr(block, 1, length(block) - 1) "/**@}*/\n"
    printf "%s", block
    block = ""
    declarations = 0
}
/^ *\/\/\// && declarations > 0 { flush() }
/^ *$/ || /^[a-z]+:/ || /^}/ { flush(); print; next }
{ block = block $0 "\n" }
!/^ *\/\// && /[;}]( *\/\/.*)?$/ { ++declarations }
END { flush() }
