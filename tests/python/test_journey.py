"""What programs do with servers, nodes and clips, and how it fails."""

import logging
import pickle
from collections.abc import Callable
from pathlib import Path

import numpy
import pytest
from conftest import start_server

import lantrix


def test_server_tells_about_itself(server: lantrix.Server, daemon: str) -> None:
    server.ping()
    assert (server.vendor, server.product, server.protocol) == ("Acme", "lantrixd", (2, 6))
    assert server.storage_id and server.version >= (0, 0)
    assert server.translate_paths(["/a", "/b"]) == ["/a", "/b"]
    assert repr(server) == f"lantrix.Server({daemon!r})"


def test_tree_is_walked_and_edited(server: lantrix.Server, folder: lantrix.Node) -> None:
    reel = folder.create_folder("Reel")
    format = lantrix.Format.of(numpy.zeros((4, 4), numpy.uint8), rate=25)
    for name in ("shot_b", "shot_a", "bläh"):
        reel.create_clip(name, format, frames=2)
    again = server[f"/{folder.name}/Reel"]
    assert again == reel and again.parent == folder and again.kind == "folder"
    assert [child.name for child in again] == again.names == ["shot_b", "shot_a", "bläh"]
    assert isinstance(again / "shot_a", lantrix.Clip) and again.children[-1].name == "bläh"
    assert [node.name for node in folder.walk()][:3] == [folder.name, "Reel", "shot_b"]
    assert [node.path for node in folder.find("*/shot_?")] == [
        f"/{folder.name}/Reel/shot_b", f"/{folder.name}/Reel/shot_a"]
    assert [node.name for node in folder.find("shot_[ab]")] == ["shot_b", "shot_a"]
    (again / "shot_b").destroy()
    assert server[f"{folder.name}/Reel"].names == ["shot_a", "bläh"]
    assert "<li>bläh</li>" in server[f"{folder.name}/Reel"]._repr_html_()


def test_metadata_is_a_mapping(folder: lantrix.Node) -> None:
    folder.metadata["note"] = "two\nlines, \udcff"  # a byte that is not UTF-8
    assert dict(folder.metadata) == {"note": "two\nlines, \udcff"}
    with pytest.raises(KeyError, match="has no metadata 'other'"):
        folder.metadata["other"]
    with pytest.raises(ValueError, match="without blanks"):
        folder.metadata["a b"] = ""


SHAPES = [(6, 8), (6, 8, 2), (6, 8, 3), (6, 8, 4)]


@pytest.mark.parametrize("dtype", ["uint8", "uint16", "float16", "float32"])
@pytest.mark.parametrize("shape", SHAPES)
def test_layouts_there_and_back(
    folder: lantrix.Node, shape: tuple[int, ...], dtype: str
) -> None:
    frames = (numpy.random.default_rng(7).random((3, *shape)) * 255).astype(dtype)
    clip = folder.create_clip("shot", lantrix.Format.of(frames[0]), frames=3)
    clip[1] = frames[1]
    assert clip.format.dtype == dtype and clip.format.shape == shape == clip[1].shape
    numpy.testing.assert_array_equal(clip[1], frames[1])
    assert clip.raw(1) == frames[1].tobytes()
    clip.write(frame[::-1] for frame in frames)  # not contiguous
    for index, frame in clip.frames(connections=2):
        numpy.testing.assert_array_equal(frame, frames[index][::-1])


def test_ten_bits_are_numbers_to_1023(folder: lantrix.Node) -> None:
    format = lantrix.Format(2, 1, 30, 3, 8, tag="rgb10")
    clip = folder.create_clip("ten", format, frames=1)
    pixels = numpy.array([[[1023, 512, 1], [0, 1, 2]]], numpy.uint16)
    clip[0] = pixels
    assert clip.raw(0) == bytes.fromhex("FFE00004 00001008")
    numpy.testing.assert_array_equal(clip[0], pixels)
    clip.write([pixels])
    numpy.testing.assert_array_equal(next(clip.frames())[1], pixels)
    with pytest.raises(lantrix.BadFrame, match="1024.*10 bits"):
        clip[0] = pixels + 1


def test_clip_is_a_sequence(clip: lantrix.Clip) -> None:
    assert len(clip) == 20 == len(clip.frame_ids) == len(clip.frame_paths)
    assert [frame[0, 0, 0] for frame in clip[2:9:3]] == [2, 5, 8]
    lazy = clip[0:20:2]
    assert isinstance(lazy, lantrix.Frames) and len(lazy) == 10
    assert lazy[-1].max() == clip[-2].max() == 18 and len(lazy[3:5]) == 2
    assert [i for i, frame in clip.frames([3, -1, 3]) if frame.min() == i] == [3, 19, 3]
    kept = list(clip.frames(ahead=0, connections=1))  # all at once: none is overwritten
    assert [frame.min() for _, frame in kept] == list(range(20))
    for index in (20, -21, 2**40, -(2**70)):
        with pytest.raises(IndexError):
            clip[index]
        with pytest.raises(IndexError, match=f"frame {index}"):
            clip.read_into(index, clip[0])
    clip.resize(5)
    assert len(clip) == 5 and clip[4].max() == 4
    assert clip.write(clip[0:2], start=4) == 2 and len(clip) == 6


def test_read_into_takes_what_fits(clip: lantrix.Clip) -> None:
    out = numpy.zeros((6, 8, 3), numpy.uint8)
    clip.read_into(7, out)
    assert (out == 7).all()
    plain = bytearray(144)
    clip.read_into(3, plain)
    assert plain == bytes([3]) * 144
    wrong = [
        (numpy.zeros((6, 8, 3), numpy.int8), "int8"),
        (numpy.zeros((8, 6, 3), numpy.uint8), r"\(8, 6, 3\)"),
        (bytearray(143), "143 bytes"),
        (numpy.zeros((12, 8, 3), numpy.uint8)[::2], "contiguous"),
        (numpy.frombuffer(bytes(144), numpy.uint8).reshape(6, 8, 3), "read-only|writable"),
    ]
    for target, message in wrong:
        with pytest.raises((ValueError, BufferError), match=message):
            clip.read_into(0, target)
    for bad in (out.astype(">u2"), out[..., :2], out[0]):
        with pytest.raises(lantrix.BadFrame):
            clip[0] = bad
    with pytest.raises(lantrix.BadFrame, match="not a frame"):
        lantrix.Format.of(out[None])


def test_unknown_layouts_move_raw(folder: lantrix.Node) -> None:
    clip = folder.create_clip("odd", lantrix.Format(2, 2, 40, 5, 20, tag="lab8x"), frames=1)
    clip.write_raw(0, bytes(range(20)))
    assert clip.raw(0) == bytes(range(20))
    with pytest.raises(lantrix.BadFrame, match="'lab8x' is not known"):
        clip[0]
    assert "lab8x" in clip._repr_html_()


def test_frames_can_be_linked(clip: lantrix.Clip, tmp_path: Path) -> None:
    (tmp_path / "f.raw").write_bytes(bytes(range(144)))
    clip.link([str(tmp_path / "f.raw")])
    assert len(clip) == 1 and clip.raw(0) == bytes(range(144))


def test_notebook_sees_a_sheet(clip: lantrix.Clip) -> None:
    sheet = clip.sheet(count=4, columns=2, width=8)
    assert sheet.shape == (24, 28, 3) and sheet[14 + 4, 16 + 4, 0] == 15
    assert "data:image/png;base64," in clip._repr_html_() and "8x6x24x3" in clip._repr_html_()


def test_pickles_connect_anew(clip: lantrix.Clip) -> None:
    for protocol in range(pickle.HIGHEST_PROTOCOL + 1):
        copy = pickle.loads(pickle.dumps(clip, protocol))
        assert copy == clip and copy.server is not clip.server and copy[5].max() == 5


def test_failures_have_their_types(
    server: lantrix.Server, folder: lantrix.Node, daemon: str, tmp_path: Path
) -> None:
    with pytest.raises(LookupError, match=f"{daemon}:7549: there is no 'x' in '/"):
        folder / "x/y"
    with pytest.raises(lantrix.Refused, match=f"{daemon}:7549: "):
        lantrix.Node(server, "n999999").names
    with pytest.raises(ConnectionError, match="127.77.255.254:7549: Can't open connection"):
        lantrix.Server("127.77.255.254").ping()
    with lantrix.Server(daemon) as closed:
        root = closed.root
    uses: list[Callable[[], object]] = [
        closed.ping, lambda: root.names, lambda: list(root.walk()), lambda: closed.root]
    for use in uses:
        with pytest.raises(lantrix.Error, match="has been closed"):
            use()
    old = start_server(tmp_path, "127.78" + daemon[6:], "--protocol", "2.4")
    try:
        with pytest.raises(lantrix.ProtocolTooOld, match="not supported"):
            lantrix.Server("127.78" + daemon[6:]).root.metadata["note"] = "text"
    finally:
        old.terminate()
        old.wait()


def test_log_goes_to_logging(caplog: pytest.LogCaptureFixture) -> None:
    with caplog.at_level(logging.DEBUG, "lantrix"), pytest.raises(lantrix.ConnectionFailed):
        lantrix.Server("127.77.255.254").ping()
    assert all(record.name == "lantrix" for record in caplog.records)
