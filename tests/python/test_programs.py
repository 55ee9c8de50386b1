"""The first program of docs/python.md, the examples, and python -m lantrix, as a user runs them."""

import re
import subprocess
import sys
from pathlib import Path

import numpy
import pytest

import lantrix

ROOT = Path(__file__).parents[2]


def run(*arguments: str) -> str:
    done = subprocess.run(
        [sys.executable, *arguments], capture_output=True, text=True, timeout=100, check=True
    )
    return done.stdout


def test_first_program_of_the_page(server: lantrix.Server) -> None:
    reel = server.root.create_folder("Library").create_folder("Reel")
    format = lantrix.Format.of(numpy.zeros((6, 8, 3), numpy.uint8))
    reel.create_clip("shot", format).write(numpy.full((6, 8, 3), i, numpy.uint8) for i in range(20))
    text = (ROOT / "docs/python.md").read_text(encoding="utf-8")
    program = re.search(r"```python\n(.*?)```", text, re.DOTALL)
    assert program is not None
    assert run("-c", program[1], server.host) == (
        "lantrixd keeps 20 frames of 8x6x24x3@24 rgb8 progressive\n"
        "0 (6, 8, 3) uint8 0.0\n10 (6, 8, 3) uint8 10.0\n"
    )


def test_module_prints_versions() -> None:
    assert run("-m", "lantrix").startswith(f"lantrix {lantrix.__version__}\nPython 3.")


def test_examples_do_what_they_say(clip: lantrix.Clip, tmp_path: Path) -> None:
    examples = ROOT / "examples/python"
    run(str(examples / "invert_clip.py"), clip.server.host, clip.path, "inverted")
    assert clip.server[clip.path[: -len("shot")] + "inverted"][7].max() == 248
    pytest.importorskip("matplotlib")
    run(str(examples / "contact_sheet.py"), clip.server.host, clip.path, str(tmp_path))
    assert (tmp_path / "shot.png").read_bytes().startswith(b"\x89PNG")
    pytest.importorskip("distributed")
    assert "20 frames on " in run(str(examples / "farm.py"), clip.server.host, clip.path)
