"""A lantrixd of its own for each file of tests, on a loopback address that nothing else uses."""

import os
import subprocess
from collections.abc import Iterator
from pathlib import Path

import numpy
import pytest

import lantrix


def start_server(root: Path, address: str, *options: str) -> "subprocess.Popen[str]":
    process = subprocess.Popen(
        [os.environ["LANTRIXD"], "--root", str(root), "--listen", address, *options],
        stdout=subprocess.PIPE,
        text=True,
    )
    assert process.stdout is not None
    process.stdout.readline()  # it says when it is ready
    return process


@pytest.fixture(scope="session")
def address() -> str:
    return f"127.77.{os.getpid() // 250 % 250}.{os.getpid() % 250 + 1}"


@pytest.fixture(scope="session")
def daemon(address: str, tmp_path_factory: pytest.TempPathFactory) -> Iterator[str]:
    process = start_server(
        tmp_path_factory.mktemp("tree"), address, "--vendor", "Acme", "--sync", "none"
    )
    yield address
    process.terminate()
    process.wait()


@pytest.fixture
def server(daemon: str) -> Iterator[lantrix.Server]:
    with lantrix.Server(daemon, timeout=60) as opened:
        yield opened


@pytest.fixture
def folder(server: lantrix.Server, request: pytest.FixtureRequest) -> lantrix.Node:
    return server.root.create_folder(request.node.name)


@pytest.fixture
def clip(folder: lantrix.Node) -> lantrix.Clip:
    """20 frames of 8 x 6 rgb8; frame i is filled with i."""
    made = folder.create_clip("shot", lantrix.Format.of(numpy.zeros((6, 8, 3), numpy.uint8)))
    made.write(numpy.full((6, 8, 3), i, numpy.uint8) for i in range(20))
    return made
