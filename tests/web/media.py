"""A lantrixd with clips whose samples are known, and the address of the page that shows it.

LANTRIX and LANTRIXD in the environment are the programs.
"""

import array
import os
import struct
import subprocess
import sys
from collections.abc import Callable, Iterator
from pathlib import Path

LANTRIX = os.environ.get("LANTRIX", "lantrix")
LANTRIXD = os.environ.get("LANTRIXD", "lantrixd")

Pixel = Callable[[int, int, int], tuple[float, ...]]  # of frame, x and y


def eight_bits(frame: int, x: int, y: int) -> tuple[float, ...]:
    return (x + frame * 4) % 256, (y * 2 + frame) % 256, (x + y) % 256


def ten_bits(frame: int, x: int, y: int) -> tuple[float, ...]:
    return (x * 7 + frame) % 1024, (y * 13 + 512) % 1024, (x * y + 1000) % 1024


def halves(frame: int, x: int, y: int) -> tuple[float, ...]:
    return (x - 16) / 8, (y + frame) / 16, 1.5


def changed(frame: int, x: int, y: int) -> tuple[float, ...]:
    """eight_bits, but for two pixels of frame 7: the blue of one and the red of the other."""
    red, green, blue = eight_bits(frame, x, y)
    if frame == 7 and (x, y) == (10, 20):
        return red, green, blue + 37
    if frame == 7 and (x, y) == (11, 20):
        return red + 5, green, blue
    return red, green, blue


def pack(tag: str, samples: list[float]) -> bytes:
    """The bytes of a frame, as docs/frames.md has them."""
    if tag == "rgb8":
        return bytes(map(int, samples))
    if tag == "rgb16f":
        return struct.pack(f"<{len(samples)}e", *samples)
    threes = zip(*[iter(map(int, samples))] * 3)
    words = array.array("I", (r << 22 | g << 12 | b << 2 for r, g, b in threes))
    if sys.byteorder == "little":
        words.byteswap()
    return words.tobytes()


class MediaServer:
    """Owns the process, on a loopback address of this process's own."""

    def __init__(self, folder: Path) -> None:
        self.folder = folder
        self.host = f"127.{201 + os.getpid() // 62500 % 4}.{os.getpid() // 250 % 250}.{1 + os.getpid() % 250}"
        self.start()

    def start(self) -> None:
        self.process = subprocess.Popen([LANTRIXD, "--root", self.folder / "root", "--listen", self.host],
                                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        assert self.process.stdout is not None
        assert self.process.stdout.readline(), "lantrixd did not start"

    def stop(self) -> None:
        self.process.terminate()
        self.process.communicate()

    def tool(self, *words: object) -> None:
        subprocess.run([LANTRIX, "--quiet", "--host", self.host, *map(str, words)], check=True, timeout=300)

    def put(self, path: str, tag: str, size: tuple[int, int], frames: int, pixel: Pixel) -> None:
        """Makes a clip of what `pixel` gives for each frame and place."""
        width, height = size
        bits = {"rgb8": 24, "rgb10": 30, "rgb16f": 48}[tag]
        files = self.folder / "raw"
        files.mkdir(exist_ok=True)
        for frame in range(frames):
            samples = [value for y in range(height) for x in range(width) for value in pixel(frame, x, y)]
            (files / f"f.{frame:04}").write_bytes(pack(tag, samples))
        self.tool("put", "--raw", "--format", f"{width}x{height}x{bits}x3@25", "--tag", tag,
                  files / "f.####", path)
        for file in files.iterdir():
            file.unlink()


def fill(server: MediaServer) -> None:
    """What the tests look at."""
    server.tool("mkdir", "-p", "/Library/Reel")
    server.tool("mkdir", "/Library/Empty")
    server.put("/Library/Reel/shot", "rgb8", (160, 90), 50, eight_bits)
    server.put("/Library/Reel/other", "rgb8", (160, 90), 10, changed)
    server.put("/Library/Reel/ten", "rgb10", (64, 36), 3, ten_bits)
    server.put("/Library/Reel/half", "rgb16f", (64, 36), 3, halves)
    server.tool("mkclip", "/Library/Reel/a@b", "--format", "16x16x24", "--frames", "1")
    server.tool("meta", "set", "/Library/Reel/shot", "note", "take 2")


class Page:
    """Owns the program that serves the page; `address` has the token in it."""

    def __init__(self, host: str, path: str = "/", *options: str) -> None:
        self.process = subprocess.Popen([LANTRIX, "web", f"{host}:{path}", *options], stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, text=True)
        assert self.process.stdout is not None
        self.address = self.process.stdout.readline().split("#")[0].strip()
        assert self.address.startswith("http://127.0.0.1:"), "lantrix web did not start"

    def stop(self) -> None:
        self.process.terminate()
        assert self.process.wait(timeout=30) is not None


def shown_page(folder: Path) -> Iterator[tuple[MediaServer, Page]]:
    """A filled server and its page, for as long as one looks."""
    server = MediaServer(folder)
    try:
        fill(server)
        page = Page(server.host)
        yield server, page
        page.stop()
    finally:
        server.stop()
