#!/usr/bin/env python3
"""scripts/includes.py [FOLDER]: who may include whom, checked in all sources under version control.

Finds includes that the layers forbid, includes that do not start at the root of the repository, and
circles of files, a header and the source of the same name being one file. Names each with its
line; status 1 when there is any.
"""
import collections
import pathlib
import re
import sys

import sources

# The layers: a folder or file, and what it may include besides its own folder. The row with the
# longest name that a file's path begins with is the one that counts. A name behind a minus is
# excepted from those before it.
LIBRARY = "lantrix rc base"
PUBLIC = "lantrix/LantrixClientAPI.h lantrix/LantrixTypes.h"
RECORDS = (
    "lantrix/LantrixTypes.h lantrix/LantrixClipFormatFields.h rc -rc/rcAPI.h base -base/tcp"
)
LAYERS = {
    "base/CoExport.h": "",
    "base/loggerBase": "base/CoExport.h",
    "base/tcp": "base/CoExport.h base/loggerBase",
    "base/fileUtil": "base/CoExport.h base/loggerBase",
    "rc": "base",
    "lantrix": "rc base",
    "lantrix/LantrixClientAPI.h": "lantrix/LantrixTypes.h",
    "lantrix/LantrixTypes.h": "",
    "stream": PUBLIC,
    "image": "lantrix/LantrixTypes.h",
    # Read by the development server too, and whatever the locale.
    "image/ClipShape.cpp": "image lantrix/LantrixTypes.h base/loggerBase/src/CoText.h",
    "frames": f"stream image {PUBLIC}",
    "mount": f"frames stream image {PUBLIC}",
    "python": "stream image/PixelLayout.h image/SampleFormat.h image/Error.h "
              f"base/loggerBase/src/CoMsg.h {PUBLIC}",
    "devserver": f"image/ClipShape.h {RECORDS}",
    "tools/report": f"stream/Failure.h {LIBRARY}",
    "tools/session": f"tools/report stream devserver {LIBRARY}",
    "tools/conform": f"tools/session tools/report {LIBRARY}",
    "tools/transfer": f"tools/session tools/report image stream {LIBRARY}",
    "tools/trees": f"tools/transfer tools/session tools/report image stream {LIBRARY}",
    "tools/web": "tools/verbs/Context.h tools/verbs/HelperVerbs.h tools/session tools/report frames "
    f"image stream {LIBRARY}",
    "tools/verbs": "tools/conform tools/trees tools/transfer tools/session tools/report image "
    "stream devserver "
    + LIBRARY,
    "tools": f"mount stream devserver {LIBRARY}",
    "examples": f"stream {PUBLIC}",
    "bench/support": "",
    "bench/inside": f"bench/support {LIBRARY}",
    "bench/across": "bench/support tests/support/ScratchDirectory.h tools stream image "
                    f"devserver {LIBRARY}",
    "soak": f"tests/support/ScratchDirectory.h stream devserver {LIBRARY}",
    "fuzz": f"tools stream image devserver {LIBRARY}",
    "tests/support": LIBRARY,
    "tests/base": "tests/support base",
    "tests/rc": "tests/support rc base",
    "tests/lantrix": f"tests/support devserver {LIBRARY}",
    "tests/bench": "bench",
    "tests/stream": f"soak/FaultyRelay.h tests/support stream devserver {LIBRARY}",
    "tests/image": "tests/support image lantrix/LantrixTypes.h",
    "tests/mount": "tests/support mount",
    "tests/devserver": f"tests/faults/Cases.h tests/support devserver {LIBRARY}",
    "tests/faults": f"tests/devserver tests/support stream devserver {LIBRARY}",
    "tests/tools": "soak/FaultyRelay.h tests/devserver/RawClient.h tests/support tools image "
                   f"stream devserver {LIBRARY}",
    "tests/examples": f"tests/support devserver {PUBLIC}",
    "tests/package": f"stream {PUBLIC}",
}

INCLUDE = re.compile(r'^\s*#\s*include\s+(["<])([^">]+)[">]', re.MULTILINE)


def is_below(path, name):
    return path == name or path.startswith(name + "/")


def layer_of(path):
    return max((name for name in LAYERS if is_below(path, name)), key=len, default=None)


def may_include(source, target):
    layer = layer_of(source)
    allowed = is_below(target, layer)
    for rule in LAYERS[layer].split():
        if is_below(target, rule.lstrip("-")):
            allowed = not rule.startswith("-")
    return allowed


def includes_of(root, path):
    """The includes of a file as (line, quote, target)."""
    text = (root / path).read_text(encoding="utf-8")
    for match in INCLUDE.finditer(text):
        yield text.count("\n", 0, match.start()) + 1, match[1], match[2]


def circles(graph):
    """Strongly connected components of more than one member, by Tarjan's algorithm."""
    index, lowest, stack, found = {}, {}, [], []

    def visit(node):
        index[node] = lowest[node] = len(index)
        stack.append(node)
        for target in graph.get(node, ()):
            if target not in index:
                visit(target)
                lowest[node] = min(lowest[node], lowest[target])
            elif target in stack:
                lowest[node] = min(lowest[node], index[target])
        if lowest[node] == index[node]:
            start = stack.index(node)
            if len(stack) - start > 1:
                found.append(sorted(stack[start:]))
            del stack[start:]

    for node in sorted(graph):
        if node not in index:
            visit(node)
    return found


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else __file__ + "/../..").resolve()
    files = set(sources.files("*.cpp", "*.h", root=root))
    findings = [f"{path}: its folder has no row in the layers of scripts/includes.py"
                for path in sorted(files) if layer_of(path) is None]
    graph = collections.defaultdict(dict)
    for path in sorted(path for path in files if layer_of(path) is not None):
        for line, quote, target in includes_of(root, path):
            place = f"{path}:{line}"
            if target not in files:
                if quote == '"':
                    findings.append(f'{place}: "{target}" is not a path from the root')
                continue
            if not may_include(path, target):
                findings.append(f"{place}: {layer_of(path)} may not include {target}")
            source, unit = path.rsplit(".", 1)[0], target.rsplit(".", 1)[0]
            if source != unit:
                graph[source].setdefault(unit, place)
    for members in circles(graph):
        findings.append("a circle of files: " + ", ".join(members))
        findings += [f"    {place} includes {target}" for member in members
                     for target, place in graph[member].items() if target in members]
    print("\n".join(findings) or f"{len(files)} files, every include goes down, no circle")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
