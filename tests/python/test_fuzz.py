"""Nothing that Python code does crashes the process: calls with whatever comes to mind."""

import random
from typing import Any

import numpy

import lantrix

VALUES: list[Any] = [
    None, True, -1, 0, 3, 19, 20, 2**31, -(2**63), 10**30, 1.5, float("nan"), "", "x", "a,b\n\"",
    "\ud800", "nul\0", b"", bytes(144), bytearray(144), memoryview(bytes(288))[::2], [], [1, "x"],
    (), {}, slice(None, None, -3), range(5), object(), int, numpy.int8(4), numpy.zeros(0),
    numpy.zeros((6, 8, 3), numpy.uint8), numpy.zeros((6, 8, 3), numpy.uint8)[::-1],
    numpy.zeros((6, 8, 3), ">u2"), numpy.zeros((6, 8, 3), object), numpy.zeros((6, 8, 3), "V1"),
    numpy.broadcast_to(numpy.uint8(1), (6, 8, 3)), numpy.zeros((1,) * 30, numpy.uint8),
    lantrix.Format(1, 1, 1, 1, 1), lantrix.Format(-1, 2**40, 0, 0, 0, rate=0),
]


def test_any_call_with_any_values_raises_or_returns(clip: lantrix.Clip) -> None:
    chosen = random.Random(14)
    core = lantrix._core
    targets: list[Any] = [core.FrameSource, core.FrameSink, core.Walk, core.Connection, core.Node,
                          core.format_of_array, core.array_of_format, lantrix.Format.of,
                          clip.__setitem__, clip.__getitem__, lantrix.Server]
    closed = lantrix.Clip(lantrix.Server(clip.server.host), clip.id)
    closed.server.close()
    for thing in (clip._core, closed._core, clip, closed, clip.metadata, clip.server._core):
        targets += [getattr(thing, name) for name in dir(thing)
                    if not name.startswith("_") and callable(getattr(type(thing), name, None))
                    and name not in ("destroy", "resize", "link", "stop", "close")]
    known = [*VALUES, clip, clip.server, clip._core, clip.server._core]
    raised = 0
    for _ in range(6000):
        arguments = chosen.choices(known, k=chosen.randrange(5))
        try:
            result = chosen.choice(targets)(*arguments)
            if isinstance(result, (core.FrameSource, core.FrameSink, core.Walk)):
                result.close()
        except Exception:
            raised += 1
    assert raised > 3000
    clip.server.ping()
