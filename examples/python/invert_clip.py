"""invert_clip.py HOST PATH NAME: a copy of a clip beside it, with the pixels inverted."""

import sys

import numpy

import lantrix


def main(host: str, path: str, name: str) -> None:
    with lantrix.Server(host) as server:
        clip = server[path]
        if not isinstance(clip, lantrix.Clip) or clip.parent is None:
            raise SystemExit(f"'{path}' is not a clip")
        copy = clip.parent.create_clip(name, clip.format, frames=len(clip))
        white = numpy.array(1023 if clip.format.tag == "rgb10" else numpy.iinfo(clip.format.dtype).max)
        white = white.astype(clip.format.dtype)
        # Read and written at once, over four connections each.
        written = copy.write(white - frame for _, frame in clip.frames())
        print(f"{copy.path}: {written} frames")


if __name__ == "__main__":
    main(*sys.argv[1:])
