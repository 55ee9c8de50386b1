"""python -m lantrix: prints versions, for whoever reports a problem."""

import platform

import numpy

import lantrix


def main() -> None:
    print(f"lantrix {lantrix.__version__}")
    print(f"Python {platform.python_version()}, numpy {numpy.__version__}, {platform.platform()}")
    try:
        import dask
    except ImportError:
        print("dask is not installed")
    else:
        print(f"dask {dask.__version__}")


if __name__ == "__main__":
    main()
