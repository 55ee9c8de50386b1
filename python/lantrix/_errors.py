"""The exceptions of the package: one tree, so that `except lantrix.Error` catches all of them."""


class Error(Exception):
    """Anything that went wrong with a server; the base of all others here."""


class ConnectionFailed(Error, ConnectionError):
    """The server can't be reached, or the connection broke."""


class TimedOut(Error, TimeoutError):
    """The server gave no answer within the time limit of `Server.timeout`."""


class NotFound(Error, LookupError):
    """No node has the name, no frame the index, no metadata the key."""


class IndexNotFound(NotFound, IndexError):
    """The index is beyond the frames, or the children, that there are."""


class KeyNotFound(NotFound, KeyError):
    """The node has no metadata of this name."""

    def __str__(self) -> str:  # KeyError's would put quotes around the sentence
        return Exception.__str__(self)


class Refused(Error):
    """The server answered, and said no."""


class ProtocolTooOld(Refused):
    """The server speaks a version of the protocol that does not have this operation."""


class BadFrame(Error, ValueError):
    """The array or buffer is not one of this clip's frames, or their layout is not known."""
