"""Ctrl-C, time limits, stops, threads and forks: what waits can be ended, and nothing crashes."""

import os
import signal
import socket
import subprocess
import sys
import threading
import time
from collections.abc import Callable, Iterator

import numpy
import pytest

import lantrix

# Runs in a process of its own, so that Ctrl-C is its own too: says when it is about to wait.
CHILD = """
import lantrix, sys, threading, time
server = lantrix.Server(sys.argv[1])
node = lantrix.Clip(server, "n1")
print("waiting", flush=True)
try:
    {call}
except KeyboardInterrupt:
    print("interrupted", flush=True)
"""


@pytest.fixture(scope="module")
def silent() -> Iterator[str]:
    """The address of a server that takes connections and says nothing."""
    address = f"127.79.{os.getpid() // 250 % 250}.{os.getpid() % 250 + 1}"
    listeners = [socket.create_server((address, port), backlog=100) for port in (7549, 7550)]
    yield address
    for listener in listeners:
        listener.close()


@pytest.mark.parametrize(
    "call",
    [
        "server.ping()",
        "server['/a/b']",
        "node.names",
        "node.metadata['x']",
        "node[0]",
        "list(node.walk())",
        "list(node.frames([1]))",
        "threading.Thread(target=server.ping, daemon=True).start(); time.sleep(0.2); server.ping()",
    ],
)
def test_control_c_ends_each_kind_of_call(silent: str, call: str) -> None:
    child = subprocess.Popen(
        [sys.executable, "-c", CHILD.format(call=call), silent], stdout=subprocess.PIPE, text=True
    )
    assert child.stdout is not None and child.stdout.readline() == "waiting\n"
    time.sleep(0.5)
    begin = time.monotonic()
    child.send_signal(signal.SIGINT)
    output, _ = child.communicate(timeout=30)
    assert (output, child.returncode) == ("interrupted\n", 0)
    assert time.monotonic() - begin < 10  # 1.1 s on a machine that does nothing else


def test_time_limit_and_stop_end_calls(silent: str, daemon: str) -> None:
    server = lantrix.Server(silent, timeout=0.2)
    with pytest.raises(TimeoutError, match=f"{silent}:7549: no answer within the time limit"):
        server.ping()
    with pytest.raises(lantrix.TimedOut):
        next(lantrix.Server(silent, timeout=0.2).root.walk())
    server.timeout = None
    threading.Timer(0.3, server.stop).start()
    with pytest.raises(lantrix.Error, match="stopped"):
        server.ping()
    for bad in (0, -1.5, float("nan")):
        with pytest.raises(ValueError):
            server.timeout = bad


def test_frames_have_time_limits(clip: lantrix.Clip) -> None:
    clip.server.timeout = 1e-9
    with pytest.raises(lantrix.TimedOut):
        for _ in range(100):
            next(clip.frames())
    clip.server.timeout = 60
    assert clip[3].max() == 3


def test_threads_take_turns(clip: lantrix.Clip) -> None:
    wrong: list[int] = []

    def read() -> None:
        out = numpy.empty((6, 8, 3), numpy.uint8)
        for index in range(300):
            clip.read_into(index % 20, out)
            if not (out == index % 20).all():
                wrong.append(index)

    threads = [threading.Thread(target=read) for _ in range(4)]
    for thread in threads:
        thread.start()
    clip.server.ping()
    for thread in threads:
        thread.join()
    assert not wrong


def test_closing_under_the_hands_of_others(clip: lantrix.Clip, daemon: str) -> None:
    for _ in range(20):
        server = lantrix.Server(daemon)
        mine = lantrix.Clip(server, clip.id)
        source = lantrix._core.FrameSource(mine._core, list(range(20)) * 5, 3, 4)
        threads = [threading.Thread(target=drain, args=(source, mine)) for _ in range(3)]
        for thread in threads:
            thread.start()
        source.close()
        server.close()
        for thread in threads:
            thread.join()


def drain(source: "lantrix._core.FrameSource", clip: lantrix.Clip) -> None:
    try:
        while source.next() is not None:
            clip[0]
    except lantrix.Error:
        pass


def in_child(work: Callable[[], bool]) -> int:
    pid = os.fork()
    if pid == 0:
        os._exit(0 if work() else 1)
    return os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1])


# AddressSanitizer's allocator may be locked in a child by a thread that it does not have.
@pytest.mark.skipif("libasan" in os.environ.get("LD_PRELOAD", ""), reason="can't fork beside threads")
def test_children_go_on_with_connections_of_their_own(clip: lantrix.Clip) -> None:
    stream = clip.frames()
    next(stream)
    busy = threading.Thread(target=lambda: [clip[i % 20] for i in range(2000)])
    busy.start()

    def work() -> bool:
        try:
            next(stream)
            return False
        except lantrix.Error:
            return bool(clip[7].max() == 7 and sum(1 for _ in clip.frames()) == 20)

    assert [in_child(work) for _ in range(5)] == [0] * 5
    busy.join()
    assert next(stream)[0] == 1


AT_EXIT = """
import lantrix, sys, threading
server = lantrix.Server(sys.argv[1])
clip = lantrix.Clip(server, sys.argv[2])
stream = clip.frames()
kept = [next(stream), next(stream)]
for target in (server.root.names.copy, lambda: [clip[i % 20] for i in range(10**6)]):
    threading.Thread(target=target, daemon=True).start()
clip[0]
"""


def test_interpreter_ends_while_threads_read(clip: lantrix.Clip) -> None:
    for _ in range(5):
        done = subprocess.run(
            [sys.executable, "-c", AT_EXIT, clip.server.host, clip.id], timeout=60
        )
        assert done.returncode == 0


def test_many_servers_leave_nothing(clip: lantrix.Clip) -> None:
    host, id = clip.server.host, clip.id

    def open_and_close(count: int) -> None:
        for number in range(count):
            with lantrix.Server(host) as server:
                lantrix.Clip(server, id)[number % 20]

    def figures() -> tuple[int, int]:
        pages = int(open("/proc/self/statm").read().split()[1])
        return len(os.listdir("/proc/self/fd")), pages * os.sysconf("SC_PAGE_SIZE")

    open_and_close(50)
    descriptors, memory = figures()
    open_and_close(int(os.environ.get("LANTRIX_TEST_SERVERS", "300")))
    assert figures()[0] <= descriptors and figures()[1] < memory + 16 * 2**20
