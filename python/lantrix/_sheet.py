"""Contact sheets, for people to look at."""

from __future__ import annotations

import base64
import html
import struct
import zlib
from typing import TYPE_CHECKING, Any

import numpy

from ._errors import BadFrame

if TYPE_CHECKING:
    from ._clip import Array, Clip

_GAP = 4


def thumbnail(frame: Array, width: int, most: float) -> Array:
    """A frame made smaller, as uint8 of the shape (height, width, 3). `most` is shown as white."""
    step = max(1, -(-frame.shape[1] // width))
    small = frame[::step, ::step].astype(numpy.float32)
    if small.ndim == 2:
        small = small[:, :, None]
    if small.shape[2] < 3:  # gray, gray and alpha
        small = small[:, :, :1].repeat(3, axis=2)
    shown = numpy.nan_to_num(small[:, :, :3] / most, nan=0.0).clip(0, 1)
    return numpy.asarray(shown * 255 + 0.5, dtype=numpy.uint8)


def _white(clip: Clip) -> float:
    format = clip.format
    if format.dtype.kind == "f":
        return 1.0
    return float(2 ** (format.bits // format.channels) - 1)


def contact_sheet(clip: Clip, count: int, columns: int, width: int) -> Array:
    """The array of Clip.sheet."""
    if min(count, columns, width) < 1:
        raise ValueError("count, columns and width are positive")
    count = min(count, len(clip))
    places = [i * len(clip) // count for i in range(count)]
    pictures = [thumbnail(clip[place], width, _white(clip)) for place in places]
    if not pictures:
        return numpy.zeros((1, 1, 3), dtype=numpy.uint8)
    columns = min(columns, count)
    rows = -(-count // columns)
    high, wide = pictures[0].shape[:2]
    sheet = numpy.full(
        (rows * (high + _GAP) + _GAP, columns * (wide + _GAP) + _GAP, 3), 32, dtype=numpy.uint8
    )
    for number, picture in enumerate(pictures):
        top = _GAP + number // columns * (high + _GAP)
        left = _GAP + number % columns * (wide + _GAP)
        sheet[top : top + high, left : left + wide] = picture
    return sheet


def png(picture: Array) -> bytes:
    """A PNG file of uint8 with the shape (height, width, 3)."""
    height, width = picture.shape[:2]
    lines = numpy.zeros((height, 1 + 3 * width), dtype=numpy.uint8)  # each begins with its filter
    lines[:, 1:] = picture.reshape(height, 3 * width)

    def chunk(kind: bytes, data: bytes) -> bytes:
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    head = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    body = chunk(b"IHDR", head) + chunk(b"IDAT", zlib.compress(lines.tobytes()))
    return b"\x89PNG\r\n\x1a\n" + body + chunk(b"IEND", b"")


def clip_html(clip: Clip) -> str:
    """What a notebook shows of a clip: a table, and a contact sheet where there is one."""
    format = clip.format
    rows: list[tuple[str, Any]] = [
        ("name", clip.name),
        ("server", clip.server.host),
        ("frames", len(clip)),
        ("format", format),
        ("bytes of a frame", format.frame_size),
    ]
    cells = "".join(f"<tr><th>{k}</th><td>{html.escape(str(v))}</td></tr>" for k, v in rows)
    try:
        data = base64.b64encode(png(clip.sheet())).decode() if len(clip) else ""
    except BadFrame:  # nobody knows what the bytes mean
        data = ""
    image = f'<img src="data:image/png;base64,{data}">' if data else ""
    return f"<table>{cells}</table>{image}"
