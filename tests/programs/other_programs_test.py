#!/usr/bin/env python3
"""Image files go from the tool to other programs and back with every sample as it was.

With ffmpeg and GraphicsMagick as they are installed here; status 77, a skipped test, without both.
"""
import pathlib
import random
import shutil
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from tool_case import SKIPPED, ToolCase  # noqa: E402

WIDTH, HEIGHT = 16, 9

# The tag of a clip, its bits per pixel and channels, ffmpeg's name for the same bytes, and the
# kinds of files that both know.
SHAPES = [
    ("gray8", "8x1", "gray", ["png", "tif"]),
    ("rgb8", "24x3", "rgb24", ["png", "tif", "dpx"]),
    ("rgba8", "32x4", "rgba", ["png", "tif", "dpx"]),
    ("gray16", "16x1", "gray16le", ["png", "tif"]),
    ("rgb16", "48x3", "rgb48le", ["png", "tif", "dpx"]),
    ("rgba16", "64x4", "rgba64le", ["png", "tif", "dpx"]),
    ("rgb32f", "96x3", "gbrpf32le", ["exr"]),
    ("rgb10", "30x3", "gbrp10le", ["dpx"]),
]
RGB = ("rgb8", "rgb16")  # what GraphicsMagick takes and gives as bare bytes


def noise(tag, seeded):
    """A frame of this tag."""
    count = WIDTH * HEIGHT
    if tag == "rgb32f":  # finite floats: the top bits of 0.5 to 2, all others at random
        words = [0x3F000000 | seeded.getrandbits(24) for _ in range(3 * count)]
        return b"".join(word.to_bytes(4, "little") for word in words)
    if tag == "rgb10":
        return b"".join((seeded.getrandbits(30) << 2).to_bytes(4, "big") for _ in range(count))
    bits = next(bits for name, bits, *_ in SHAPES if name == tag)
    return seeded.randbytes(count * int(bits.split("x")[0]) // 8)


def planes(tag, frame):
    """The same samples as ffmpeg has them: green, blue and red, one behind the other, where it does."""
    if tag == "rgb32f":
        samples = [frame[at:at + 4] for at in range(0, len(frame), 4)]
    elif tag == "rgb10":
        words = [int.from_bytes(frame[at:at + 4], "big") for at in range(0, len(frame), 4)]
        samples = [(word >> shift & 1023).to_bytes(2, "little") for word in words for shift in (22, 12, 2)]
    else:
        return frame
    return b"".join(b"".join(samples[channel::3]) for channel in (1, 2, 0))


class OtherProgramsTest(ToolCase):
    def setUp(self):
        super().setUp()
        self.seeded = random.Random(3)

    def program(self, *words, data=None):
        done = subprocess.run(words, cwd=self.folder, input=data, capture_output=True, check=True, timeout=100)
        return done.stdout

    def new_clip(self, tag, bits):
        """A clip of one frame, and the bytes of that."""
        frame = noise(tag, self.seeded)
        (self.folder / "raw").write_bytes(frame)
        self.tool("put", "--raw", "--format", f"{WIDTH}x{HEIGHT}x{bits}", "--tag", tag, "raw", f"/{tag}")
        return frame

    @unittest.skipUnless(shutil.which("ffmpeg"), "ffmpeg is not installed")
    def test_ffmpeg_reads_our_files_and_we_read_its(self):
        for tag, bits, name, kinds in SHAPES:
            frame = self.new_clip(tag, bits)
            bare = ("-f", "rawvideo", "-pix_fmt", name)
            for kind in kinds:
                with self.subTest(tag=tag, kind=kind):
                    self.tool("get", f"/{tag}", f"ours-{tag}.#.{kind}")
                    read = self.program("ffmpeg", "-v", "error", "-i", f"ours-{tag}.0.{kind}", *bare, "-")
                    self.assertEqual(read, planes(tag, frame))
                    self.program("ffmpeg", "-v", "error", *bare, "-s", f"{WIDTH}x{HEIGHT}", "-i", "-",
                                 "-update", "1", f"its-{tag}.{kind}", data=planes(tag, frame))
                    self.tool("put", f"its-{tag}.{kind}", f"/its-{tag}-{kind}")
                    self.assertEqual(self.tool("cat", "--raw", f"/its-{tag}-{kind}"), frame)

    @unittest.skipUnless(shutil.which("ffmpeg"), "ffmpeg is not installed")
    def test_ffmpeg_reads_openexr_from_a_pipe(self):
        frame = self.new_clip("rgb32f", "96x3")
        (self.folder / "black").write_bytes(bytes(len(frame)))
        self.tool("put", "--raw", "--format", f"{WIDTH}x{HEIGHT}x96x3", "--tag", "rgb32f", "raw", "black", "/two")
        piped = self.tool("cat", "/two", "--exr")
        read = self.program("ffmpeg", "-v", "error", "-f", "exr_pipe", "-frame_size", str(len(piped) // 2),
                            "-i", "-", "-f", "rawvideo", "-pix_fmt", "gbrpf32le", "-", data=piped)
        self.assertEqual(read, planes("rgb32f", frame) + bytes(len(frame)))

    @unittest.skipUnless(shutil.which("gm"), "GraphicsMagick is not installed")
    def test_graphicsmagick_reads_our_files_and_we_read_its(self):
        for tag, bits, _, kinds in (shape for shape in SHAPES if shape[0] in RGB):
            frame = self.new_clip(tag, bits)
            bare = ("-depth", "8" if tag == "rgb8" else "16", "-endian", "LSB")
            for kind in kinds:
                with self.subTest(tag=tag, kind=kind):
                    self.tool("get", f"/{tag}", f"ours-{tag}.#.{kind}")
                    # Bare bytes would take the order of a DPX file's, whatever is asked for.
                    self.program("gm", "convert", f"ours-{tag}.0.{kind}", "read.png")
                    self.assertEqual(self.program("gm", "convert", "read.png", *bare, "rgb:-"), frame)
                    self.program("gm", "convert", *bare, "-size", f"{WIDTH}x{HEIGHT}", "rgb:raw", *bare[:2],
                                 f"its-{tag}.{kind}")
                    self.tool("put", f"its-{tag}.{kind}", f"/its-{tag}-{kind}")
                    self.assertEqual(self.tool("cat", "--raw", f"/its-{tag}-{kind}"), frame)


if __name__ == "__main__":
    if not shutil.which("ffmpeg") and not shutil.which("gm"):
        print("skipped: neither ffmpeg nor GraphicsMagick is installed")
        sys.exit(SKIPPED)
    unittest.main()
