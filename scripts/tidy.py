#!/usr/bin/env python3
"""scripts/tidy.py [FILE...]: clang-tidy over all sources under version control, or over those named.

Takes the compile commands of the preset lint, one for each file, and runs as many files at a time
as there are processors, the largest first. The library gets all checks of .clang-tidy; in the rest,
which is most of what the compiler reads, the dearest are left out. Prints what was found; status 1
when there is anything.
"""
import concurrent.futures
import json
import os
import re
import subprocess
import sys

from sources import ROOT, files

BUILD = ROOT / "build" / "lint"
FULLY_CHECKED = ("base/", "rc/", "lantrix/", "stream/")
# The first line asks for what only the library holds to: exceptions without a std::string, no
# recursion, constants that need no other file's, arguments that are moved rather than copied. The
# others take more than half of the time and ask about what other tools see as well: the sanitizers
# run all of this code, and compilers warn of the literals and declarations.
LEFT_OUT = """cert-err60-cpp misc-no-recursion cppcoreguidelines-interfaces-global-init
    modernize-pass-by-value readability-container-data-pointer readability-non-const-parameter
    clang-analyzer-* bugprone-assert-side-effect bugprone-infinite-loop
    bugprone-misplaced-widening-cast bugprone-multiple-statement-macro
    bugprone-not-null-terminated-result bugprone-reserved-identifier bugprone-sizeof-expression
    bugprone-stringview-nullptr bugprone-suspicious-semicolon bugprone-suspicious-string-compare
    misc-definitions-in-headers misc-misleading-identifier misc-non-copyable-objects
    misc-unused-using-decls modernize-deprecated-ios-base-aliases modernize-redundant-void-arg
    modernize-replace-auto-ptr modernize-use-nullptr modernize-use-transparent-functors
    modernize-use-using readability-container-size-empty readability-redundant-control-flow
    readability-redundant-declaration readability-static-definition-in-anonymous-namespace
    readability-uppercase-literal-suffix""".split()


def commands():
    """The first compile command of each source under version control."""
    listed = files("*.cpp")
    chosen = {}
    for entry in json.loads((BUILD / "compile_commands.json").read_text(encoding="utf-8")):
        name = os.path.relpath(entry["file"], ROOT)
        if name in listed:
            chosen.setdefault(name, entry)
    for name in listed:
        if name.startswith("tests/package/"):  # built against the installed tree only
            chosen[name] = {"directory": str(ROOT), "file": str(ROOT / name),
                            "command": f"clang++ -std=c++17 -I{ROOT} -c {ROOT / name}"}
        elif name not in chosen:
            print(f"Left out, since what it needs is not installed: {name}")
    return chosen


def check(name):
    """What was found in a source and the headers that it includes."""
    command = ["clang-tidy", "--quiet", "-p", str(BUILD / "tidy"), name]
    if not name.startswith(FULLY_CHECKED):
        command.append("--checks=" + ",".join("-" + check for check in LEFT_OUT))
    result = subprocess.run(command, cwd=ROOT, capture_output=True, text=True)
    if result.returncode == 0:
        return []
    findings = re.split(r"\n(?=/.*: (?:error|warning): )", result.stdout.strip() or result.stderr)
    return [re.split(r"\n/.*: note: ", finding)[0].removeprefix(f"{ROOT}/") for finding in findings]


def main():
    chosen = commands()
    (BUILD / "tidy").mkdir(exist_ok=True)
    database = BUILD / "tidy" / "compile_commands.json"
    database.write_text(json.dumps(list(chosen.values())), encoding="utf-8")
    names = sys.argv[1:] or sorted(chosen, key=lambda name: -(ROOT / name).stat().st_size)
    found = set()  # a header's findings come with each source that includes it
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for findings in pool.map(check, names):
            for finding in findings:
                if finding not in found:
                    found.add(finding)
                    print(finding, flush=True)
    print(f"{len(names)} sources, {len(found)} findings")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
