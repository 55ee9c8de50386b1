"""The page of "lantrix web" in a real browser: what one sees, and that others see nothing."""

import http.server
import os
import re
import threading
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import pytest

from browser import Keys, Looker, set_size, start_chromium
from media import MediaServer, Page, eight_bits, halves, shown_page, ten_bits

SCREENSHOTS = Path(os.environ.get("SCREENSHOTS", "build/release/web"))


@pytest.fixture(scope="module")
def media(tmp_path_factory: pytest.TempPathFactory) -> Iterator[tuple[MediaServer, Page]]:
    yield from shown_page(tmp_path_factory.mktemp("media"))


@pytest.fixture(scope="module")
def driver() -> Iterator[Any]:
    driver = start_chromium()
    yield driver
    driver.quit()


@pytest.fixture
def looker(driver: Any, media: tuple[MediaServer, Page], request: pytest.FixtureRequest) -> Iterator[Looker]:
    """At the page of the root; what the test has left is photographed."""
    set_size(driver, 1280, 800)
    looker = Looker(driver, media[1].address)
    looker.open("/")
    looker.until(lambda: looker.one(tree_item("Library")).is_displayed(), "the tree")
    yield looker
    looker.save_screenshot(SCREENSHOTS / f"{request.node.name}.png")
    assert looker.complaints() == []


def tree_item(name: str) -> str:
    return f"[role=treeitem][aria-label='{name}']"


def probed(looker: Looker) -> tuple[int, int, list[list[float]]]:
    """The place and the samples that are shown, of each clip."""
    x, y = map(int, looker.text("#probe .position").split(", "))
    lines = [line.text for line in looker.all("#probe .samples")]
    return x, y, [[float(value) for value in re.findall(r"\b[RGB] (\S+)", line)] for line in lines]


def test_unfolds_and_opens(looker: Looker) -> None:
    looker.click(f"{tree_item('Library')} .twist")
    looker.click(f"{tree_item('Reel')} .twist")
    looker.until(lambda: looker.one(tree_item("shot, clip")).is_displayed(), "the clip in the tree")
    looker.one(f"{tree_item('Reel')} > .row .name").click()
    looker.until_text("#folder-count", "5 nodes")
    looker.until(lambda: len(looker.all(".card img")) == 5, "a thumbnail for each clip")
    looker.until_text(".card[href='#/Library/Reel/shot']", "160 × 90, 50 frames")
    looker.click(".card[href='#/Library/Reel/a%40b']")
    looker.until_frame(0)
    assert looker.one(tree_item("a@b, clip")).get_attribute("aria-selected") == "true"
    looker.open("/Library/Real")
    looker.until_text("#message", "Real")


def test_finds_by_name(looker: Looker) -> None:
    looker.type_into("#search", "oth")
    looker.until_text("#found-count", "1 found")
    looker.press(Keys.ENTER)
    looker.press(Keys.ENTER)
    looker.until_frame(0)
    assert looker.place.startswith("/Library/Reel/other")
    looker.type_into("#search", "[st]*")
    looker.until_text("#found-count", "2 found")


def test_plays_between_marks_and_counts_what_it_drops(looker: Looker) -> None:
    looker.open("/Library/Reel/shot@5")
    looker.until_frame(5)
    looker.press("i")
    looker.script("""
        window.seen = [];
        new MutationObserver(() => seen.push(Number(picture.dataset.frame)))
            .observe(picture, {attributeFilter: ["data-frame"]});""")
    looker.type_into("#number", f"9{Keys.ENTER}")
    looker.until_frame(9)
    looker.one("#picture").send_keys("o", " ")
    looker.until(lambda: looker.script("return seen.length") > 40, "frames that play")
    looker.press(" ")
    seen = looker.script("return seen")
    played = seen[seen.index(5) + 1:-1]  # the first and the last one are there once more
    assert set(played) <= {5, 6, 7, 8, 9} and len(set(played)) > 2
    dropped = int((looker.text("#dropped") or "0").split()[0])
    assert (played[0] + len(played) - 1 + dropped - played[-1]) % 5 == 0, (played, dropped)
    looker.press("xlt ")  # to the end, without a loop, as fast as it goes
    looker.until(lambda: looker.frame == 49 and looker.one("#play").get_attribute("aria-pressed") == "false",
                 "the end")
    after = looker.script("return seen")[len(seen):]
    assert [b for a, b in zip(after, after[1:]) if a != b][-40:] == list(range(10, 50)), after


def test_scrubs_and_the_address_follows(looker: Looker) -> None:
    looker.open("/Library/Reel/shot")
    looker.until_frame(0)
    looker.script("for (let i = 1; i <= 33; ++i) { scrub.value = i; scrub.dispatchEvent(new Event('input')); }")
    looker.until_frame(33)
    looker.until(lambda: looker.place == "/Library/Reel/shot@33", "the address")
    looker.press("r")
    looker.until(lambda: looker.place == "/Library/Reel/shot@33?channel=r", "the channel in the address")
    place = looker.place
    looker.open("/")
    looker.open(place)
    looker.until_frame(33)
    red, *others = looker.script("""
        return [...picture.getContext("2d").getImageData(picture.width / 2, picture.height / 2, 1, 1).data]""")[:3]
    assert abs(red - eight_bits(33, 80, 45)[0]) < 8 and others == [red, red]


def test_reads_exact_samples(looker: Looker) -> None:
    looker.open("/Library/Reel/ten@1")
    looker.until_frame(1)
    looker.point_at("#picture", 37, -21)
    x, y, samples = looker.until(lambda: probed(looker), "samples below the pointer")
    assert (x, y) != (32, 18)
    assert samples == [list(ten_bits(1, x, y))]
    looker.open("/Library/Reel/half@2")
    looker.until_frame(2)
    looker.press("p]")
    looker.press_with(Keys.SHIFT, Keys.ARROW_LEFT)
    looker.press_with(Keys.CONTROL + Keys.SHIFT, Keys.ARROW_LEFT)
    looker.until(lambda: probed(looker)[:2] == (0, 18), "the marked pixel")
    assert probed(looker)[2] == [list(halves(2, 0, 18))]
    looker.until_text("#exposure-value", "+0.5")


def test_compares_two_clips(looker: Looker) -> None:
    looker.open("/Library/Reel/shot@6")
    looker.until_frame(6)
    looker.press("v")
    looker.press("/Library/Reel/other", Keys.ENTER)
    looker.until(lambda: "with=/Library/Reel/other" in looker.place, "the comparison in the address")
    looker.click("[data-how=difference]")
    looker.until_text("#largest", "largest difference 0, in 0 pixels")
    looker.one("#picture").send_keys(Keys.ARROW_RIGHT)
    looker.until_text("#largest", "largest difference 37, in 2 pixels")
    looker.until(lambda: looker.place.startswith("/Library/Reel/shot@7?"), "the frame in the address")
    place = looker.place
    looker.open(place)
    looker.until_text("#largest", "largest difference 37")
    looker.press("w", "p")
    looker.until(lambda: len(probed(looker)[2]) == 2, "samples of both")
    x, y, samples = probed(looker)
    assert samples == [list(eight_bits(7, x, y))] * 2
    looker.press("s", Keys.END)
    looker.until_frame(49)  # the other clip has ended long before
    looker.press(Keys.ESCAPE, Keys.ESCAPE)
    looker.until(lambda: looker.place == "/Library/Reel/shot@49", "the end of the comparison")


def test_tells_of_the_clip(looker: Looker) -> None:
    looker.open("/Library/Reel/shot")
    looker.until_frame(0)
    assert "160 × 90" in looker.text("#format") and "25 frames/s" in looker.text("#format")
    looker.click("#metadata > summary")
    looker.click(".stream summary")
    looker.until_text(".stream pre", "take 2")
    looker.click("#files > summary")
    looker.until_text("#paths", "/")
    looker.press("m")
    looker.until(lambda: re.search(r"[\d.]+ ms", looker.text("#measures")), "the round trip")


def test_comes_back_with_the_server(looker: Looker, media: tuple[MediaServer, Page]) -> None:
    server, _ = media
    looker.open("/Library/Reel/shot")
    looker.until_frame(0)
    server.stop()
    looker.press(Keys.END)
    looker.until_text("#banner", "Trying again in")
    looker.save_screenshot(SCREENSHOTS / "server-away.png")
    server.start()
    looker.until(lambda: not looker.one("#banner").is_displayed(), "the banner to go")
    looker.until_frame(49)


def test_needs_no_pointer(looker: Looker) -> None:
    looker.press("e", Keys.ARROW_RIGHT, Keys.ARROW_RIGHT)  # to the first child, which unfolds
    looker.until(lambda: looker.one(tree_item("Reel")).is_displayed(), "the tree to unfold")
    looker.press(Keys.ARROW_DOWN, Keys.ENTER)
    looker.until(lambda: looker.place == "/Library/Reel", "the folder")
    looker.press("/", "ten")
    looker.until_text("#found-count", "1 found")
    looker.press(Keys.ENTER, Keys.ENTER)
    looker.until_frame(0)
    looker.press(Keys.ARROW_RIGHT, "?")
    looker.until(lambda: looker.one("#help").is_displayed(), "the help")
    looker.press(Keys.ESCAPE, "j", "2", Keys.ENTER)
    looker.until_frame(2)
    looker.until_text("#announcement", "Frame 2 of 3")
    looker.press(Keys.ESCAPE, " ")
    looker.until(lambda: looker.one("#play").get_attribute("aria-label") == "Pause", "playing")
    unnamed = looker.script("""
        return [...document.querySelectorAll("button, input, select, [role=slider], canvas[role=img]")]
            .filter((each) => !each.textContent.trim() && !each.ariaLabel && !each.labels?.length)
            .map((each) => each.outerHTML)""")
    assert unnamed == []


@pytest.mark.parametrize("place", ["/Library/Reel", "/Library/Reel/half@1?with=/Library/Reel/ten@0&how=difference",
                                   "/nowhere"])
def test_fits_a_narrow_window(looker: Looker, place: str) -> None:
    set_size(looker.driver, 360, 740, "light")
    looker.open(place)
    looker.until(lambda: looker.all(".card img") or looker.text("#message") or looker.text("#format"), "the place")
    looker.press("m")
    for opened in (False, True):
        if opened:
            looker.click("#tree-toggle")
            looker.until(lambda: looker.one("#search").is_displayed(), "the tree")
        wide = looker.script("""
            return [...document.querySelectorAll("body, main, #folder, #clip, #measures, #sidebar")]
                .filter((each) => each.scrollWidth > Math.max(each.clientWidth, 0) || each.getBoundingClientRect().right > 360)
                .map((each) => each.id || each.tagName)""")
        assert wide == []


class Foreign(http.server.BaseHTTPRequestHandler):
    """A page of another origin, which tries what such a page can."""

    def do_GET(self) -> None:
        self.send_response(200)
        self.send_header("Content-Type", "text/html")
        self.end_headers()
        self.wfile.write(b"<!doctype html><title>foreign</title>")

    def log_message(self, *_: object) -> None:
        pass


ATTEMPTS = """
const [addresses, done] = arguments;
const read = async (address) => (await fetch(address)).text();
const readBlind = async (address) => { await fetch(address, {mode: "no-cors"}); return "loaded"; };
const load = (tag, name) => (address) => new Promise((resolve, reject) => {
    const made = document.createElement(tag);
    made.onload = () => resolve("loaded");
    made.onerror = reject;
    made[name] = address;
    document.head.append(made);
});
const attempts = {read, readBlind, image: load("img", "src"), script: load("script", "src")};
Promise.all(addresses.flatMap((address) => Object.entries(attempts).map(([name, attempt]) =>
    attempt(address).then(() => `${name} ${address}`, () => null)))).then((got) => done(got.filter(Boolean)));
"""


def test_a_page_of_another_origin_gets_nothing(driver: Any, media: tuple[MediaServer, Page]) -> None:
    address = media[1].address
    foreign = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Foreign)
    threading.Thread(target=foreign.serve_forever, daemon=True).start()
    driver.get(f"http://127.0.0.1:{foreign.server_port}/")
    driver.set_script_timeout(30)
    bare = re.sub(r"/[0-9a-f]+/$", "/", address)
    assert bare != address
    addresses = [address, address + "api/about", address + "api/image?id=n1&frame=0", address + "main.js",
                 bare, bare + "api/about", bare + "main.js"]
    assert driver.execute_async_script(ATTEMPTS, addresses) == []
    own = f"http://127.0.0.1:{foreign.server_port}/"  # the attempts are such that they succeed
    assert len(driver.execute_async_script(ATTEMPTS, [own])) == 3
    foreign.shutdown()
    driver.get_log("browser")
