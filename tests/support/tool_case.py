"""The tool against a development server of the test's own, for tests that other programs take part in.

LANTRIX and LANTRIXD in the environment are the programs; without them such tests are skipped.
"""
import os
import pathlib
import subprocess
import tempfile
import time
import unittest

SKIPPED = 77  # as CMake is told for tests that can't run


@unittest.skipUnless("LANTRIX" in os.environ, "the tool is not built")
class ToolCase(unittest.TestCase):
    """Each test has a folder and a server, on a loopback address that is the process's own."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        number = os.getpid()
        self.host = f"127.{150 + number // 62500 % 50}.{number // 250 % 250}.{1 + number % 250}"
        self.start_server()

    def start_server(self):
        server = subprocess.Popen([os.environ["LANTRIXD"], "--root", self.folder / "root", "--listen",
                                   self.host], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.server = server
        self.addCleanup(server.wait)
        self.addCleanup(server.terminate)
        deadline = time.monotonic() + 60
        while self.run_tool("ping").returncode != 0 and time.monotonic() < deadline:
            time.sleep(0.1)

    def run_tool(self, *words):
        return subprocess.run([os.environ["LANTRIX"], "--host", self.host, *words], cwd=self.folder,
                              capture_output=True, timeout=100)

    def tool(self, *words):
        """Runs what must succeed, and gives what it printed."""
        done = self.run_tool(*words)
        self.assertEqual(done.returncode, 0, (words, done.stderr))
        return done.stdout
