"""What all frames of a clip have in common."""

from __future__ import annotations

import dataclasses
from fractions import Fraction
from typing import Any

import numpy

from . import _core
from ._errors import BadFrame


@dataclasses.dataclass(frozen=True)
class Format:
    """The format of a clip's frames. Nothing is checked until a clip is made with it.

    `bits` are those of one pixel, all channels together; `frame_size` is in bytes, `rate` in frames
    per second, `pixel_ratio` the width of a pixel divided by its height. `scan` is "progressive",
    "field1_odd", "field1_even", "field2_odd" or "field2_even". `tag` names the layout of the bytes,
    "rgb8" and the like; docs/frames.md lists them.
    """

    width: int
    height: int
    bits: int
    channels: int
    frame_size: int
    rate: float = 30.0
    pixel_ratio: float = 1.0
    scan: str = "progressive"
    tag: str = "none"
    metadata_tag: str = "none"
    metadata: str = ""

    @classmethod
    def of(cls, array: numpy.ndarray[Any, Any], rate: float | Fraction = 24) -> Format:
        """The format of frames like `array`.

        The array has the shape (height, width) for gray, or (height, width, channels) with 1 to 4
        channels, and the dtype uint8, uint16, float16 or float32. Raises BadFrame for any other.
        """
        array = numpy.asanyarray(array)
        if array.ndim not in (2, 3) or 0 in array.shape or max(array.shape) >= 2**31:
            raise BadFrame(
                f"an array of the shape {array.shape} is not a frame: (height, width) or "
                "(height, width, channels) is"
            )
        height, width = array.shape[:2]
        channels = array.shape[2] if array.ndim == 3 else 1
        dtype = array.dtype.newbyteorder("<").str.lstrip("|")
        fields = cls(*_core.format_of_array(width, height, channels, dtype))
        return dataclasses.replace(fields, rate=float(rate))

    @property
    def shape(self) -> tuple[int, ...]:
        """The shape of a frame's array: (height, width, channels), for gray (height, width).

        Raises BadFrame, as `dtype` does, when the layout of the frames is not known.
        """
        return _core.array_of_format(dataclasses.astuple(self))[0]

    @property
    def dtype(self) -> numpy.dtype[Any]:
        """The dtype of a frame's array: uint8, uint16, float16 or float32; uint16 for rgb10."""
        return numpy.dtype(_core.array_of_format(dataclasses.astuple(self))[1])

    def __str__(self) -> str:
        return (
            f"{self.width}x{self.height}x{self.bits}x{self.channels}@{self.rate:g} "
            f"{self.tag} {self.scan}"
        )
