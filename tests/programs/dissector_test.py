#!/usr/bin/env python3
"""What tshark shows with dissector/lantrix.lua, compared with the bytes that were sent.

Captures are written here, packet by packet, so that each split and each broken message is exact.
Status 77, which is a skipped test, where there is no tshark.
"""
import json
import pathlib
import random
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from tool_case import SKIPPED, ToolCase  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parents[2]
DISSECTOR = ROOT / "dissector" / "lantrix.lua"
COMMANDS, FRAMES = 7549, 7550


class Capture:
    """A file of raw IP packets; each connection keeps its sequence numbers."""

    def __init__(self, path):
        self.path = path
        self._file = open(path, "wb")
        self._file.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 262144, 101))
        self._seconds = 0
        self._next = {}

    def packet(self, port, from_client, data, captured=None, client=40000):
        """Writes `data` as one segment, of which `captured` bytes are in the file."""
        end = (port, client, from_client)
        here, there = self._next.get(end, 1), self._next.get((port, client, not from_client), 1)
        self._next[end] = here + len(data)
        source, target = (client, port) if from_client else (port, client)
        tcp = struct.pack("!HHIIBBHHH", source, target, here, there, 5 << 4, 0x18, 65535, 0, 0)
        address = socket_address(from_client)
        ip = struct.pack("!BBHHHBBH8s", 0x45, 0, 40 + len(data), 0, 0, 64, 6, 0, address)
        kept = ip + tcp + data[:captured]
        self._file.write(struct.pack("<IIII", self._seconds, 0, len(kept), 40 + len(data)) + kept)
        self._seconds += 1

    def send(self, port, from_client, data, size=None, client=40000):
        """Writes a message in segments of `size` bytes, or whole."""
        step = size or len(data)
        for at in range(0, len(data), step):
            self.packet(port, from_client, data[at:at + step], client=client)

    def close(self):
        self._file.close()


def socket_address(from_client):
    client, server = b"\x7f\0\0\1", b"\x7f\0\0\2"
    return client + server if from_client else server + client


def tshark(capture):
    return ["tshark", "-n", "-2", "-r", str(capture), "-X", f"lua_script:{DISSECTOR}"]


def shown(capture):
    """Each packet in which tshark found a message, as its fields and their values."""
    names = [argument for name in FIELDS for argument in ("-e", name)]
    done = subprocess.run([*tshark(capture), "-Y", "lantrix", "-T", "json", *names],
                          capture_output=True, check=True, timeout=100)
    packets = [packet["_source"]["layers"] for packet in json.loads(done.stdout)]
    return [{name.replace("lantrix.", ""): exact(name, values) for name, values in packet.items()}
            for packet in packets]


def exact(name, values):
    """Numbers of 32 bits have more digits than what was sent."""
    return [f"{float(value):.6g}" for value in values] if name.endswith(("ratio", "rate")) else values


FIELDS = ["_ws.malformed", "_ws.lua.text"]
FIELDS += re.findall(r'Proto(?:Field\.\w+|Expert\.new)\("(.*?)"', DISSECTOR.read_text())
FORMAT = {"format.width": ["4"], "format.height": ["2"], "format.bits_per_pixel": ["24"],
          "format.channels": ["3"], "format.buffer_size": ["24"], "format.pixel_ratio": ["1"],
          "format.rate": ["29.97"], "format.tag": ["rgb8"], "format.scan": ["4"],
          "format.metadata_tag": ["none"]}

# A request, the fields that it has, its reply, and the fields of that.
OPERATIONS = [
    (rb'Ping ', {}, rb'ok ', {}),
    (rb'QueryVersion ', {}, rb'ok 2 6', {"version.major": ["2"], "version.minor": ["6"]}),
    (rb'Shutdown ', {}, rb'ok ', {}),
    (rb'TranslatePaths "a b" 2 "c" 3 "/a/b","/c d"',
     {"host": ["a b", "c"], "os": ["2", "3"], "path": ["/a/b", "/c d"]},
     rb'ok \\a\\b,\\c d', {"path": [r"\a\b", r"\c d"]}),
    (rb'GetRootNode ', {}, rb'ok n0', {"node": ["n0"]}),
    (rb'GetChildren n0', {"node": ["n0"]}, rb'ok n1,One 1,n2,,n3,Three',
     {"node": ["n1", "n2", "n3"], "name": ["One 1", "", "Three"]}),
    (rb'GetChildren n3', {"node": ["n3"]}, rb'ok ', {}),
    (rb'GetNodeType n2', {"node": ["n2"]}, rb'ok 1 -7', {"kind": ["1"], "node_type": ["-7"]}),
    (rb'GetNodeTypeStr n2', {"node": ["n2"]}, rb'ok Clip', {"node_type": ["Clip"]}),
    (rb'GetDisplayName n2', {"node": ["n2"]}, rb'ok a\tb', {"name": ["a\tb"]}),
    (rb'CreateNode n0 "Shot "1" 2" 1 clip',
     {"parent": ["n0"], "name": ['Shot "1" 2'], "kind": ["1"], "node_type": ["clip"]},
     rb'ok n9', {"node": ["n9"]}),
    (rb'DestroyNode n9', {"node": ["n9"]}, rb'ok ', {}),
    (rb'AllocateFrames n2 3 4 2 24 3 24 1 29.97 rgb8 4 none "take \\"2\\" \n"',
     {**FORMAT, "node": ["n2"], "count": ["3"], "format.metadata": ['take "2" \n']},
     rb'ok f0,f1,f2', {"frame": ["f0", "f1", "f2"]}),
    (rb'AllocateFrames n2 0 4 2 24 3 24 1 29.97  4  ""',
     {**FORMAT, "node": ["n2"], "count": ["0"], "format.tag": [""], "format.metadata_tag": [""],
      "format.metadata": [""]}, rb'ok ', {}),
    (rb'GetFrames n2', {"node": ["n2"]}, rb'ok f0', {"frame": ["f0"]}),
    (rb'GetFramePaths n2 h 0 unknown',
     {"node": ["n2"], "host": ["h"], "os": ["0"], "os_version": ["unknown"]},
     rb'ok /a b,/c', {"path": ["/a b", "/c"]}),
    (rb'SetFramePaths n2 /a b,/c h 0 unknown 4 2 24 3 24 1 29.97 rgb8 4 none "x y \\"z\\" 1"',
     {**FORMAT, "node": ["n2"], "path": ["/a b", "/c"], "host": ["h"], "os": ["0"],
      "os_version": ["unknown"], "format.metadata": ['x y "z" 1']}, rb'ok ', {}),
    (rb'GetClipFormat n2', {"node": ["n2"]}, rb'ok 4 2 24 3 24 1 29.97 rgb8 4 none take "2"',
     {**FORMAT, "format.metadata": ['take "2"']}),
    (rb'QueryMetaDataSupport n2', {"node": ["n2"]}, rb'ok notes,xml', {"stream": ["notes", "xml"]}),
    (rb'GetMetaData n2 notes  0', {"node": ["n2"], "stream": ["notes"], "filter": [""], "depth": ["0"]},
     rb'ok a\tb\n\\c "d"', {"text": ['a\tb\n\\c "d"']}),
    (rb'SetMetaData n2 notes "a\tb\n\\\\c \\"d\\""', {"node": ["n2"], "stream": ["notes"], "text": ['a\tb\n\\c "d"']},
     rb'ok ', {}),
    (rb'QueryNodePlugInVendor ', {}, rb'ok V', {"text": ["V"]}),
    (rb'QueryNodePlugInProduct ', {}, rb'ok P 1', {"text": ["P 1"]}),
    (rb'QueryNodePlugInVersion ', {}, rb'ok 1 2', {"version.major": ["1"], "version.minor": ["2"]}),
    (rb'GetStorageId ', {}, rb'ok s-1', {"storage": ["s-1"]}),
    (rb'GetChildren nope', {"node": ["nope"]}, rb'error There is no node', {"error": ["There is no node"], "refused": ["1"]}),
]

PIXELS = bytes(range(24))
# The same of the frame connection.
FRAME_OPERATIONS = [
    (b"WriteFrame\0f0\x0024\0" + PIXELS, {"frame": ["f0"], "size": ["24"], "data": [PIXELS.hex()]},
     b"\0", {"success": ["1"]}),
    (b"ReadFrame\0f0\x0024\0", {"frame": ["f0"], "size": ["24"]},
     b"\0" + PIXELS, {"success": ["1"], "data": [PIXELS.hex()]}),
    (b"ReadAhead\0f2\x0024\0", {"frame": ["f2"], "size": ["24"]}, None, None),
    (b"ReadFrame\0nope\x0024\0", {"frame": ["nope"], "size": ["24"]},
     b"No such frame\0", {"success": ["0"], "error": ["No such frame"], "refused": ["1"]}),
    (b"ReadFrame\0f1\x0024\0", {"frame": ["f1"], "size": ["24"]},
     bytes(25), {"success": ["1"], "data": [bytes(24).hex()]}),
]

# Messages that no grammar allows, on a connection of their own each, and the note that they get.
BROKEN = [
    (COMMANDS, True, b"GET / HTTP/1.1\r\n", "malformed"),
    (COMMANDS, True, b"sync zero Ping \n", "malformed"),
    (COMMANDS, True, b"sync 0 CreateNode n0 Shot 1 clip\n", "malformed"),
    (COMMANDS, True, b"sync 0 AllocateFrames n2 many 4 2 24 3 24 1 30 rgb8 4 none \"\"\n", "malformed"),
    (COMMANDS, True, b'sync 0 SetMetaData n2 notes "a"b"\n', "malformed"),
    (COMMANDS, True, b"sync 0 GetChildren n0\\\n", "malformed"),
    (COMMANDS, True, b"sync 0 GetChildren n\x000\n", "malformed"),
    (COMMANDS, True, b"sync 0 GetChildern n0\n", "unknown_method"),
    (COMMANDS, True, b"sync 0 Ping \n", "unanswered"),
    (COMMANDS, False, b"ok 2 6\n", "unasked"),
    (COMMANDS, False, b"ok\n", "malformed"),
    (FRAMES, True, b"EraseFrame\0f0\x0024\0", "malformed"),
    (FRAMES, True, b"ReadFrame\0f0\0many\0", "malformed"),
    (FRAMES, False, b"\0", "unasked"),
]

GENERATED = {"type", "id", "method", "value", "code", "success", "reply_in", "request_in",
             "time", "frame", "data.size"}


def arguments(packet, expected):
    """What a packet shows, less what every packet has."""
    return {name: values for name, values in packet.items() if name not in GENERATED or name in expected}


class DissectorTest(unittest.TestCase):
    maxDiff = None

    def new_capture(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        return Capture(pathlib.Path(folder.name) / "session.pcap")

    def expect_operations(self, port, operations, size):
        capture = self.new_capture()
        expected = []
        for request, asked, reply, answered in operations:
            method = re.split(b"[ \0]", request)[2 if port == COMMANDS else 0].decode()
            capture.send(port, True, request, size)
            expected.append({"method": [method], **asked})
            if reply is not None:
                capture.send(port, False, reply, size)
                expected.append({"method": [method], **answered})
        capture.close()
        packets = shown(capture.path)
        self.assertEqual([arguments(*pair) for pair in zip(packets, expected)], expected)
        self.assertEqual(len(packets), len(expected))
        return packets

    def test_every_method_shows_what_was_sent(self):
        operations = [(b"sync 0 " + request + b"\n", asked, reply + b"\n", answered)
                      for request, asked, reply, answered in OPERATIONS]
        for size in (None, 1, 7):
            with self.subTest(bytes_of_a_segment=size):
                packets = self.expect_operations(COMMANDS, operations, size)
                self.assertEqual({packet["type"][0] for packet in packets[::2]}, {"sync"})

    def test_every_frame_message_shows_what_was_sent(self):
        for size in (None, 1, 7):
            with self.subTest(bytes_of_a_segment=size):
                packets = self.expect_operations(FRAMES, FRAME_OPERATIONS, size)
                # A clock of a second for each packet: what a reply took to come is seen in whole ones.
                if size is None:
                    self.assertEqual((packets[0]["reply_in"], packets[1]["request_in"]), (["2"], ["1"]))
                    self.assertEqual(packets[1]["time"], ["1.000000000"])

    def test_broken_messages_say_so(self):
        capture = self.new_capture()
        for number, (port, is_request, data, _) in enumerate(BROKEN):
            capture.send(port, is_request, data, client=40000 + number)
        capture.close()
        packets = shown(capture.path)
        self.assertEqual(len(packets), len(BROKEN))
        for packet, (_, _, data, name) in zip(packets, BROKEN):
            self.assertIn(name, packet, data)
            self.assertEqual("malformed" in packet, name == "malformed", data)

    def test_frames_that_were_cut_out_are_counted(self):
        capture = self.new_capture()
        head = b"WriteFrame\0f0\x0060\0"
        capture.packet(FRAMES, True, head + bytes(20), captured=len(head))
        capture.packet(FRAMES, True, bytes(40), captured=1)
        capture.send(FRAMES, False, b"\0")
        capture.send(FRAMES, True, b"ReadFrame\0f0\x0060\0")
        capture.packet(FRAMES, False, bytes(61), captured=1)
        capture.close()
        packets = shown(capture.path)
        self.assertEqual([packet.get("data.size") for packet in packets],
                         [["20"], ["40"], None, None, ["60"]])
        self.assertEqual([packet.get("frame") for packet in packets], [["f0"], None, ["f0"], ["f0"], ["f0"]])
        self.assertEqual([packet for packet in packets if "malformed" in packet], [])

    def test_garbage_is_no_error_of_the_dissector(self):
        seeded = random.Random(11)
        pieces = [b"sync 0 " + operation[0] + b"\n" for operation in OPERATIONS]
        pieces += [part for _, _, reply, _ in OPERATIONS for part in (reply + b"\n",)]
        pieces += [part for request, _, reply, _ in FRAME_OPERATIONS for part in (request, reply) if part]
        capture = self.new_capture()
        for number in range(2000):
            data = bytearray(b"".join(seeded.choices(pieces, k=seeded.randint(1, 3))))
            for _ in range(seeded.randint(0, 4)):
                at = seeded.randrange(len(data))
                data[at:at + seeded.randint(0, 3)] = seeded.randbytes(seeded.randint(0, 3))
                data = data or bytearray(1)
            capture.send(seeded.choice((COMMANDS, FRAMES)), seeded.random() < 0.6, bytes(data),
                         seeded.choice((None, 5, 30)), 40000 + number // 8)
        capture.close()
        done = subprocess.run([*tshark(capture.path), "-V"], capture_output=True, check=True, timeout=100)
        self.assertEqual(re.findall(rb"Lua Error.*", done.stdout), [])
        self.assertGreater(done.stdout.count(b"Request: "), 500)


class CaptureTest(ToolCase):
    def test_a_capture_of_the_tool_shows_its_session(self):
        frame = bytes(range(1, 97))
        (self.folder / "clip.0").write_bytes(frame)
        put = ("put", "--raw", "--format", "8x4x24", "clip.#", "/clip")
        self.tool("--capture", "put.pcap", *put)
        cat = ("cat", "/clip", "--raw", "--capture-frames")
        self.assertEqual(self.tool("--capture", "cat.pcap", *cat), frame)
        self.assertNotIn(frame[20:], (self.folder / "put.pcap").read_bytes())
        for file, method, expected in (
                ("put", "AllocateFrames", {"count": ["1"], "format.width": ["8"], "reply_in": None}),
                ("put", "WriteFrame", {"size": ["96"], "data.size": ["96"], "data": None}),
                ("cat", "ReadFrame", {"data": [frame.hex()], "time": None})):
            packets = shown(self.folder / f"{file}.pcap")
            merged = {name: values for packet in packets if packet.get("method") == [method]
                      for name, values in packet.items()}
            for name, values in expected.items():
                self.assertEqual(merged.get(name, []) if values else name in merged,
                                 values or name != "data", (file, method, name))
            notes = ("malformed", "unanswered", "unasked", "unknown_method", "_ws.malformed")
            self.assertEqual([packet for packet in packets if set(notes) & set(packet)], [])
        done = subprocess.run([*tshark(self.folder / "cat.pcap"), "-o", "tcp.check_checksum:TRUE", "-o",
                               "ip.check_checksum:TRUE", "-Y", "tcp.checksum.status == 0 || "
                               "ip.checksum.status == 0 || tcp.analysis.flags"],
                              capture_output=True, check=True, timeout=100)
        self.assertEqual(done.stdout, b"")


if __name__ == "__main__":
    if not shutil.which("tshark"):
        print("skipped: there is no tshark")
        sys.exit(SKIPPED)
    unittest.main()
