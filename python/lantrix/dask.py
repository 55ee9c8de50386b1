"""Clips as Dask arrays: read and written by as many workers, on as many machines, as there are.

Needs the package dask. Each worker connects to the server by itself.
"""

from __future__ import annotations

import dask
import dask.array
import numpy

from ._clip import Array, Clip
from ._errors import BadFrame
from ._format import Format
from ._server import Server

_WORKER_TIMEOUT = 60.0  # seconds; Dask runs what has failed again elsewhere if it is told to


def _read(host: str, id: str, index: int, timeout: float | None) -> Array:
    with Server(host, timeout) as server:
        frame = Clip(server, id)[index]
        return numpy.asarray(frame[numpy.newaxis])


def _write(block: Array, host: str, id: str, start: int, timeout: float | None) -> int:
    with Server(host, timeout) as server:
        clip = Clip(server, id)
        for offset, frame in enumerate(block):
            clip[start + offset] = numpy.ascontiguousarray(frame)
    return len(block)


def from_clip(clip: Clip) -> dask.array.Array:
    """A dask array of the shape (frames, height, width, channels); a chunk is a frame.

    For gray it has three axes. A frame is read where and when it is computed, on a connection of that
    worker. Sends what asks for the format and the number of frames. Raises BadFrame when the layout
    of the frames is not known.
    """
    shape, dtype = clip.format.shape, clip.format.dtype
    timeout = clip.server.timeout or _WORKER_TIMEOUT
    if len(clip) == 0:
        return dask.array.zeros((0, *shape), dtype=dtype)
    name = "lantrix-" + dask.base.tokenize(clip.server.host, clip.id, len(clip), shape)
    rest = (0,) * len(shape)
    graph = {
        (name, index, *rest): (_read, clip.server.host, clip.id, index, timeout)
        for index in range(len(clip))
    }
    chunks = ((1,) * len(clip), *((extent,) for extent in shape))
    return dask.array.Array(graph, name, chunks, dtype=dtype)


def to_clip(array: dask.array.Array, server: Server, path: str, rate: float = 24) -> Clip:
    """Writes a dask array of frames as a new clip at `path`; returns the clip when all is written.

    The array has the shape (frames, height, width, channels), or (frames, height, width) for gray,
    and a dtype as in Format.of; the nodes above the clip must be there. Each worker writes the frames
    that it has computed, on a connection of its own. A frame may be written twice when a worker is
    lost, with the same contents. Raises BadFrame for any other array, NotFound for a missing parent.
    """
    if array.ndim not in (3, 4) or any(numpy.isnan(extent) for extent in array.shape):
        raise BadFrame(f"an array of the shape {array.shape} is not a sequence of frames")
    format = Format.of(numpy.empty(array.shape[1:], array.dtype), rate)
    above, _, name = path.rstrip("/").rpartition("/")
    clip = server[above].create_clip(name, format, frames=array.shape[0])
    whole = array.rechunk({axis: -1 for axis in range(1, array.ndim)})
    timeout = server.timeout or _WORKER_TIMEOUT
    tasks, start = [], 0
    for block, count in zip(whole.to_delayed().ravel(), whole.chunks[0]):
        tasks.append(dask.delayed(_write)(block, server.host, clip.id, start, timeout))
        start += count
    dask.compute(*tasks)
    return Clip(server, clip.id)


__all__: list[str] = ["from_clip", "to_clip"]
