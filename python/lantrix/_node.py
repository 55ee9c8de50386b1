"""Nodes: whatever is in a server's tree."""

from __future__ import annotations

import fnmatch
import html
from typing import TYPE_CHECKING, Any, Iterator, Mapping, Sequence, overload

from . import _core
from ._errors import IndexNotFound, KeyNotFound, NotFound

if TYPE_CHECKING:
    from ._clip import Clip
    from ._format import Format
    from ._server import Server


class Node:
    """A node of a server's tree: a library, a reel, a clip. Clips are of the class lantrix.Clip.

    What has been asked about a node is kept; a new object asks afresh. Nodes are equal when they name
    the same node on the same host. They can be pickled, with the host and the id. Iterating gives the
    children.
    """

    def __init__(self, server: Server, id: str, parent: Node | None = None) -> None:
        """The node with this id. Sends nothing; `parent` is kept as it is given."""
        self.server = server
        self._core = _core.Node(server._core, id)
        self._parent = parent
        self._name: str | None = None
        self._kind: tuple[int, str, bool] | None = None

    @property
    def id(self) -> str:
        """The text by which the server knows the node."""
        return self._core.id

    @property
    def parent(self) -> Node | None:
        """The node that this one was reached from; None where it was not reached from one."""
        return self._parent

    @property
    def name(self) -> str:
        """The display name."""
        if self._name is None:
            self._name = self._core.name()
        return self._name

    @property
    def path(self) -> str:
        """The display path, as far as parents are known."""
        if self._parent is None:
            return "/" if self._name is None else self._name
        return self._parent.path.rstrip("/") + "/" + self.name

    def _asked_kind(self) -> tuple[int, str, bool]:
        if self._kind is None:
            self._kind = self._core.kind()
        return self._kind

    @property
    def kind(self) -> str:
        """The server's text for the kind of the node, such as "clip"."""
        return self._asked_kind()[1]

    @property
    def type(self) -> int:
        """The server's number for the kind of the node."""
        return self._asked_kind()[0]

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Node):
            return NotImplemented
        return (self.server.host, self.id) == (other.server.host, other.id)

    def __hash__(self) -> int:
        return hash((self.server.host, self.id))

    def __reduce__(self) -> tuple[Any, ...]:
        return type(self), (self.server, self.id), {"_name": self._name, "_kind": self._kind}

    def __repr__(self) -> str:
        name = f" {self._name!r}" if self._name is not None else ""
        return f"<lantrix.{type(self).__name__} {self.id}{name} on {self.server.host}>"

    @property
    def names(self) -> list[str]:
        """The names of the children, in the server's order: one request, however many they are."""
        return self._core.child_names()

    @property
    def children(self) -> Sequence[Node]:
        """The children, as a sequence that asks about each when it is taken."""
        return _Children(self)

    def __iter__(self) -> Iterator[Node]:
        return iter(self.children)

    def __truediv__(self, path: str) -> Node:
        """The node that display names lead to from this one. Raises NotFound."""
        return at_path(self, path)

    def __getitem__(self, path: Any) -> Any:  # a clip has more to give
        return at_path(self, path)

    def child(self, name: str) -> Node:
        """The first child of this name, which may hold slashes. Raises NotFound."""
        id = self._core.find_child(name)
        if id is None:
            raise NotFound(f"{self.server.host}:7549: there is no {name!r} in {self.path!r}")
        return made_node(self.server, id, self, name=name)

    def walk(self, connections: int = 4, depth: int = 1000) -> Iterator[Node]:
        """This node and all below it, parents first, asked over several connections at once.

        What can't be asked of a node leaves the others alone; the walk raises ConnectionFailed when
        the server is lost. `depth` is the number of levels below this node.
        """
        walk = _core.Walk(self._core, connections, depth)
        above: list[Node] = []
        try:
            while (found := walk.next()) is not None:
                level, id, name, type, kind, is_clip, _, failure = found
                parent = above[level - 1] if level else self._parent
                known = (type, kind, is_clip) if failure is None else None
                node = made_node(self.server, id, parent, name=name, kind=known)
                del above[level:]
                above.append(node)
                yield node
        finally:
            walk.close()

    def find(self, pattern: str, connections: int = 4) -> Iterator[Node]:
        """The nodes below this one whose name matches a pattern as of a shell: "shot_*".

        With a slash in it, the pattern is matched against the path from here: "Reel*/shot_??".
        """
        base = len(self.path.rstrip("/")) + 1
        for node in self.walk(connections):
            text = node.path[base:] if "/" in pattern else node.name
            if node != self and fnmatch.fnmatchcase(text, pattern):
                yield node

    def create_folder(self, name: str, type: str = "folder") -> Node:
        """A new node below this one, which can have children of its own."""
        id = self._core.create_folder(name, _word(type, "type"))
        return made_node(self.server, id, self, name=name, kind=None, node_class=Node)

    def create_clip(
        self, name: str, format: Format, frames: int = 0, type: str = "clip"
    ) -> Clip:
        """A new clip below this node, of `frames` frames, whose contents are the server's.

        Raises ValueError for a format that no clip can have.
        """
        from ._clip import Clip
        from ._format import Format

        if not isinstance(format, Format):
            raise TypeError("format is a lantrix.Format")
        import dataclasses

        fields = dataclasses.astuple(format)
        id = self._core.create_clip(name, fields, _word(type, "type"), _count(frames))
        clip = made_node(self.server, id, self, name=name, node_class=Clip)
        assert isinstance(clip, Clip)
        return clip

    def destroy(self) -> None:
        """Destroys the node on the server, with all that is below it."""
        self._core.destroy()

    @property
    def metadata(self) -> Metadata:
        """The metadata of the node: a mapping from names to texts, asked anew every time."""
        return Metadata(self)

    def _repr_html_(self) -> str:
        names = self.names
        rows = "".join(f"<li>{html.escape(name)}</li>" for name in names[:100])
        more = f"<p>and {len(names) - 100} more</p>" if len(names) > 100 else ""
        title = html.escape(self.path)
        return f"<b>{title}</b> on {html.escape(self.server.host)}<ul>{rows}</ul>{more}"


class _Children(Sequence[Node]):
    def __init__(self, node: Node) -> None:
        self._node = node

    def __len__(self) -> int:
        return self._node._core.count_children()

    @overload
    def __getitem__(self, index: int) -> Node: ...

    @overload
    def __getitem__(self, index: slice) -> list[Node]: ...

    def __getitem__(self, index: int | slice) -> Node | list[Node]:
        count = len(self)
        if isinstance(index, slice):
            return [self[i] for i in range(*index.indices(count))]
        place = index + count if index < 0 else index
        if not 0 <= place < count:
            raise IndexNotFound(f"child {index} is not among the {count} of {self._node.path!r}")
        id, name = self._node._core.child(place)
        return made_node(self._node.server, id, self._node, name=name)

    def __repr__(self) -> str:
        return f"<{len(self)} children of {self._node!r}>"


class Metadata(Mapping[str, str]):
    """The metadata of a node. Setting a name replaces its text; names hold no blanks."""

    def __init__(self, node: Node) -> None:
        self._node = node

    def __getitem__(self, name: str) -> str:
        if name not in self._node._core.stream_names():
            raise KeyNotFound(f"{self._node!r} has no metadata {name!r}")
        return self.get_text(name)

    def get_text(self, name: str, filter: str = "*", depth: int = 1) -> str:
        """The text of one name; `filter` and `depth` mean what the server makes of them."""
        return self._node._core.metadata(_word(name, "name"), _word(filter, "filter"), depth)

    def __setitem__(self, name: str, text: str) -> None:
        self._node._core.set_metadata(_word(name, "name"), text)

    def __iter__(self) -> Iterator[str]:
        return iter(self._node._core.stream_names())

    def __len__(self) -> int:
        return len(self._node._core.stream_names())

    def __repr__(self) -> str:
        return f"<metadata of {self._node!r}>"


def made_node(
    server: Server,
    id: str,
    parent: Node | None,
    *,
    name: str | None = None,
    kind: tuple[int, str, bool] | None = None,
    node_class: type[Node] | None = None,
) -> Node:
    """A Node, or a Clip where it is one; asks for the kind unless that or the class is given."""
    if node_class is None:
        from ._clip import Clip

        if kind is None:
            kind = _core.Node(server._core, id).kind()
        node_class = Clip if kind[2] else Node
    node = node_class(server, id, parent)
    node._name = name
    node._kind = kind
    return node


def at_path(start: Node, path: str) -> Node:
    """The node that names separated by slashes lead to from `start`."""
    if not isinstance(path, str):
        raise TypeError(f"a path is a string, not {type(path).__name__}")
    node = start
    for name in path.split("/"):
        if name:
            node = node.child(name)
    return node


def _word(text: str, what: str) -> str:
    if not text or any(letter.isspace() for letter in text):
        raise ValueError(f"a {what} is a text without blanks, which {text!r} is not")
    return text


def _count(number: int) -> int:
    if not 0 <= number < 2**31:
        raise ValueError(f"{number} is not a count of frames")
    return number
