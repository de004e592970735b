# Reads the third-party leakers list, then one LeakSanitizer report. Prints every leak whose owner
# is not a listed library in full and the listed ones as one count each; fails if any was printed.
#   awk -v process=NAME -v project=BUILD_DIR/ -f leak-owners.awk third-party-leakers REPORT

# Libraries that allocate on behalf of whoever calls them: the owner lies further down the stack.
function passes_through(module) {
    return module ~ /\/(libasan|libubsan|libstdc\+\+|libc|libgcc_s|libQt6(Core|Gui|Widgets|Network|Test|HttpServer))\.so/
}

function owner_of(block,    lines, count, i, module) {
    count = split(block, lines, "\n")
    for (i = 2; i <= count; ++i) {
        if (!match(lines[i], / <.*>$/))
            continue
        module = substr(lines[i], RSTART + 2, RLENGTH - 3)
        if (passes_through(module))
            continue
        if (index(module, project) == 1)
            return "the project"
        for (library in leakers)
            if (index(module, "/" library) > 0)
                return library
        return module ~ /^(<null>)?$/ ? "an unknown module" : module
    }
    return "an unknown module"
}

function judge(    owner) {
    if (block == "")
        return
    owner = owner_of(block)
    if (owner in leakers) {
        ++ignored[owner]
    } else {
        printf "run-sanitized: %s leaks memory asked for by %s:\n%s\n\n", process, owner, block
        failed = 1
    }
    block = ""
}

FNR == NR {
    if ($0 !~ /^(#|$)/)
        leakers[$1] = 1
    next
}
/^(Direct|Indirect) leak of/ { judge(); block = $0; next }
/^    #[0-9]+ / && block != "" { block = block "\n" $0; next }
{ judge() }
END {
    judge()
    for (owner in ignored)
        printf "run-sanitized: %s: %d leak(s) of %s's own, left alone\n", process, ignored[owner], owner
    exit failed
}
