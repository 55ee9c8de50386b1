#!/usr/bin/env python3
"""scripts/tidy.py [FILE...]: clang-tidy over all sources under version control, or over those named.

Takes the compile commands of the preset lint, one for each file, and runs as many files at a time
as there are processors, the largest first. The library and stream/ get all checks of .clang-tidy,
all other sources those that LEFT_OUT_ELSEWHERE does not name. Prints what was found; status 1 when
there is anything.
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
LEFT_OUT_ELSEWHERE = ",".join((
    # Each of these takes as long as all others together. The programs are run under sanitizers.
    "-clang-analyzer-*", "-performance-unnecessary-value-param",
    # The tool's failures carry details; trees and command lines are walked by recursion.
    "-cert-err60-cpp", "-misc-no-recursion",
    # C interfaces take what they only read by pointers to what is not const, and what replaces a
    # function of the C library has the name that the linker asks for.
    "-cppcoreguidelines-pro-type-const-cast", "-bugprone-reserved-identifier",
))


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
        command.append("--checks=" + LEFT_OUT_ELSEWHERE)
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
