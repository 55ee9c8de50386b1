"""contact_sheet.py HOST PATH FOLDER: a contact sheet of each clip below a node, as PNG files."""

import pathlib
import sys

from matplotlib.image import imsave

import lantrix


def main(host: str, path: str, folder: str) -> None:
    with lantrix.Server(host) as server:
        for node in server[path].walk():
            if isinstance(node, lantrix.Clip) and len(node) > 0:
                file = pathlib.Path(folder) / f"{node.name.replace('/', '_')}.png"
                imsave(file, node.sheet(count=20, columns=5))
                print(f"{file}: {len(node)} frames of {node.format}")


if __name__ == "__main__":
    main(*sys.argv[1:])
