"""farm_speed.py: the same figures of a clip, computed by 1, 2 and 4 worker processes of this machine.

LANTRIXD in the environment is the development server. Prints a table in Markdown.
"""

import os
import statistics
import subprocess
import tempfile
import time
from typing import Any

import dask.array
import numpy
from distributed import Client, LocalCluster

import lantrix
import lantrix.dask

FRAMES = 24
SHAPE = (540, 960, 3)
ADDRESS = f"127.204.{os.getpid() // 250 % 250}.{os.getpid() % 250 + 1}"


def make_clip(server: lantrix.Server) -> lantrix.Clip:
    noise = numpy.random.default_rng(1).integers(0, 256, SHAPE, numpy.uint8)
    clip = server.root.create_clip("clip", lantrix.Format.of(noise), frames=FRAMES)
    clip.write(noise + numpy.uint8(i) for i in range(FRAMES))
    return clip


def seconds_of(client: Any, clip: lantrix.Clip) -> float:
    """The median of some runs, each of numbers of its own: results of equal ones would be kept."""
    taken = []
    for run in range(3):
        begin = time.monotonic()
        frames = lantrix.dask.from_clip(clip).astype(numpy.float32) + numpy.float32(run / 4)
        counts, _ = dask.array.histogram(frames, bins=256, range=(0, 256))
        client.compute([frames.mean(), counts], sync=True)
        taken.append(time.monotonic() - begin)
    return statistics.median(taken[1:])  # the first loads the modules


def main() -> None:
    print(f"Mean and histogram of {FRAMES} frames of {SHAPE[1]}x{SHAPE[0]} RGB, {os.cpu_count()} cores\n")
    print("| workers | seconds | speed-up |\n|---|---|---|")
    with tempfile.TemporaryDirectory() as folder, subprocess.Popen(
        [os.environ["LANTRIXD"], "--root", folder, "--listen", ADDRESS], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL
    ) as daemon:
        assert daemon.stdout is not None
        daemon.stdout.readline()  # it says when it is ready
        clip = make_clip(lantrix.Server(ADDRESS))
        alone = 0.0
        for workers in (1, 2, 4):
            with LocalCluster(
                n_workers=workers, threads_per_worker=1, host="127.0.0.1", dashboard_address=None
            ) as cluster, Client(cluster) as client:
                taken = seconds_of(client, clip)
            alone = alone or taken
            print(f"| {workers} | {taken:.2f} | {alone / taken:.2f} |", flush=True)
        daemon.terminate()


if __name__ == "__main__":
    main()
