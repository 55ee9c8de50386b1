"""web_speed.py: how soon the page of "lantrix web" shows what was asked for, in a headless browser.

LANTRIX and LANTRIXD in the environment are the programs; tests/web is where its modules are.
Prints a table in Markdown. Nothing here fails on a time.
"""

import math
import random
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from browser import Looker, start_chromium
from media import MediaServer, Page

WIDTH, HEIGHT = 1920, 1080
FILES = 50  # that frames are linked to
PLAYED = 300  # frames of the clip that is played
CLIPS = 200
RELAY = Path(__file__).with_name("delay_relay.py")

# Calls back with the milliseconds from the action to the frame on the canvas.
TIMED = """
const [act, number, done] = arguments;
const begin = performance.now();
const observer = new MutationObserver(() => {
    if (number !== null && Number(picture.dataset.frame) !== number) return;
    observer.disconnect();
    done(performance.now() - begin);
});
observer.observe(picture, {attributeFilter: ["data-frame"]});
new Function(act)();
"""


def make_files(folder: Path) -> list[Path]:
    """Frames of gradients that move, with grain."""
    generator = random.Random(1)
    grain = [generator.randrange(-6, 7) for _ in range(WIDTH * 3)]
    wave = [128 + 90 * math.sin(i * math.tau / WIDTH) for i in range(WIDTH)]
    row = bytes(int(wave[i // 3 * (1 + i % 3) % WIDTH]) + grain[i] for i in range(WIDTH * 3)) * 2
    files = []
    for frame in range(FILES):
        starts = [(y * 7 + frame * 12) % WIDTH * 3 for y in range(HEIGHT)]
        files.append(folder / f"frame.{frame:02}.raw")
        files[-1].write_bytes(b"".join(row[start:start + WIDTH * 3] for start in starts))
    return files


def fill(server: MediaServer, files: list[Path]) -> None:
    def make(path: str, frames: list[Path]) -> None:
        server.tool("mkclip", path, "--format", f"{WIDTH}x{HEIGHT}x24@25", "--tag", "rgb8")
        server.tool("link", path, *frames)

    server.tool("mkdir", "-p", "/Library/Clips")
    make("/Library/played", [files[i % FILES] for i in range(PLAYED)])
    for i in range(CLIPS):
        make(f"/Library/Clips/shot{i:03}", [files[i % FILES]])


def first_frames(looker: Looker) -> float:
    """Clicks on ten clips of a folder, none of which was open before."""
    taken: list[float] = []
    for i in range(10):
        looker.open("/Library/Clips")
        looker.until(lambda: len(looker.all(".card")) == CLIPS and len(looker.all(".card img")) > 10, "the folder")
        act = f"document.querySelectorAll('.card')[{i}].click()"
        taken.append(looker.driver.execute_async_script(TIMED, act, None))
    return statistics.median(taken)


def scrubs(looker: Looker) -> float:
    generator = random.Random(2)
    looker.open("/Library/played")
    looker.until_frame(0)
    taken: list[float] = []
    for number in generator.sample(range(10, PLAYED), 40):
        act = f"scrub.value = {number}; scrub.dispatchEvent(new Event('input'))"
        taken.append(looker.driver.execute_async_script(TIMED, act, number))
        time.sleep(0.25)  # what is read ahead is there when the hand moves again
    return statistics.median(taken)


def dropped_share(looker: Looker) -> float:
    """Plays the clip once, at 25 frames a second."""
    looker.open("/Library/played")
    looker.until_frame(0)
    looker.press("l", " ")
    looker.until(lambda: looker.frame == PLAYED - 1, "the end")
    looker.until(lambda: looker.one("#play").get_attribute("aria-pressed") == "false", "the end")
    return int((looker.text("#dropped") or "0").split()[0]) / PLAYED


def thumbnails(looker: Looker) -> float:
    """Seconds from the address to the last thumbnail, scrolling on as they come; median of three."""
    script = """
        const done = arguments[0];
        const begin = performance.now();
        const look = () => {
            const missing = [...document.querySelectorAll(".card")].find((card) => !card.querySelector("img"));
            const count = document.querySelectorAll(".card img").length;
            if (count === COUNT) return done((performance.now() - begin) / 1000);
            missing?.scrollIntoView();
            requestAnimationFrame(look);
        };
        location.hash = "#/Library/Clips";
        look();""".replace("COUNT", str(CLIPS))
    taken: list[float] = []
    for _ in range(3):
        looker.open("/")
        looker.until(lambda: looker.all(".card"), "the root")
        taken.append(looker.driver.execute_async_script(script))
    return statistics.median(taken)


def row(name: str, value: float, unit: str, goal: float) -> None:
    verdict = "reached" if value <= goal else "missed"
    print(f"| {name} | {value:.3g} {unit} | {goal:g} {unit} | {verdict} |", flush=True)


def main() -> None:
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        server = MediaServer(folder)
        far = "127.1" + server.host[5:]  # 127.2xx becomes 127.1xx
        relay = subprocess.Popen([sys.executable, RELAY, server.host, far], stdout=subprocess.PIPE)
        assert relay.stdout is not None and relay.stdout.readline(), "the relay did not start"
        driver = start_chromium()
        driver.set_script_timeout(60)
        pages = []
        try:
            fill(server, make_files(folder))
            pages = [Page(server.host), Page(far)]
            near, distant = (Looker(driver, page.address) for page in pages)
            print("\n| the page, 1080p | measured | goal | |\n|---|---|---|---|")
            row("from the click to the first frame", first_frames(near), "ms", 200)
            row("from the bar to the frame, median", scrubs(near), "ms", 80)
            row("dropped at 25 frames/s", 100 * dropped_share(near), "%", 5)
            row(f"thumbnails of {CLIPS} clips", thumbnails(near), "s", 3)
            row(f"thumbnails of {CLIPS} clips through 20 ms", thumbnails(distant), "s", 6)
        finally:
            driver.quit()
            for page in pages:
                page.stop()
            relay.terminate()
            relay.wait()
            server.stop()


if __name__ == "__main__":
    main()
