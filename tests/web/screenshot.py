"""screenshot.py FILE: the picture of docs/web.md, a clip of colour bars that has been played for a while."""

import subprocess
import sys
import tempfile
import time
from pathlib import Path

from browser import Keys, Looker, start_chromium
from media import LANTRIX, MediaServer, Page

PLAYED = 25  # seconds, for the curves


def fill(server: MediaServer) -> None:
    subprocess.run([LANTRIX, "--quiet", "demo", "--files", server.folder], check=True, stdout=subprocess.DEVNULL)
    server.tool("mkdir", "-p", "/Library/Reel")
    server.tool("mkdir", "/Library/Plates")
    bars = server.folder / "bars.####.png"
    for name in ("bars", "bars graded", "slate"):
        server.tool("put", bars, f"/Library/Reel/{name}", "--rate", "25")
    server.tool("meta", "set", "/Library/Reel/bars", "note", "take 2, the good one")


def main() -> None:
    with tempfile.TemporaryDirectory() as name:
        server = MediaServer(Path(name))
        driver = start_chromium(1200, 800)
        try:
            fill(server)
            page = Page(server.host)
            looker = Looker(driver, page.address)
            looker.open("/Library/Reel/bars@1")
            looker.until_frame(1)
            looker.until(lambda: looker.all("[role=treeitem][aria-selected=true]"), "the clip in the tree")
            looker.press("mt ")  # as fast as it goes
            time.sleep(PLAYED)
            looker.press(" tj24", Keys.ENTER, Keys.ESCAPE)
            looker.until_frame(24)
            looker.point_at("#picture", 120, -60)
            looker.until(lambda: looker.all("#probe .sample"), "samples")
            looker.save_screenshot(Path(sys.argv[1]).resolve())
            page.stop()
        finally:
            driver.quit()
            server.stop()


if __name__ == "__main__":
    main()
