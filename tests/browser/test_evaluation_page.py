"""The page of an evaluation, of disparities whose errors are known."""

import struct

import pytest
from conftest import run

WIDTH, HEIGHT, TRUTH = 200, 100, 20
NAME = "a<script>alert(1)<_script>.pfm"


def write_pfm(path, rows):
    body = b"".join(struct.pack(f"<{WIDTH}f", *row) for row in reversed(rows))
    path.write_bytes(b"Pf\n%d %d\n-1\n" % (WIDTH, HEIGHT) + body)


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    """Off by 3 in a square, by 1 in a strip at the bottom; not measured on the left."""
    folder = tmp_path_factory.mktemp("evaluation")
    truth = [[TRUTH] * WIDTH for _ in range(HEIGHT)]
    found = [[0] * 20 + [TRUTH] * (WIDTH - 20) for _ in range(HEIGHT)]
    for y in range(60, 80):
        found[y][40:60] = [TRUTH + 3] * 20
    for y in range(95, 100):
        found[y][20:] = [TRUTH - 1] * (WIDTH - 20)
    write_pfm(folder / NAME, found)
    write_pfm(folder / "exact.pfm", truth)
    write_pfm(folder / "truth.pfm", truth)
    evaluate(folder, ["exact.pfm"], "report.html")
    evaluate(folder, ["exact.pfm"] * 20, "many.html")
    return folder


def evaluate(folder, others, page):
    files = [NAME, *others]
    run("evaluate", "--disparity", *[folder / name for name in files], "--ground-truth",
        *[folder / "truth.pfm"] * len(files), "--report", folder / page)


def colour_at(browser, canvas, x, y):
    return browser.run("""
        const canvas = document.querySelectorAll(arguments[0])[arguments[1]];
        const copy = Object.assign(document.createElement("canvas"), {width: 1, height: 1});
        const context = copy.getContext("2d");
        context.drawImage(canvas, -arguments[2], -arguments[3]);
        return [...context.getImageData(0, 0, 1, 1).data].slice(0, 3);""",
        *canvas, x, y)


def test_shows_errors_where_they_are(browser, folder):
    browser.open(folder / "report.html")
    assert browser.cells("#files")[0][0].endswith(NAME)
    measured = (WIDTH - 20) * HEIGHT
    assert browser.cells("#files")[0][1:4] == [
        "90.00 %", f"{(3 * 400 + 5 * 180) / measured:.3f} pixels", f"{100 * 400 / measured:.2f} %"]
    counts = [int(row[1]) for row in browser.cells("#histogram-table")]
    assert counts == [measured - 400 - 900, 0, 900, 0, 400, 0, 0]
    errors = "#maps canvas", 0
    assert colour_at(browser, errors, 10, 10) == [128, 128, 128], "not measured"
    assert colour_at(browser, errors, 100, 10) == [68, 1, 84], "no error"
    square, strip = (colour_at(browser, errors, *place) for place in [(50, 70), (100, 97)])
    assert sum(square) > sum(strip) > sum([68, 1, 84])
    worst = browser.run("return [...document.querySelectorAll('#worst figcaption')].map(e => e.textContent)")
    assert worst[0].startswith("1: 20 x 20 pixels from 40, 60; error 3.00 pixels, 100 % measured")
    # Nothing but the square is cut out.
    for x, y in [(2, 2), (157, 157), (2, 157)]:
        assert colour_at(browser, ("#worst canvas", 2), x, y) == square


def choose(browser, index):
    browser.driver.execute_async_script("""
        const done = arguments[1], select = document.getElementById("chosen");
        select.value = arguments[0];
        new MutationObserver(() => done()).observe(
            document.getElementById("maps"), {attributes: true});
        select.dispatchEvent(new Event("change"));""", index)


def test_shows_the_chosen_one(browser, folder):
    browser.open(folder / "report.html", width=320, scheme="dark")
    assert browser.overflow() <= 0
    choose(browser, 1)
    assert colour_at(browser, ("#maps canvas", 0), 10, 10) == [68, 1, 84]
    assert browser.text("#worst") == "There is no place with errors."


def test_labels_are_legible_on_a_phone(browser, folder):
    browser.open(folder / "report.html", width=320)
    boxes = browser.run("return [...document.querySelectorAll('#histogram text')].slice(-7)"
                        ".map(label => label.getBoundingClientRect().toJSON())")
    assert all(box["height"] >= 12 for box in boxes)
    assert all(one["right"] < other["left"] for one, other in zip(boxes, boxes[1:]))
    assert boxes[-1]["right"] < 320


def test_leaves_out_pictures_of_the_best_of_many(browser, folder):
    browser.open(folder / "many.html")
    groups = browser.run("return [...document.querySelectorAll('optgroup')].map(group => group.children.length)")
    assert groups == [20, 1] and "the worst 20 of these 21," in browser.text("#not-pictured")
    assert len(browser.cells("#files")) == 21
    assert colour_at(browser, ("#maps canvas", 0), 50, 70) != [68, 1, 84]
    choose(browser, 20)
    assert not browser.find("#pictured").is_displayed()
    assert int(browser.cells("#histogram-table")[0][1]) == WIDTH * HEIGHT
    choose(browser, 0)
    assert browser.find("#pictured").is_displayed()
