"""Clips: nodes with frames."""

from __future__ import annotations

import itertools
import operator
from typing import Any, Iterable, Iterator, Sequence, overload

import numpy

from . import _core
from ._errors import IndexNotFound
from ._format import Format
from ._node import Node, _count

Array = numpy.ndarray[Any, Any]


class Clip(Node):
    """A node with frames, and a sequence of them.

    `clip[10]` is the frame as a numpy array of the shape (height, width, channels), for gray (height,
    width), with the dtype uint8, uint16, float16 or float32; the 10 bits of rgb10 are numbers from 0
    to 1023 in uint16. `clip[10] = array` writes a frame; `clip[0:100:2]` is a lazy sequence of
    frames. Frames whose layout is not known raise BadFrame; `raw` and `write_raw` move them.
    """

    @property
    def format(self) -> Format:
        """The format of all frames; asked once."""
        return Format(*self._core.format())

    def __len__(self) -> int:
        return self._core.count_frames()

    def __bool__(self) -> bool:
        return True

    def __iter__(self) -> Iterator[Any]:  # frames where a node has children
        return iter(self[:])

    @overload
    def __getitem__(self, index: int) -> Array: ...

    @overload
    def __getitem__(self, index: slice) -> Frames: ...

    @overload
    def __getitem__(self, index: str) -> Node: ...

    def __getitem__(self, index: int | slice | str) -> Array | Frames | Node:
        """Frame `index`, or the lazy sequence of a slice. Raises IndexError beyond the frames."""
        if isinstance(index, slice):
            return Frames(self, range(*index.indices(len(self))))
        if isinstance(index, str):
            return self / index
        return self._core.read(_index(index))

    def __setitem__(self, index: int, frame: Array) -> None:
        """Writes a frame. Raises BadFrame unless shape and dtype are those of the clip's frames."""
        self._core.write(_index(index), _array(frame))

    def read_into(self, index: int, out: Any) -> None:
        """Reads a frame straight into `out`, without a copy and without allocating one.

        `out` is a C-contiguous, writable array of the frames' shape and dtype, or a writable buffer of
        bytes (bytearray, memoryview) that takes the bytes of the frame as they are. Raises BadFrame
        when it does not fit; BufferError or ValueError when it can't be written in place.
        """
        self._core.read_into(index, out)

    def raw(self, index: int) -> bytes:
        """The bytes of a frame as they are on the wire, whatever the layout."""
        return self._core.read_raw(_index(index))

    def write_raw(self, index: int, frame: bytes | bytearray | memoryview) -> None:
        """Writes the bytes of a frame as they are, whatever the layout."""
        self._core.write_raw(_index(index), frame)

    def resize(self, frames: int) -> None:
        """Gives the clip so many frames: those at the end go, or come with contents of the server's."""
        self._core.resize(_count(frames))

    def link(self, paths: Sequence[str]) -> None:
        """Makes existing files the frames, by paths as the server sees them. Needs protocol 2.6."""
        if isinstance(paths, str):
            raise TypeError("paths is a sequence of strings, not one string")
        self._core.link(list(paths))

    @property
    def frame_ids(self) -> list[str]:
        """The texts by which the server knows the frames."""
        return self._core.frame_ids()

    @property
    def frame_paths(self) -> list[str]:
        """The files of the frames, as the server sees them; empty texts before protocol 2.5."""
        return self._core.frame_paths()

    def frames(
        self, indices: Iterable[int] | None = None, connections: int = 4, ahead: int = 8
    ) -> Iterator[tuple[int, Array]]:
        """Pairs of index and frame, in the order of `indices`, read over several connections.

        `indices` is any iterable, as range(10, 20); all frames unless it is given. `ahead` frames
        are read ahead of the one that is given out. A frame that can't be read raises. The arrays
        are the caller's and stay as they are.
        """
        count = len(self)
        wanted = [
            _placed(index, count) for index in (range(count) if indices is None else indices)
        ]
        source = _core.FrameSource(self._core, wanted, connections, ahead)
        return _given_out(source)

    def write(
        self,
        frames: Iterable[Array],
        start: int = 0,
        connections: int = 4,
        ahead: int = 8,
    ) -> int:
        """Writes frames one behind the other from index `start` on; returns how many.

        `frames` is any iterable of arrays. The clip grows when there are more than it has. The first
        failure raises; frames that were handed in before it may or may not be stored.
        """
        start = _placed(start, len(self) + 1)
        rest = iter(frames)
        written = 0
        grown = False
        while True:
            room = len(self) - start - written
            batch = itertools.islice(rest, room)
            written += self._write_batch(batch, start + written, connections, ahead)
            following = next(rest, None)
            if following is None:
                break
            # The clip doubles, and what is too much goes at the end: few requests for any length.
            grown = True
            self.resize(max(2 * len(self), start + written + _length_hint(rest) + 1))
            rest = itertools.chain([following], rest)
        if grown and len(self) > start + written:
            self.resize(start + written)
        return written

    def _write_batch(
        self, frames: Iterator[Array], start: int, connections: int, ahead: int
    ) -> int:
        first = next(frames, None)
        if first is None:
            return 0
        sink = _core.FrameSink(self._core, connections, ahead)
        try:
            count = 0
            for count, frame in enumerate(itertools.chain([first], frames), 1):
                sink.write(start + count - 1, _array(frame))
            sink.finish()
            return count
        finally:
            sink.close()

    def sheet(self, count: int = 12, columns: int = 4, width: int = 160) -> Array:
        """A contact sheet: uint8 of the shape (height, width, 3), of `count` frames spread evenly."""
        from ._sheet import contact_sheet

        return contact_sheet(self, count, columns, width)

    def _repr_html_(self) -> str:
        from ._sheet import clip_html

        return clip_html(self)


class Frames(Sequence[Array]):
    """Frames of a clip that are read when they are asked for."""

    def __init__(self, clip: Clip, indices: range) -> None:
        self.clip = clip
        self.indices = indices

    def __len__(self) -> int:
        return len(self.indices)

    @overload
    def __getitem__(self, index: int) -> Array: ...

    @overload
    def __getitem__(self, index: slice) -> Frames: ...

    def __getitem__(self, index: int | slice) -> Array | Frames:
        if isinstance(index, slice):
            return Frames(self.clip, self.indices[index])
        return self.clip[self.indices[_placed(index, len(self))]]

    def __iter__(self) -> Iterator[Array]:
        for index in self.indices:
            yield self.clip[index]

    def __repr__(self) -> str:
        return f"<{len(self)} frames of {self.clip!r}>"


def _given_out(source: _core.FrameSource) -> Iterator[tuple[int, Array]]:
    try:
        yield from iter(source.next, None)  # keeps no frame while the next one is waited for
    finally:
        source.close()


def _index(index: int) -> int:
    number = operator.index(index)
    if not -(2**31) <= number < 2**31:
        raise IndexNotFound(f"no clip has a frame {number}")
    return number


def _placed(index: int, count: int) -> int:
    number = operator.index(index)
    place = number + count if number < 0 else number
    if not 0 <= place < count:
        raise IndexNotFound(f"frame {number} is not among {count}")
    return place


def _array(frame: Array) -> Array:
    if not isinstance(frame, numpy.ndarray):
        raise TypeError(f"a frame is a numpy array, not {type(frame).__name__}")
    return frame


def _length_hint(frames: Iterator[Array]) -> int:
    return operator.length_hint(frames)
