"""farm.py HOST PATH [SCHEDULER]: the mean of each channel of a clip, computed by many workers.

SCHEDULER is the address of a running dask scheduler ("tcp://127.0.0.1:8786"); without it the workers
are processes on this machine.
"""

import sys

from distributed import Client

import lantrix
import lantrix.dask


def main(host: str, path: str, *scheduler: str) -> None:
    with lantrix.Server(host) as server, Client(*scheduler) as client:
        clip = server[path]
        if not isinstance(clip, lantrix.Clip):
            raise SystemExit(f"'{path}' is not a clip")
        frames = lantrix.dask.from_clip(clip)
        means = client.compute(frames.mean(axis=(0, 1, 2))).result()
        print(f"{len(clip)} frames on {len(client.scheduler_info()['workers'])} workers: {means}")


if __name__ == "__main__":
    main(*sys.argv[1:])
