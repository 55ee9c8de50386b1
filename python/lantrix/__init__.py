"""Clips of a media server as numpy arrays.

    import lantrix

    with lantrix.Server("127.0.0.1") as server:
        clip = server["/Library/Reel/shot"]
        print(clip.format, len(clip), clip[0].mean())

docs/python.md tells the rest. What the library logs goes to logging.getLogger("lantrix").
"""

import logging as _logging

from ._clip import Clip, Frames
from ._core import version as __version__
from ._errors import (
    BadFrame,
    ConnectionFailed,
    Error,
    IndexNotFound,
    KeyNotFound,
    NotFound,
    ProtocolTooOld,
    Refused,
    TimedOut,
)
from ._format import Format
from ._node import Metadata, Node
from ._server import Server

__all__ = [
    "BadFrame",
    "Clip",
    "ConnectionFailed",
    "Error",
    "Format",
    "Frames",
    "IndexNotFound",
    "KeyNotFound",
    "Metadata",
    "Node",
    "NotFound",
    "ProtocolTooOld",
    "Refused",
    "Server",
    "TimedOut",
    "__version__",
]

_logging.getLogger("lantrix").addHandler(_logging.NullHandler())
