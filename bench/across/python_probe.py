"""python_probe.py PEER SERVER: what lantrix-bench measures of Python, in a process of its own.

Prints a line with the names of what is installed of the things to compare with. Then for each line
"WHAT SIZE COUNT [PORT]" on standard input it does that COUNT times, and prints a line: an empty one,
or what was measured. PEER answers from memory, SERVER is the development server.
"""

import ctypes
import functools
import importlib.util
import mmap
import sys
from typing import Any

import numpy

import lantrix

LARGEST = 50 << 20  # bytes of a frame
FRAMES = 100  # of each clip of the peer
RIVALS = ("requests", "redis")
COUNTERS = ("_ZN5bench15allocationCountEv", "_ZN5bench14allocatedBytesEv")  # what is preloaded


class Probe:
    """A method for each WHAT. The peer's nodes are named by the size of their frames, or lists."""

    def __init__(self, peer: str, server: str) -> None:
        self.peer = lantrix.Server(peer)
        self.server = lantrix.Server(server)
        # For frames of all sizes, at a page, as the other side has it: so that caches treat both alike.
        self.memory = numpy.frombuffer(mmap.mmap(-1, LARGEST, mmap.MAP_PRIVATE | mmap.MAP_ANONYMOUS), numpy.uint8)
        self.memory.fill(1)

    @functools.lru_cache(None)
    def clip_and_array(self, size: int) -> tuple[lantrix.Clip, Any]:
        return lantrix.Clip(self.peer, str(size)), self.memory[:size].reshape(1, size)

    def read_into(self, size: int, count: int) -> None:
        clip, out = self.clip_and_array(size)
        for index in range(count):
            clip.read_into(index % FRAMES, out)

    def stream(self, size: int, count: int) -> None:
        clip, _ = self.clip_and_array(size)
        for _ in clip.frames(index % FRAMES for index in range(count)):
            pass

    def names(self, size: int, count: int) -> None:
        for _ in range(count):
            assert len(lantrix.Node(self.peer, str(size)).names) == size

    # The next three give a new array for each frame.
    def read(self, size: int, count: int) -> None:
        clip = self.server[f"/Bench/{size}"]
        assert isinstance(clip, lantrix.Clip)
        for _ in range(count):
            assert clip[0].nbytes == size

    def requests(self, size: int, count: int, port: int) -> None:
        session = _session()
        for _ in range(count):
            reply = session.get(f"http://127.0.0.1:{port}/{size}")
            assert numpy.frombuffer(reply.content, numpy.uint8).nbytes == size

    def redis(self, size: int, count: int, port: int) -> None:
        client = _redis(port)
        for _ in range(count):
            assert numpy.frombuffer(client.get(str(size)), numpy.uint8).nbytes == size

    def allocations(self, size: int, count: int) -> str:
        """Blocks and bytes that read_into allocates for each frame, counted by what is preloaded."""
        blocks, bytes_ = (_counter(name) for name in COUNTERS)
        for _ in range(2):  # the first time, numbers and functions are made as well
            before = blocks(), bytes_()
            self.read_into(size, count)
            after = blocks(), bytes_()
        per_frame = [(now - then) / count for now, then in zip(after, before)]
        return f"{per_frame[0]:.2f} of {per_frame[1]:.0f} B"


@functools.lru_cache(None)
def _session() -> Any:
    import requests

    return requests.Session()


@functools.lru_cache(None)
def _redis(port: int) -> Any:
    import redis

    return redis.Redis(port=port)


def _counter(name: str) -> Any:
    function = ctypes.CDLL(None)[name]
    function.restype = ctypes.c_uint64
    return function


def main(peer: str, server: str) -> None:
    probe = Probe(peer, server)
    print(*(name for name in RIVALS if importlib.util.find_spec(name)), flush=True)
    for line in sys.stdin:
        what, *numbers = line.split()
        print(getattr(probe, what)(*map(int, numbers)) or "", flush=True)


if __name__ == "__main__":
    main(*sys.argv[1:])
