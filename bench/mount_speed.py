"""mount_speed.py: a mounted clip beside the tool's own transfers, one connection, and rclone's mount.

LANTRIX and LANTRIXD in the environment are the programs. Prints a table in Markdown.
"""

import asyncio
import os
import pathlib
import shutil
import statistics
import subprocess
import tempfile
import threading
import time
from collections.abc import Callable
from typing import Any

from delay_relay import relay

Work = Callable[[], float]  # gives seconds
ROUNDS = 11
ADDRESS = f"127.205.{os.getpid() // 250 % 250}.{os.getpid() % 250 + 1}"
FAR = f"127.206.{os.getpid() // 250 % 250}.{os.getpid() % 250 + 1}"
SHAPES = {"48 of 1920x1080": (48, 1920, 1080), "12 of 4096x2160": (12, 4096, 2160)}


def run(*words: object, **more: Any) -> None:
    subprocess.run([str(word) for word in words], check=True, stderr=subprocess.DEVNULL, **more)


def seconds_of(work: Callable[[], None]) -> float:
    begin = time.monotonic()
    work()
    return time.monotonic() - begin


class Folder:
    """A mounted folder, for as long as one looks."""

    def __init__(self, path: pathlib.Path, *words: object) -> None:
        self.path = path
        self.process = subprocess.Popen([str(word) for word in words], stderr=subprocess.DEVNULL)
        while not os.path.ismount(path):
            time.sleep(0.01)

    def __enter__(self) -> pathlib.Path:
        return self.path

    def __exit__(self, *_: object) -> None:
        subprocess.run(["fusermount3", "-uz", self.path], check=True)
        self.process.wait()


def mount(folder: pathlib.Path, path: str, *options: str, host: str = ADDRESS) -> Folder:
    return Folder(folder, os.environ["LANTRIX"], "--host", host, "mount", path, folder, *options)


def read_all(folder: pathlib.Path, readers: int = 1) -> None:
    """cat of all frames, each reader with its part, as sequences are read."""
    files = sorted(folder.glob("*.tif"))
    part = -(-len(files) // readers)
    running = [subprocess.Popen(["cat", *files[at:at + part]], stdout=subprocess.DEVNULL)
               for at in range(0, len(files), part)]
    for reader in running:
        assert reader.wait() == 0


def compare(name: str, size: int, ours: Work, theirs: Work, other: str) -> None:
    """One row; the contenders take turns, each round with nothing kept of the round before."""
    times: list[list[float]] = [[], []]
    for _ in range(ROUNDS):
        for taken, work in zip(times, (ours, theirs)):
            taken.append(work())
    rates = [size / statistics.median(taken) / 1e6 for taken in times]
    ratio = statistics.median(b / a for a, b in zip(*times))
    print(f"| {name} | {rates[0]:.0f} MB/s | {other} {rates[1]:.0f} MB/s | {ratio:.2f} |", flush=True)


def main() -> None:
    print("| figure | mount | beside | ratio |\n|---|---|---|---|")
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        mounted = folder / "mounted"
        mounted.mkdir()
        lantrix = os.environ["LANTRIX"]
        server = subprocess.Popen([os.environ["LANTRIXD"], "--root", folder / "root", "--listen", ADDRESS],
                                  stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        assert server.stdout is not None
        server.stdout.readline()
        threading.Thread(target=lambda: asyncio.run(relay(ADDRESS, FAR)), daemon=True).start()

        def through(path: str, readers: int = 1, host: str = ADDRESS, *options: str) -> Work:
            def work() -> float:
                with mount(mounted, path, *options, host=host) as there:
                    return seconds_of(lambda: read_all(there, readers))
            return work

        def got(path: str, *options: str, host: str = ADDRESS) -> Work:
            def work() -> float:
                files = folder / "got"
                files.mkdir()
                taken = seconds_of(lambda: run(lantrix, "--host", host, "get", "--raw", path, files / "f.####",
                                               *options))
                shutil.rmtree(files)
                return taken
            return work

        def put(count: int, width: int, height: int) -> tuple[str, int]:
            """A clip of noise; its path and bytes. The files of its frames stay."""
            for i in range(count):
                (folder / f"frame.{i:04}").write_bytes(os.urandom(width * height * 3))
            path = f"/{width}"
            run(lantrix, "--host", ADDRESS, "put", "--raw", "--format", f"{width}x{height}x24", "--tag", "rgb8",
                folder / "frame.####", path)
            return path, count * width * height * 3

        def remove_files() -> None:
            for file in folder.glob("frame.*"):
                file.unlink()

        for shape, numbers in SHAPES.items():
            path, size = put(*numbers)
            compare(f"`cat`, {shape}", size, through(path), got(path), "`get --raw`")
            compare(f"4 readers, {shape}", size, through(path, 4), got(path), "`get --raw`")
            for file in folder.glob("frame.*"):
                file.rename(file.with_suffix(file.suffix + ".tif"))
            if shutil.which("rclone"):
                serving = subprocess.Popen(["rclone", "serve", "http", folder, "--addr", f"{ADDRESS}:8080"],
                                           stderr=subprocess.DEVNULL)
                time.sleep(1)

                def rival() -> float:
                    with Folder(mounted, "rclone", "mount", ":http:", mounted, "--http-url",
                                f"http://{ADDRESS}:8080", "--read-only", "--vfs-cache-mode", "off") as there:
                        return seconds_of(lambda: read_all(there))

                compare(f"`cat`, {shape}", size, through(path), rival, "`rclone mount`")
                serving.terminate()
                serving.wait()
            remove_files()
        path, size = put(200, 480, 270)  # small enough that the distance counts
        compare("`cat` through 20 ms, 200 of 480x270, `-j 8`", size, through(path, 1, FAR, "-j", "8"),
                got(path, "-j", "1", host=FAR), "`get --raw -j 1`")
        remove_files()
        run(lantrix, "--host", ADDRESS, "mkclip", "/long", "--format", "4x4x24", "--frames", "100000")
        with mount(mounted, "/long") as there:
            taken = seconds_of(lambda: run("ls", "-l", there, stdout=subprocess.DEVNULL))
            print(f"| `ls -l` of a clip of 100,000 frames | {taken:.2f} s | | |")
        server.terminate()
        server.wait()


if __name__ == "__main__":
    main()
