"""Servers: the first thing that a program makes."""

from __future__ import annotations

from types import TracebackType
from typing import Iterator, Sequence

from . import _core
from ._node import Node, at_path

_SYSTEMS = {"Unknown": 0, "Irix": 1, "Linux": 2, "WindowsNT": 3, "MacOSX": 4}


class Server:
    """A media server: `host` is a name or an IPv4 address.

    Nothing is connected until the first request. A request takes as long as it takes, or raises
    TimedOut after `timeout` seconds; that too leaves the server usable. Ctrl-C ends every call.
    Threads may share a server: each waits for its turn. Servers can be pickled, and connect anew
    where they arrive. Use it in a `with` statement, or call `close`; what is forgotten is closed
    when it is collected.

    All methods raise lantrix.Error when something goes wrong, most often ConnectionFailed or Refused.
    """

    def __init__(self, host: str, timeout: float | None = None) -> None:
        self._core = _core.Connection(host, _checked_timeout(timeout))

    @property
    def host(self) -> str:
        """The host as it was given."""
        return self._core.host

    @property
    def timeout(self) -> float | None:
        """The seconds that a request may take; None for any time. Can be set."""
        return self._core.timeout

    @timeout.setter
    def timeout(self, seconds: float | None) -> None:
        self._core.timeout = _checked_timeout(seconds)

    @property
    def closed(self) -> bool:
        """Whether `close` has been called."""
        return self._core.closed

    def close(self) -> None:
        """Closes the connections. Whatever is asked of this server later raises lantrix.Error."""
        self._core.close()

    def stop(self) -> None:
        """Ends the requests of other threads on this server, which raise lantrix.Error."""
        self._core.stop()

    def __enter__(self) -> Server:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        value: BaseException | None,
        traceback: TracebackType | None,
    ) -> None:
        self.close()

    def __reduce__(self) -> tuple[type[Server], tuple[str, float | None]]:
        return type(self), (self.host, self.timeout)

    def __repr__(self) -> str:
        return f"lantrix.Server({self.host!r})"

    @property
    def vendor(self) -> str:
        """Who made what serves the tree."""
        return self._core.vendor()

    @property
    def product(self) -> str:
        """What serves the tree."""
        return self._core.product()

    @property
    def version(self) -> tuple[int, int]:
        """The version of what serves the tree."""
        return self._core.version()

    @property
    def protocol(self) -> tuple[int, int]:
        """The version of the protocol that the server speaks."""
        return self._core.protocol()

    @property
    def storage_id(self) -> str:
        """Names the server's storage; the host name before protocol 2.6."""
        return self._core.storage_id()

    def ping(self) -> None:
        """Returns when the server answers."""
        self._core.ping()

    @property
    def root(self) -> Node:
        """The node where the tree begins."""
        return Node(self, self._core.root())

    def __getitem__(self, path: str) -> Node:
        """The node that display names lead to from the root, such as "/Library/Reel/shot".

        It is a lantrix.Clip when it has frames. Raises NotFound when a name on the way is not there.
        """
        return at_path(self.root, path)

    __truediv__ = __getitem__

    def __iter__(self) -> Iterator[Node]:
        return iter(self.root)

    def translate_paths(
        self,
        paths: Sequence[str],
        from_host: str | None = None,
        to_host: str | None = None,
        from_system: str = "Unknown",
        to_system: str = "Unknown",
    ) -> list[str]:
        """File paths as one host sees them, as another does. A host that is None is the server.

        Systems are "Irix", "Linux", "WindowsNT", "MacOSX" or "Unknown".
        """
        if isinstance(paths, str):
            raise TypeError("paths is a sequence of strings, not one string")
        for system in (from_system, to_system):
            if system not in _SYSTEMS:
                raise ValueError(f"{system!r} is not one of {', '.join(_SYSTEMS)}")
        if not paths:
            return []
        return self._core.translate_paths(
            list(paths),
            self.host if from_host is None else from_host,
            self.host if to_host is None else to_host,
            _SYSTEMS[from_system],
            _SYSTEMS[to_system],
        )


def _checked_timeout(seconds: float | None) -> float | None:
    if seconds is not None and not seconds > 0:
        raise ValueError("timeout is a positive number of seconds, or None")
    return seconds
