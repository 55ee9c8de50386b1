#!/usr/bin/env python3
"""A mounted tree, as other programs see it: what they read, and how it behaves when things fail.

Status 77, a skipped test, where nothing can be mounted. LANTRIX_MOUNT_SECONDS makes the comparison
with a plain folder last longer.
"""
import concurrent.futures
import errno
import json
import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from tool_case import SKIPPED, ToolCase  # noqa: E402

try:
    import numpy
except ImportError:
    numpy = None
try:
    import PIL.Image
except ImportError:
    PIL = None

WIDTH, HEIGHT, FRAMES = 48, 27, 12
SHAPES = {"rgb8": "24x3", "rgba16": "64x4", "rgb10": "30x3", "gray32f": "32x1", "own": "12x1"}
KINDS = {"rgb8": "tif", "rgba16": "tif", "rgb10": "dpx", "gray32f": "exr", "own": "raw"}


def needs(program):
    return unittest.skipUnless(shutil.which(program), f"{program} is not installed")


def error_of(work):
    """The number of the error that this ends in; 0 when it does not."""
    try:
        work()
    except OSError as error:
        return error.errno
    return 0


def wait_for(condition, seconds=60):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError("it has not come about")
        time.sleep(0.02)


class MountTest(ToolCase):
    def setUp(self):
        super().setUp()
        self.seeded = random.Random(5)
        self.mounted = self.folder / "mounted"
        self.mounted.mkdir()

    def new_clip(self, tag, path, frames=FRAMES):
        """A clip without a pattern, and its frames' bytes."""
        bits = SHAPES[tag]
        size = WIDTH * HEIGHT * (32 if tag == "rgb10" else int(bits.split("x")[0])) // 8
        data = [self.seeded.randbytes(size) for _ in range(frames)]
        if tag == "rgb10":  # the last two bits of a word hold nothing
            data = [bytes(b & 0xFC if i % 4 == 3 else b for i, b in enumerate(frame)) for frame in data]
        for i, frame in enumerate(data):
            (self.folder / f"raw.{i:04}").write_bytes(frame)
        if path.rsplit("/", 1)[0]:
            self.tool("mkdir", "-p", path.rsplit("/", 1)[0])
        self.tool("put", "--raw", "--format", f"{WIDTH}x{HEIGHT}x{bits}", "--tag", tag, "raw.####", path)
        for i in range(frames):
            (self.folder / f"raw.{i:04}").unlink()
        return data

    def mount(self, *options, address="/"):
        """Mounts, and gives the process."""
        self.log = open(self.folder / "mount.log", "a+")
        self.addCleanup(self.log.close)
        process = subprocess.Popen([os.environ["LANTRIX"], "--host", self.host, "mount", address, self.mounted,
                                    *options], stderr=self.log)
        self.addCleanup(self.unmount, process)
        wait_for(lambda: os.path.ismount(self.mounted) or process.poll() is not None)
        self.assertIsNone(process.poll(), self.told())
        return process

    def unmount(self, process):
        if process.poll() is None:
            process.kill()
        process.wait()
        while subprocess.run(["fusermount3", "-uzq", self.mounted], stderr=subprocess.DEVNULL).returncode == 0:
            pass  # one may lie above another

    def told(self):
        return (self.folder / "mount.log").read_text()

    def assert_ended(self, process):
        self.assertEqual(process.wait(60), 0, self.told())
        self.assertFalse(os.path.ismount(self.mounted))

    def run_program(self, *words):
        return subprocess.run(words, cwd=self.folder, capture_output=True, check=True, timeout=100).stdout

    def test_each_clip_is_a_folder_of_files_that_hold_its_frames(self):
        clips = {tag: self.new_clip(tag, f"/Library/{tag}") for tag in SHAPES}
        self.tool("meta", "set", "/Library/rgb8", "note", "second take")
        self.mount()
        library = self.mounted / "Library"
        self.assertEqual(sorted(os.listdir(library)), sorted(SHAPES))
        for tag, frames in clips.items():
            with self.subTest(tag=tag):
                names = [f"{tag}.{i:04}.{KINDS[tag]}" for i in range(FRAMES)]
                self.assertEqual(sorted(os.listdir(library / tag)), sorted([*names, "clip.json"]))
                for name, frame in zip(names, frames):
                    file = library / tag / name
                    data = file.read_bytes()
                    self.assertEqual(file.stat().st_size, len(data))
                    self.assertTrue(tag == "gray32f" or data.endswith(frame))
                    with open(file, "rb") as part:  # from anywhere
                        part.seek(len(data) // 2)
                        self.assertEqual(part.read(99), data[len(data) // 2:][:99])
                raw = ("--raw",) if tag == "own" else ()
                self.tool("check", f"/Library/{tag}", f"mounted/Library/{tag}/{tag}.####.{KINDS[tag]}", *raw)
                stat = self.tool("--json", "stat", f"/Library/{tag}")
                self.assertEqual(json.loads((library / tag / "clip.json").read_bytes()), json.loads(stat))
        self.assertEqual(os.listxattr(library / "rgb8"), ["user.lantrix.note"])
        self.assertEqual(os.getxattr(library / "rgb8", "user.lantrix.note"), b"second take")
        self.assertEqual(error_of(lambda: os.getxattr(library / "rgb8", "user.lantrix.no")), errno.ENODATA)
        self.assertEqual(error_of((library / "rgb8" / "rgb8.0012.tif").stat), errno.ENOENT)

    def test_the_kind_and_the_first_number_can_be_chosen(self):
        self.new_clip("rgb8", "/clip", 2)
        self.mount("--as", "dpx", "--start-number", "1001", address="/clip")
        self.assertEqual(sorted(os.listdir(self.mounted)), ["clip.1001.dpx", "clip.1002.dpx", "clip.json"])
        self.tool("check", "/clip", "mounted/clip.####.dpx", "--start-number", "1001")

    def test_nothing_can_be_changed(self):
        self.new_clip("rgb8", "/clip", 1)
        self.mount()
        frame = self.mounted / "clip" / "clip.0000.tif"
        for change in (frame.unlink, lambda: frame.open("r+b"), lambda: (self.mounted / "new").mkdir(),
                       (self.mounted / "clip").rmdir, lambda: frame.rename(self.mounted / "other"),
                       lambda: frame.chmod(0o600), lambda: os.setxattr(frame.parent, "user.lantrix.note", b"x")):
            self.assertEqual(error_of(change), errno.EROFS)

    def test_programs_copy_and_look(self):
        self.new_clip("rgb8", "/Library/one")
        self.new_clip("rgb10", "/Library/Reel/two")
        self.mount()
        self.run_program("cp", "-r", "mounted/Library", "copied")
        self.run_program("diff", "-r", "mounted/Library", "copied")
        found = self.run_program("find", "mounted", "-name", "*.000[0-3].*").split()
        self.assertEqual(len(found), 8)
        self.run_program("tar", "-C", "mounted", "-cf", "all.tar", "Library")
        self.run_program("tar", "-C", "mounted", "--compare", "-f", "all.tar")
        if shutil.which("rsync"):
            self.run_program("rsync", "-a", "mounted/Library/", "synced")
            self.run_program("diff", "-r", "mounted/Library", "synced")

    @unittest.skipUnless(PIL and numpy, "PIL or numpy is not installed")
    def test_python_maps_and_decodes(self):
        frames = self.new_clip("rgb8", "/clip", 3)
        self.mount()
        for i, frame in enumerate(frames):
            file = self.mounted / "clip" / f"clip.{i:04}.tif"
            with PIL.Image.open(file) as image:
                self.assertEqual((image.size, image.tobytes()), ((WIDTH, HEIGHT), frame))
            mapped = numpy.memmap(file, "u1", "r", file.stat().st_size - len(frame), (HEIGHT, WIDTH, 3))
            self.assertEqual(mapped.tobytes(), frame)

    @needs("ffmpeg")
    def test_ffmpeg_makes_a_film_and_reads_each_kind(self):
        frames = self.new_clip("rgb8", "/clip")
        self.mount()
        words = ("ffmpeg", "-v", "error", "-i", "mounted/clip/clip.%04d.tif")
        self.assertEqual(self.run_program(*words, "-f", "rawvideo", "-pix_fmt", "rgb24", "-"), b"".join(frames))
        self.run_program(*words, "-c:v", "mpeg4", "film.mp4")
        self.assertTrue((self.folder / "film.mp4").stat().st_size > 1000)

    def test_programs_at_once_read_each_frame_once(self):
        self.new_clip("rgb8", "/clip")
        process = self.mount("--trace", "--cache", "600")
        readers = [subprocess.Popen(["sh", "-c", "cat clip/*.tif | cksum"], cwd=self.mounted,
                                    stdout=subprocess.PIPE) for _ in range(4)]
        self.assertEqual(len({reader.communicate(timeout=100)[0] for reader in readers}), 1)
        process.send_signal(signal.SIGTERM)
        self.assert_ended(process)
        self.assertEqual(self.told().count("ReadFrame"), FRAMES)

    def test_what_is_waited_for_comes_before_what_is_read_ahead(self):
        for path in ("/line", "/other", "/jump"):
            self.new_clip("rgb8", path, 20)
        self.mount("--trace", "--cache", "600", "-j", "4")
        line, other, jump = (sorted((self.mounted / name).glob("*.tif")) for name in ("line", "other", "jump"))

        def asked():
            return [text.split()[4] for text in self.told().splitlines() if "ReadFrame" in text]
        self.server.send_signal(signal.SIGSTOP)
        self.addCleanup(self.server.send_signal, signal.SIGCONT)
        with concurrent.futures.ThreadPoolExecutor(3) as players:
            waiting = []
            for file in (line[0], other[0], jump[15]):  # the first two have four more read ahead
                waiting.append(players.submit(file.read_bytes))
                time.sleep(2)  # until it waits, also on a busy machine
            self.server.send_signal(signal.SIGCONT)
            self.assertEqual(len({len(file.result(100)) for file in waiting}), 1)
        wait_for(lambda: len(asked()) == 5 + 5 + 1)
        self.assertLess(asked().index("n3-f15"), asked().index("n2-f4"))

    def test_a_long_clip_is_listed_without_asking_for_each_frame(self):
        self.tool("mkclip", "/long", "--format", "4x4x24", "--frames", "20000")
        process = self.mount("--trace")
        listing = self.run_program("ls", "-l", "mounted/long").splitlines()
        self.assertEqual(len(listing), 20000 + 2)
        process.send_signal(signal.SIGINT)
        self.assert_ended(process)
        self.assertLess(self.told().count("\n"), 100)

    def test_changes_by_others_are_seen(self):
        self.new_clip("rgb8", "/clip", 2)
        self.mount("--cache", "0.3")
        frame = self.mounted / "clip" / "clip.0001.tif"
        before = frame.read_bytes()
        self.tool("mkdir", "/new")
        for i in range(2):
            (self.folder / f"other.{i:04}").write_bytes(bytes(WIDTH * HEIGHT * 3))
        self.tool("put", "--raw", "-y", "other.####", "/clip")
        wait_for(lambda: frame.read_bytes() != before)
        self.assertEqual(frame.read_bytes()[-WIDTH * HEIGHT * 3:], bytes(WIDTH * HEIGHT * 3))
        wait_for(lambda: "new" in os.listdir(self.mounted))

    def test_a_server_that_is_away_is_an_error_and_comes_back(self):
        self.new_clip("rgb8", "/clip")
        self.mount("--write", "--cache", "0", "--timeout", "3", "--retries", "1")
        frames = [self.mounted / "clip" / f"clip.{i:04}.tif" for i in range(FRAMES)]
        first, second = frames[0].read_bytes(), frames[1].read_bytes()
        with open(frames[5], "rb") as kept:
            writing = os.open(frames[1], os.O_WRONLY | os.O_TRUNC)
            os.write(writing, first)
            self.server.kill()
            self.server.wait()
            self.assertEqual(error_of(lambda: os.close(writing)), errno.EIO)
            self.assertEqual(error_of(frames[2].read_bytes), errno.EIO)
            self.assertEqual(error_of(lambda: kept.read(9)), errno.EIO)
            self.assertEqual(error_of(lambda: os.listdir(self.mounted / "clip")), errno.EIO)
            self.start_server()
            self.assertEqual(len(kept.read()), frames[5].stat().st_size)
        self.assertEqual(frames[1].read_bytes(), second)
        self.assertIn("does not answer", self.told())
        self.assertIn("answers again", self.told())

    def test_programs_that_wait_for_a_silent_server_can_be_interrupted(self):
        self.new_clip("rgb8", "/clip")
        self.mount("--timeout", "12")
        with open(self.mounted / "clip" / "clip.0003.tif", "rb") as kept:
            self.server.send_signal(signal.SIGSTOP)
            self.addCleanup(self.server.send_signal, signal.SIGCONT)
            reader = subprocess.Popen(["cat", "/dev/stdin"], stdin=kept, stdout=subprocess.DEVNULL)
            time.sleep(0.5)
            self.assertIsNone(reader.poll())
            start = time.monotonic()
            reader.send_signal(signal.SIGINT)
            reader.wait(30)
            self.assertLess(time.monotonic() - start, 9)
            self.assertEqual(error_of(lambda: kept.read(9)), errno.EIO)
            self.assertLess(time.monotonic() - start, 60)

    def test_it_ends_when_asked_also_with_open_files(self):
        self.new_clip("rgb8", "/clip")
        for end in (lambda process: process.terminate(), lambda process: process.send_signal(signal.SIGINT),
                    lambda _: self.run_program("fusermount3", "-uz", self.mounted)):
            process = self.mount()
            kept = open(self.mounted / "clip" / "clip.0000.tif", "rb")
            kept.read(9)
            end(process)
            wait_for(lambda: not os.path.ismount(self.mounted))
            error_of(kept.close)
            self.assert_ended(process)

    def test_a_mount_that_died_can_be_taken_away(self):
        self.new_clip("rgb8", "/clip")
        process = self.mount()
        frame = self.mounted / "clip" / "clip.0000.tif"
        kept = open(frame, "rb")
        process.kill()
        process.wait()
        self.assertIn(error_of(lambda: kept.read(9)), (errno.ENOTCONN, errno.ECONNABORTED))
        self.assertEqual(error_of(lambda: os.listdir(self.mounted)), errno.ENOTCONN)
        error_of(kept.close)
        again = self.run_tool("mount", "/", "mounted")
        self.assertEqual(again.returncode, 8)
        self.assertIn(b"fusermount3 -u", again.stderr)
        self.run_program("fusermount3", "-u", self.mounted)
        self.mount()
        self.assertEqual(len(frame.read_bytes()), frame.stat().st_size)

    def test_the_background_tells_whether_it_is_mounted(self):
        self.new_clip("rgb8", "/clip")
        self.assertEqual(self.run_tool("mount", "--daemon", "/clip", "missing").returncode, 8)
        self.assertEqual(self.run_tool("mount", "--daemon", "/missing", "mounted").returncode, 3)
        self.addCleanup(subprocess.run, ["fusermount3", "-uzq", self.mounted])
        self.tool("mount", "--daemon", "/clip", "mounted")
        self.assertTrue(os.path.ismount(self.mounted))
        self.assertEqual(len(os.listdir(self.mounted)), FRAMES + 1)

    def test_frames_are_replaced_and_appended(self):
        frames = self.new_clip("rgb8", "/clip", 3)
        self.mount("--write")
        clip = self.mounted / "clip"
        names = [clip / f"clip.{i:04}.tif" for i in range(6)]
        first, second = names[0].read_bytes(), names[1].read_bytes()
        names[0].write_bytes(second)
        names[3].write_bytes(first)
        with open(names[1], "r+b") as part:  # a change in the middle
            part.seek(len(second) - 9)
            part.write(bytes(9))
            os.fsync(part.fileno())
        self.tool("get", "--raw", "/clip", "back.####")
        back = [(self.folder / f"back.{i:04}").read_bytes() for i in range(4)]
        self.assertEqual(back, [frames[1], frames[1][:-9] + bytes(9), frames[2], frames[0]])
        self.assertEqual(names[1].read_bytes(), second[:-9] + bytes(9))
        for kind in ("tif --compression deflate", "png", "dpx"):
            kind, *options = kind.split()
            self.tool("get", "/clip", f"again.####.{kind}", *options)
            names[2].write_bytes((self.folder / f"again.0000.{kind}").read_bytes())
            self.assertEqual(names[2].read_bytes(), second)
            shutil.copyfile(self.folder / f"again.0003.{kind}", clip / f"clip.0001.{kind}")
            self.assertEqual(names[1].read_bytes(), first)
        files = [os.open(clip / f"clip.{i:04}.tif", os.O_WRONLY | os.O_CREAT) for i in range(4, 12)]
        with concurrent.futures.ThreadPoolExecutor(8) as all_at_once:
            for file in files:
                os.write(file, first)
            list(all_at_once.map(os.close, reversed(files)))
        self.assertEqual(len(os.listdir(clip)), 12 + 1)
        self.assertEqual({(clip / f"clip.{i:04}.tif").read_bytes() for i in range(4, 12)}, {first})

    def test_what_is_not_a_whole_image_is_refused(self):
        self.new_clip("rgb8", "/clip", 2)
        self.mount("--write")
        frame = self.mounted / "clip" / "clip.0001.tif"
        whole = frame.read_bytes()
        for data in (whole[:-1], b"nothing", whole[:300]):
            file = os.open(frame, os.O_WRONLY | os.O_TRUNC)
            os.write(file, data)
            self.assertEqual(error_of(lambda: os.fsync(file)), errno.EINVAL)
            self.assertEqual(error_of(lambda: os.close(file)), errno.EINVAL)
            self.assertEqual(frame.read_bytes(), whole)
        self.assertEqual(error_of(lambda: (frame.parent / "clip.0002.tif").write_bytes(b"x")), errno.EINVAL)
        self.assertEqual(sorted(os.listdir(frame.parent)), ["clip.0000.tif", "clip.0001.tif", "clip.json"])
        for change in (frame.unlink, lambda: frame.chmod(0o600), lambda: frame.rename(frame.parent / "x"),
                       lambda: os.link(frame, frame.parent / "x"), lambda: os.symlink("x", frame.parent / "y"),
                       lambda: (self.mounted / "file").write_bytes(b""), (self.mounted / "clip").rmdir,
                       lambda: (frame.parent / "clip.json").write_bytes(b"")):
            self.assertIn(error_of(change), (errno.EPERM, errno.EACCES, errno.EOPNOTSUPP, errno.ENOTEMPTY))

    def test_other_names_wait_until_they_are_renamed(self):
        frames = self.new_clip("rgb8", "/clip", 2)
        self.mount("--write", "--memory", "1")
        clip = self.mounted / "clip"
        aside = clip / ".clip.0001.tif.aside"
        aside.write_bytes((clip / "clip.0000.tif").read_bytes())
        self.assertIn(aside.name, os.listdir(clip))
        aside.rename(clip / "clip.0002.tif")
        self.assertFalse(aside.exists())
        aside.write_bytes(b"no image")
        self.assertEqual(error_of(lambda: aside.rename(clip / "clip.0001.tif")), errno.EINVAL)
        aside.unlink()
        self.assertEqual(error_of(lambda: aside.write_bytes(bytes(1 << 21))), errno.EFBIG)
        aside.unlink()
        self.assertEqual(self.tool("cat", "--raw", "/clip"), frames[0] + frames[1] + frames[0])

    def test_folders_and_streams_are_changed(self):
        self.new_clip("rgb8", "/clip", 1)
        self.mount("--write")
        (self.mounted / "a" / "b").mkdir(parents=True)
        self.assertEqual(self.tool("ls", "/a").split()[-1], b"b")
        self.assertEqual(error_of((self.mounted / "a").rmdir), errno.ENOTEMPTY)
        (self.mounted / "a" / "b").rmdir()
        self.assertEqual(os.listdir(self.mounted / "a"), [])
        os.setxattr(self.mounted / "clip", "user.lantrix.note", b"set here")
        self.assertEqual(self.tool("meta", "get", "--raw", "/clip", "note"), b"set here")
        self.assertEqual(json.loads((self.mounted / "clip" / "clip.json").read_bytes())["streams"], ["note"])

    @needs("rsync")
    def test_rsync_goes_both_ways(self):
        self.new_clip("rgb8", "/clip", 3)
        self.new_clip("rgb8", "/other", 5)
        self.mount("--write")
        self.run_program("rsync", "-a", "mounted/other/", "local")
        for i in range(5):
            file = self.folder / "local" / f"clip.{i:04}.tif"
            (self.folder / "local" / f"other.{i:04}.tif").rename(file)
            os.utime(file, (1e9 + i, 1e9 + i))  # by which rsync tells that it has changed
        (self.folder / "local" / "clip.json").unlink()
        self.run_program("rsync", "-a", "local/", "mounted/clip")
        self.tool("check", "/clip", ":/other")
        self.assertNotIn(b">f", self.run_program("rsync", "-ai", "local/", "mounted/clip"))

    def test_what_was_not_stored_is_told_at_the_end(self):
        self.new_clip("rgb8", "/clip", 1)
        process = self.mount("--write")
        file = os.open(self.mounted / "clip" / "clip.0001.tif", os.O_WRONLY | os.O_CREAT)
        os.write(file, b"half")
        process.terminate()
        self.assert_ended(process)
        error_of(lambda: os.close(file))
        self.assertIn("'clip.0001.tif' was written and is not stored", self.told())

    def test_random_operations_end_as_in_a_plain_folder(self):
        data = self.new_clip("rgb8", "/clip", 8)
        self.mount("--write", "--memory", "1")
        clip, plain = self.mounted / "clip", self.folder / "plain"
        shutil.copytree(clip, plain)
        end = time.monotonic() + float(os.environ.get("LANTRIX_MOUNT_SECONDS", "3"))
        head = (plain / "clip.0000.tif").read_bytes()[:-len(data[0])]
        while time.monotonic() < end:
            count = len(os.listdir(plain)) - 1
            name = f"clip.{self.seeded.randrange(count + (count < 20)):04}.tif"
            whole = head + self.seeded.randbytes(len(data[0]))
            at, length = self.seeded.randrange(len(head), len(whole)), self.seeded.randrange(5000)
            action = self.seeded.randrange(5)
            for folder in (clip, plain):
                if action == 0 or not (folder / name).exists():
                    (folder / name).write_bytes(whole)
                elif action == 1:
                    (folder / "aside").write_bytes(whole)
                    (folder / "aside").rename(folder / name)
                elif action == 2:
                    with open(folder / name, "r+b") as file:
                        file.seek(at)
                        file.write(whole[at:at + length])
            if action > 2:
                with open(clip / name, "rb") as one, open(plain / name, "rb") as other:
                    self.assertEqual([os.pread(file.fileno(), length, at) for file in (one, other)][0],
                                     os.pread(other.fileno(), length, at))
        (plain / "clip.json").unlink()
        for file in plain.iterdir():
            self.assertEqual((clip / file.name).read_bytes(), file.read_bytes(), file.name)
        self.assertEqual(len(os.listdir(clip)), len(os.listdir(plain)) + 1)

    @unittest.skipIf("LANTRIX_SANITIZED" in os.environ, "sanitizers take memory of their own")
    def test_memory_stays_within_its_bound(self):
        size = 1000 * 700 * 3
        for i in range(40):
            (self.folder / f"large.{i:04}").write_bytes(self.seeded.randbytes(size))
        self.tool("put", "--raw", "--format", "1000x700x24", "--tag", "rgb8", "large.####", "/clip")
        for memory in ("8", "128"):  # and an eighth, of frames that nobody has open
            process = self.mount("--memory", memory)
            for _ in range(2):
                self.run_program("sh", "-c", "for i in 1 2 3; do cat mounted/clip/*.tif | cksum & done; wait")
            status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
            peak = int(next(line for line in status.splitlines() if line.startswith("VmHWM")).split()[1])
            self.assertLess(peak, 64 << 10)  # KiB, of 84 MB that were read
            process.send_signal(signal.SIGTERM)
            self.assert_ended(process)


if __name__ == "__main__":
    if not os.access("/dev/fuse", os.R_OK | os.W_OK) or not shutil.which("fusermount3"):
        print("skipped: /dev/fuse can't be used here, or fusermount3 is not installed")
        sys.exit(SKIPPED)
    unittest.main()
