#!/usr/bin/env python3
"""The server behind `lantrix web`: who gets an answer, what the answers say, and what it bears."""
import concurrent.futures
import http.client
import json
import os
import pathlib
import random
import re
import shutil
import signal
import socket
import struct
import subprocess
import sys
import time
import unittest
import urllib.parse

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from tool_case import SKIPPED, ToolCase  # noqa: E402

WIDTH, HEIGHT = 40, 24
SHAPES = {"gray8": "8x1", "rgba16": "64x4", "rgb10": "30x3", "rgb16f": "48x3", "gray32f": "32x1", "own": "12x1"}
UNPACKED = {"gray8": "<1B", "rgba16": "<4H", "rgb10": ">1I", "rgb16f": "<3e", "gray32f": "<1f"}


def pixel_of(tag, frame, x, y):
    """The samples of a pixel, from the bytes of its frame."""
    form = UNPACKED[tag]
    values = struct.unpack_from(form, frame, (y * WIDTH + x) * struct.calcsize(form))
    return [values[0] >> shift & 1023 for shift in (22, 12, 2)] if tag == "rgb10" else list(values)


def jpeg_size(data):
    """Width, height and channels, from the file's frame header."""
    place = 2
    while data[place + 1] not in (0xC0, 0xC2):
        place += 2 + int.from_bytes(data[place + 2:place + 4], "big")
    height, width, channels = struct.unpack_from(">HHB", data, place + 5)
    return width, height, channels


def gray_of(jpeg):
    import PIL.Image
    import io
    return list(PIL.Image.open(io.BytesIO(jpeg)).convert("L").getdata())


class WebServerTest(ToolCase):
    def setUp(self):
        super().setUp()
        self.seeded = random.Random(7)

    def new_clip(self, path, tag, frames):
        if path.count("/") > 1:
            self.tool("mkdir", "-p", path.rsplit("/", 1)[0])
        for i, frame in enumerate(frames):
            (self.folder / f"raw.{i:04}").write_bytes(frame)
        self.tool("put", "--raw", "--format", f"{WIDTH}x{HEIGHT}x{SHAPES[tag]}@25", "--tag", tag, "raw.####", path,
                  "-f", f"0-{len(frames) - 1}")

    def noise(self, tag, count=1):
        bits = 32 if tag == "rgb10" else int(SHAPES[tag].split("x")[0])
        return [self.seeded.randbytes(WIDTH * HEIGHT * bits // 8) for _ in range(count)]

    def serve(self, shown="/", *options, path=None):
        """Starts the page's server; what asks it needs its host, its port and its token."""
        self.web = subprocess.Popen([os.environ["LANTRIX"], "--host", self.host, "-q", "web", shown, "--listen",
                                     self.host, *options], stdout=subprocess.PIPE, text=True,
                                    env={**os.environ, "PATH": path or os.environ["PATH"]})
        self.addCleanup(self.web.stdout.close)
        self.addCleanup(self.web.wait)
        self.addCleanup(self.web.kill)
        line = self.web.stdout.readline()
        found = re.fullmatch(r"http://([\d.]+):(\d+)/([0-9a-f]{32})/#(.*)\n", line)
        self.assertIsNotNone(found, line)
        self.assertEqual(found[1], self.host)
        self.port, self.token, self.shown = int(found[2]), found[3], found[4]

    def get(self, name, /, method="GET", at=None, headers=None, **arguments):
        """Status, headers and body of one request."""
        connection = http.client.HTTPConnection(self.host, self.port, timeout=60)
        query = "?" + urllib.parse.urlencode(arguments) if arguments else ""
        connection.request(method, (at or f"/{self.token}/{name}") + query, headers=headers or {})
        reply = connection.getresponse()
        body = reply.read()
        connection.close()
        return reply.status, reply.headers, body

    def ask(self, name, /, **arguments):
        status, _, body = self.get("api/" + name, **arguments)
        self.assertEqual(status, 200, body)
        return json.loads(body)

    def id_of(self, path):
        return self.ask("resolve", path=path)["nodes"][-1]["id"]

    def test_what_serves_is_a_program_beside_the_tool(self):
        alone = pathlib.Path(shutil.copy(os.environ["LANTRIX"], self.folder / "lantrix"))
        linked = self.folder / "linked"
        linked.symlink_to(os.environ["LANTRIX"])
        self.assertIn("would serve", subprocess.run([linked, "-n", "web"], capture_output=True, text=True).stdout)
        run = subprocess.run([alone, "web"], capture_output=True, text=True)
        self.assertEqual((run.returncode, run.stdout), (1, ""))
        self.assertIn("'lantrix-web', which does this, is not installed", run.stderr)

    def connect(self):
        connection = socket.create_connection((self.host, self.port), timeout=60)
        self.addCleanup(connection.close)
        return connection

    def head(self, path):
        return f"GET {path} HTTP/1.1\r\nHost: {self.host}:{self.port}\r\n".encode()

    def assert_prompt(self):
        begun = time.monotonic()
        self.ask("ping")
        self.assertLess(time.monotonic() - begun, 8)  # the limits of those who are slow are 10

    def test_only_who_has_the_address_and_asks_from_its_page_is_answered(self):
        self.serve()
        page = f"/{self.token}/"
        host = f"{self.host}:{self.port}"
        status, headers, body = self.get("")
        self.assertEqual((status, headers["Content-Type"]), (200, "text/html; charset=utf-8"))
        self.assertIn(b"<!doctype html>", body.lower())
        self.assertTrue(headers["Content-Security-Policy"].startswith("default-src 'none'; script-src 'self';"))
        for name, value in (("X-Content-Type-Options", "nosniff"), ("Referrer-Policy", "no-referrer"),
                            ("Cache-Control", "no-store"), ("Cross-Origin-Resource-Policy", "same-origin")):
            self.assertEqual(headers[name], value)
        wrong = self.token[:-1] + ("0" if self.token[-1] != "0" else "1")
        foreign = [(path, {}, 404) for path in ("/", "/favicon.ico", f"/{wrong}/", f"/{wrong}/api/about",
                                                f"/{self.token[:-1]}/", f"/{self.token}", f"/{self.token}0/",
                                                f"//{self.token}/", page + "no.js", page + "../../etc/passwd",
                                                page + "%2e%2e/%2e%2e/etc/passwd", page + "/etc/passwd")]
        foreign += [(page, {"Host": name}, 404) for name in ("evil.example", f"evil.example:{self.port}",
                                                             self.host, f"{host}@evil.example", "")]
        foreign += [(page + "api/about", fields, 403) for fields in (
            {"Origin": "http://evil.example"}, {"Origin": "null"}, {"Origin": f"https://{host}"},
            {"Sec-Fetch-Site": "cross-site"}, {"Sec-Fetch-Site": "same-site"},
            {"Sec-Fetch-Site": "cross-site", "Sec-Fetch-Mode": "navigate", "Sec-Fetch-Dest": "document"})]
        foreign.append((page, {"Sec-Fetch-Site": "cross-site", "Sec-Fetch-Mode": "no-cors"}, 403))
        for path, fields, expected in foreign:
            with self.subTest(path=path, fields=fields):
                status, headers, body = self.get("", at=path, headers=fields)
                self.assertEqual((status, body), (expected, b""))
                self.assertIn("Content-Security-Policy", headers)
        own = ({"Origin": f"http://{host}"}, {"Sec-Fetch-Site": "same-origin"}, {"Sec-Fetch-Site": "none"})
        self.assertEqual([self.get("api/about", headers=fields)[0] for fields in own], [200, 200, 200])
        link = {"Sec-Fetch-Site": "cross-site", "Sec-Fetch-Mode": "navigate", "Sec-Fetch-Dest": "document"}
        self.assertEqual(self.get("", headers=link)[0], 200)  # which shows the other site nothing
        for method in ("PUT", "DELETE", "OPTIONS", "PATCH"):
            self.assertEqual(self.get("", method=method)[::2], (405, b""))
        self.assertEqual(self.get("api/about", method="HEAD")[::2], (200, b""))

    def test_an_address_that_others_reach_has_to_be_allowed(self):
        refused = self.run_tool("web", "--listen", "0.0.0.0")
        self.assertEqual(refused.returncode, 2)
        self.assertIn(b"pass --allow-remote to allow it", refused.stderr)
        self.assertIn(b"would serve a page", self.tool("web", "-n", "--listen", "0.0.0.0", "--allow-remote"))

    def test_open_shows_the_page_by_the_systems_program(self):
        shown = self.folder / "shown"
        opener = self.folder / "xdg-open"
        opener.write_text(f'#!/bin/sh\nprintf "%s\\n" "$*" > {shown}.new; mv {shown}.new {shown}; exec sleep 8\n')
        opener.chmod(0o755)
        self.serve("/", "--open", path=f"{self.folder}:{os.environ['PATH']}")
        deadline = time.monotonic() + 60
        while not shown.exists() and time.monotonic() < deadline:
            time.sleep(0.05)
        self.assertEqual(shown.read_text(), f"http://{self.host}:{self.port}/{self.token}/#/\n")
        self.web.terminate()
        self.assertEqual(self.web.wait(5), 0)  # it waits for nobody

    def test_the_tree_is_told_as_it_is(self):
        self.new_clip("/Library/Reel one/shot", "rgb10", self.noise("rgb10", 3))
        self.tool("mkdir", "/Library/empty")
        self.tool("meta", "set", "/Library/Reel one/shot", "note", "second\ttake, \u00fcber")
        self.serve("/Library/Reel one")
        self.assertEqual(self.shown, "/Library/Reel%20one")
        about = self.ask("about")
        nodes = self.ask("resolve", path="/Library/Reel one/shot")["nodes"]
        self.assertEqual([node["name"] for node in nodes][1:], ["Library", "Reel one", "shot"])
        self.assertEqual([node["kind"] for node in nodes], ["node", "node", "node", "clip"])
        self.assertEqual((about["rootId"], about["path"], about["protocol"]), (nodes[2]["id"], "/Library/Reel one", "2.6"))
        clip = self.ask("node", id=nodes[-1]["id"])
        self.assertEqual({key: clip[key] for key in ("frames", "width", "height", "bits", "rate", "tag", "children")},
                         {"frames": 3, "width": WIDTH, "height": HEIGHT, "bits": 30, "rate": 25, "tag": "rgb10",
                          "children": 0})
        self.assertEqual(clip["layout"], {"name": "rgb10", "channels": ["r", "g", "b"], "sample": "uint10",
                                          "maximum": 1023})
        self.assertIn("note", clip["streams"])
        self.assertEqual(self.get("api/metadata", id=clip["id"], name="note")[2].decode(), "second\ttake, \u00fcber")
        below = self.ask("children", id=nodes[1]["id"], **{"from": 1, "count": 5})
        self.assertEqual((below["total"], [node["name"] for node in below["nodes"]]), (2, ["empty"]))
        detailed = self.ask("children", id=nodes[2]["id"], details=1)["nodes"]
        self.assertEqual((detailed[0]["frames"], detailed[0]["layout"]["sample"]), (3, "uint10"))
        found = self.get("api/search", id=nodes[0]["id"], path="/", name="SHO")[2].splitlines()
        self.assertEqual([json.loads(line)["path"] for line in found], ["/Library/Reel one/shot"])
        paths = self.ask("paths", id=clip["id"], frame=1)
        self.assertEqual(paths["frameId"], clip["id"] + "-f1")
        self.assertTrue(paths["paths"][0].endswith("/nodes/" + clip["id"] + "/f1"))

    def test_failures_say_what_is_wrong(self):
        self.new_clip("/Library/own", "own", self.noise("own"))
        self.new_clip("/Library/gray", "gray8", self.noise("gray8"))
        self.serve()
        own, gray = self.id_of("/Library/own"), self.id_of("/Library/gray")
        library = self.id_of("/Library")
        for name, arguments, status, kind in (
                ("resolve", {"path": "/Library/none"}, 404, "not-found"), ("node", {"id": "n99"}, 404, "not-found"),
                ("children", {"id": "n99"}, 404, "not-found"), ("paths", {"id": gray, "frame": 1}, 404, "not-found"),
                ("image", {"id": gray, "frame": 1}, 404, "not-found"),
                ("nothing", {}, 404, "not-found"), ("node", {}, 400, "argument"), ("node", {"id": "a,b"}, 404, "not-found"),
                ("image", {"id": gray, "frame": "x"}, 400, "argument"), ("image", {"id": gray, "frame": -1}, 400, "argument"),
                ("image", {"id": library, "frame": 0}, 400, "argument"), ("image", {"id": own, "frame": 0}, 400, "argument"),
                ("image", {"id": gray, "frame": 0, "channel": "x"}, 400, "argument"),
                ("image", {"id": gray, "frame": 0, "exposure": "nan"}, 400, "argument"),
                ("samples", {"id": gray, "frame": 0, "x": WIDTH, "y": 0}, 400, "argument"),
                ("difference", {"id": gray, "frame": 0, "other": own, "otherFrame": 0}, 400, "argument"),
                ("metadata", {"id": gray, "name": "none"}, 502, "refused")):
            with self.subTest(name=name, arguments=arguments):
                told, _, body = self.get("api/" + name, **arguments)
                self.assertEqual((told, json.loads(body)["kind"]), (status, kind), body)
                self.assertTrue(json.loads(body)["error"])
        self.server.terminate()
        self.server.wait()
        status, _, body = self.get("api/children", id=library)
        self.assertEqual((status, json.loads(body)["kind"]), (502, "connection"))
        self.start_server()
        self.assertEqual(self.ask("children", id=library)["total"], 2)

    def test_samples_are_the_numbers_of_the_frame(self):
        clips = {tag: self.noise(tag)[0] for tag in UNPACKED}
        clips["rgb16f"] = struct.pack("<6e", 0.1, -2.5, 65504, float("inf"), float("-inf"), float("nan")) + clips["rgb16f"][12:]
        clips["gray32f"] = struct.pack("<2f", 0.1, 1e-40) + clips["gray32f"][8:]
        for tag, frame in clips.items():
            self.new_clip("/" + tag, tag, [frame])
        self.serve()
        for tag, frame in clips.items():
            with self.subTest(tag=tag):
                told = self.ask("samples", id=self.id_of("/" + tag), frame=0, x=0, y=HEIGHT - 2, width=64, height=64)
                self.assertEqual((told["width"], told["height"]), (WIDTH, 2))
                expected = [pixel_of(tag, frame, x, y) for y in (HEIGHT - 2, HEIGHT - 1) for x in range(WIDTH)]
                form = {"rgb16f": "<e", "gray32f": "<f"}.get(tag)
                for pixel, numbers in zip(told["values"], expected):
                    for shown, number in zip(pixel, numbers):
                        if form is None:
                            self.assertEqual(shown, number)
                        else:  # rounded to the kind of number that the frame has, it is the same
                            self.assertEqual(struct.pack(form, float(shown))[:8], struct.pack(form, number)[:8]) \
                                if number == number else self.assertEqual(shown, "nan")
        first = self.ask("samples", id=self.id_of("/rgb16f"), frame=0, x=0, y=0, width=2)["values"]
        self.assertEqual(first, [[0.1, -2.5, 65500], ["inf", "-inf", "nan"]])
        self.assertEqual(self.ask("samples", id=self.id_of("/gray32f"), frame=0, x=0, y=0)["values"], [[0.1]])

    def test_pictures_show_the_frame(self):
        half = struct.pack("<3e", 0.25, 1, 0) * (WIDTH * HEIGHT)
        flat = bytes([200]) * (WIDTH * HEIGHT)
        marked = bytearray(flat)
        marked[5 * WIDTH + 7] = 190
        self.new_clip("/half", "rgb16f", [half])
        self.new_clip("/flat", "gray8", [flat, bytes(marked)])
        self.serve()
        half_id, flat_id = self.id_of("/half"), self.id_of("/flat")
        status, headers, whole = self.get("api/image", id=half_id, frame=0)
        self.assertEqual((status, headers["Content-Type"], jpeg_size(whole)), (200, "image/jpeg", (WIDTH, HEIGHT, 3)))
        self.assertEqual([headers["Lantrix-" + name] for name in ("Width", "Height", "Frames")], ["40", "24", "1"])
        self.assertEqual(jpeg_size(self.get("api/image", id=half_id, frame=0, width=10)[2]), (10, 6, 3))
        red = self.get("api/image", id=half_id, frame=0, channel="r")[2]
        brighter = self.get("api/image", id=half_id, frame=0, channel="r", exposure=1)[2]
        self.assertEqual(jpeg_size(red), (WIDTH, HEIGHT, 1))
        _, headers, difference = self.get("api/difference", id=flat_id, frame=0, other=flat_id, otherFrame=1, gain=20)
        self.assertEqual((headers["Lantrix-Largest"], headers["Lantrix-Differing"]), ("10", "1"))
        try:
            grays = [gray_of(jpeg) for jpeg in (red, brighter, self.get("api/image", id=flat_id, frame=0)[2], difference)]
        except ImportError:
            return
        for pixels, expected in zip(grays, (137, 188, 200)):  # linear 0.25 and 0.5 on a screen, and a byte as it is
            self.assertLessEqual(max(abs(pixel - expected) for pixel in pixels), 2)
        self.assertEqual(grays[3].index(max(grays[3])), 5 * WIDTH + 7)
        self.assertLess(min(grays[3]), 20)

    def test_nobody_is_hurt_by_those_who_are_slow_or_hostile(self):
        self.new_clip("/clip", "rgba16", self.noise("rgba16", 2))
        self.serve()
        clip = self.id_of("/clip")
        image = self.head(f"/{self.token}/api/image?id={clip}&frame=0")
        stalled = [self.connect() for _ in range(300)]
        for connection in stalled[:150]:
            connection.sendall(image)  # and no end of it
        self.assert_prompt()
        page = self.head(f"/{self.token}/") + b"\r\n"
        times = 2000000 // len(self.get("")[2])  # more than the system keeps of what is sent
        slow = [self.connect() for _ in range(130)]
        for connection in slow:
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
            connection.sendall(page * times)  # and reads nothing
        self.assert_prompt()
        garbage = [self.seeded.randbytes(3000), b"\r\n" * 500, b"GET " + b"/" * 50000, image + b"X: y\r\n" * 5000,
                   image + b"Range: bytes=" + b"0-1," * 1500 + b"\r\n\r\n", b"GET / HTTP/1.1\r\nHost\r\n\r\n",
                   image + b"Content-Length: 99999999999\r\n\r\n" + image, image + b"Transfer-Encoding: chunked\r\n\r\nzz",
                   b"\x16\x03\x01\x02\x00\x01\x00", self.head("/%00%ff%") + b"\r\n"]
        for sent in garbage * 3:
            connection = self.connect()
            try:
                connection.sendall(sent)
                connection.shutdown(socket.SHUT_WR)
                while connection.recv(65536):
                    pass
            except OSError:
                pass  # it may be cut off
        self.assert_prompt()
        self.assertIsNone(self.web.poll())
        with concurrent.futures.ThreadPoolExecutor(100) as tabs:
            statuses = list(tabs.map(lambda i: self.get("api/image", id=clip, frame=i % 2, width=20)[0], range(300)))
        self.assertEqual(set(statuses), {200})

    def test_what_nobody_waits_for_any_more_is_not_read(self):
        self.new_clip("/clip", "gray8", self.noise("gray8", 100))
        self.serve("/", "-j", "2")
        clip = self.id_of("/clip")
        self.get("api/image", id=clip, frame=0)
        self.server.send_signal(signal.SIGSTOP)
        waiting = [self.connect() for _ in range(90)]
        for i, connection in enumerate(waiting):
            connection.sendall(self.head(f"/{self.token}/api/image?id={clip}&frame={i + 1}&width=20") + b"\r\n")
        time.sleep(0.5)
        for connection in waiting:
            connection.close()
        time.sleep(0.5)
        self.server.send_signal(signal.SIGCONT)
        time.sleep(0.5)
        self.get("api/image", id=clip, frame=99)
        self.assertLess(self.ask("statistics")["frames"], 15)  # 2 connections, and a few more at work

    def test_it_ends_at_once_with_all_its_connections(self):
        self.new_clip("/clip", "gray8", self.noise("gray8", 4))
        self.serve()
        clip = self.id_of("/clip")
        self.server.send_signal(signal.SIGSTOP)
        self.addCleanup(self.server.send_signal, signal.SIGCONT)
        for i in range(20):
            self.connect().sendall(self.head(f"/{self.token}/api/image?id={clip}&frame={i % 4}") + b"\r\n"[:i % 3])
        time.sleep(0.3)
        begun = time.monotonic()
        self.web.send_signal(signal.SIGTERM)
        self.assertEqual(self.web.wait(60), 0)
        self.assertLess(time.monotonic() - begun, 5)  # a second, where the machine is not busy


if __name__ == "__main__":
    program = unittest.main(exit=False, verbosity=2)
    if program.result.testsRun == len(program.result.skipped):
        sys.exit(SKIPPED)
    sys.exit(not program.result.wasSuccessful())
