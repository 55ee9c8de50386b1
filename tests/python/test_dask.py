"""Clips on a cluster of worker processes: the same figures as numpy's, whoever is lost on the way."""

import os
import signal
from collections.abc import Iterator
from typing import Any

import numpy
import pytest

import lantrix

distributed = pytest.importorskip("distributed", reason="python3-distributed is not installed")
dask_array = pytest.importorskip("dask.array", reason="python3-dask is not installed")
import lantrix.dask  # noqa: E402


@pytest.fixture(scope="module")
def cluster() -> Iterator[Any]:
    made = distributed.LocalCluster(
        n_workers=3, threads_per_worker=1, processes=True, host="127.0.0.1", dashboard_address=None
    )
    with made, distributed.Client(made) as client:
        yield client


@pytest.fixture
def noise(folder: lantrix.Node) -> tuple[lantrix.Clip, Any]:
    frames = numpy.random.default_rng(5).integers(0, 65536, (500, 12, 16, 3), numpy.uint16)
    clip = folder.create_clip("noise", lantrix.Format.of(frames[0]), frames=500)
    clip.write(frames)
    return clip, frames


def test_figures_are_those_of_numpy_though_a_worker_dies(
    cluster: Any, noise: tuple[lantrix.Clip, Any]
) -> None:
    clip, frames = noise
    array = lantrix.dask.from_clip(clip)
    assert array.shape == frames.shape and array.dtype == frames.dtype
    counts, _ = dask_array.histogram(array, bins=64, range=(0, 65536))
    mean, counts = cluster.compute([array.mean(), counts])
    while not any(cluster.has_what().values()):  # nothing has been read yet
        pass
    os.kill(next(iter(cluster.run(os.getpid).values())), signal.SIGKILL)
    assert mean.result(timeout=100) == pytest.approx(frames.mean(), rel=1e-12)
    expected, _ = numpy.histogram(frames, bins=64, range=(0, 65536))
    numpy.testing.assert_array_equal(counts.result(timeout=100), expected)


def test_workers_write_their_frames(cluster: Any, noise: tuple[lantrix.Clip, Any]) -> None:
    clip, frames = noise
    inverted = 65535 - lantrix.dask.from_clip(clip)[:60]
    path = f"{clip.parent.path}/inverted" if clip.parent else ""
    written = lantrix.dask.to_clip(inverted, clip.server, path, rate=25)
    assert len(written) == 60 and written.format.rate == 25
    for index, frame in written.frames():
        numpy.testing.assert_array_equal(frame, 65535 - frames[index])
    with pytest.raises(lantrix.BadFrame, match="not a sequence of frames"):
        lantrix.dask.to_clip(inverted[0, 0], clip.server, "/x")
