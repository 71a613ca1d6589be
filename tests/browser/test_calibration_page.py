"""The page of a calibration, of photographs of a chessboard."""

import json
import shutil

import pytest
from conftest import PHOTOGRAPHS, run

HOSTILE = "04<script>alert(1)<_script>.jpg"


@pytest.fixture(scope="module")
def rig(tmp_path_factory):
    """Calibrated with twelve pairs; one of hostile names has no board."""
    folder = tmp_path_factory.mktemp("calibration")
    for number in ["01", "02", "03", "05", "06", "07", "08", "09", "11", "12", "13", "14"]:
        for camera in ["left", "right"]:
            shutil.copy(PHOTOGRAPHS / f"{camera}{number}.jpg", folder)
    shutil.copy(PHOTOGRAPHS / "aloeL.jpg", folder / f"left{HOSTILE}")
    shutil.copy(PHOTOGRAPHS / "aloeR.jpg", folder / f"right{HOSTILE}")
    run("calibrate", "--corners", "9x6", "--square", "25mm", "--left", folder / "left*.jpg",
        "--right", folder / "right*.jpg", "--output", folder / "rig", status=4)
    return folder / "rig"


@pytest.fixture(scope="module")
def report(rig):
    return json.loads((rig / "report.json").read_text())


def attributes(browser, selector, name):
    return browser.run("return [...document.querySelectorAll(arguments[0])]"
                       ".map(found => found.getAttribute(arguments[1]))", selector, name)


def shift(marks):
    """How far the arrows lead, from paths of `M x y L x y M...`."""
    lengths = []
    for arrow in marks.split("M")[1::2]:
        start, end = [list(map(float, point.split())) for point in arrow.split("L")]
        lengths.append([end[0] - start[0], end[1] - start[1]])
    return lengths


def test_tells_the_numbers_of_the_report(browser, rig, report):
    browser.open(rig / "report.html")
    assert browser.text("#verdict") == report["verdict"]
    assert [row[:2] for row in browser.cells("#criteria")] == [
        [criterion["name"], criterion["grade"]] for criterion in report["criteria"]]
    assert float(browser.cells("#cameras")[0][1].split()[0]) == pytest.approx(
        report["left"]["focalLength"], abs=6e-3)
    assert [[float(cell) for cell in row[3:]] for row in browser.cells("#views")] == [
        [pytest.approx(view[key], abs=6e-4) for key in
         ("pairError", "leftError", "rightError", "meanRowDifference")] for view in report["views"]]
    assert browser.cells("#left-out")[0][:2] == [f"left{HOSTILE}", f"right{HOSTILE}"]
    counts = browser.run("return [...document.querySelectorAll('#coverage text')].map(text => +text.textContent)")
    assert counts == [count for camera in ("left", "right")
                      for row in report["coverage"][camera]["counts"] for count in row]
    heights = [float(height) for height in attributes(browser, "#errors .bar", "height")]
    errors = [view[f"{camera}Points"]["error"] for view in report["views"]
              for camera in ("left", "right")]
    assert [height / max(heights) for height in heights] == [
        pytest.approx(error / max(errors), abs=1e-3) for error in errors]
    assert browser.cells("#made-with")[0][1] == report["program"]
    assert browser.colours("#boards") > 3


def test_shows_the_pair_of_a_bar(browser, rig, report):
    browser.open(rig / "report.html")
    before = browser.run("return document.getElementById('boards').toDataURL()")
    browser.find("#errors [data-index='4']").click()
    browser.run("document.querySelector('#errors [data-index=\"5\"]').focus()")
    browser.find("#errors [data-index='5']").send_keys("\n")
    assert browser.run("return document.getElementById('view').dataset.index") == "5"
    assert attributes(browser, "#errors [aria-pressed=true]", "data-index") == ["5"]
    browser.settle()
    assert browser.run("return document.getElementById('boards').toDataURL()") != before
    view = report["views"][5]
    assert view["left"].endswith(browser.text("#view-name").split()[2])
    browser.run("const select = document.getElementById('magnification'); select.value = '100';"
                "select.dispatchEvent(new Event('change'))")
    for camera in ["left", "right"]:
        points = view[f"{camera}Points"]
        picture = f"#view-pictures [data-camera={camera}]"
        found = list(zip(attributes(browser, f"{picture} circle", "cx"),
                         attributes(browser, f"{picture} circle", "cy")))
        assert [list(map(float, point)) for point in found] == points["found"]
        arrows = shift(attributes(browser, f"{picture} .corner.residual", "d")[0])
        expected = [[100 * (to - start) for to, start in zip(*pair)]
                    for pair in zip(points["found"], points["reprojected"])]
        assert arrows == [pytest.approx(arrow, abs=1e-6) for arrow in expected]
    sizes = browser.run("""
        const images = [...document.querySelectorAll("#view-pictures image")];
        return Promise.all(images.map(async shown => {
            const image = new Image();
            image.src = shown.getAttribute("href");
            await image.decode();
            return [image.naturalWidth, image.naturalHeight];
        }));""")
    assert sizes == [report["imageSize"]] * 2


def test_lines_up_rows_and_turns_boards(browser, rig):
    browser.open(rig / "report.html")
    height = browser.run("return document.querySelector('#rectified svg').getBoundingClientRect().height")
    browser.point_at("#rectified svg", 50, height / 4)
    row = int(browser.run("return document.querySelector('#rectified svg').dataset.row"))
    assert row == pytest.approx(120, abs=1)
    assert attributes(browser, "#rectified .row-line", "d") == [f"M-0.5 {row}h640"]
    browser.run("const share = document.getElementById('rectified-share'); share.value = 25;"
                "share.dispatchEvent(new Event('input'))")
    assert attributes(browser, "#rectified clipPath rect", "x") == ["159.5"]
    views = []
    for button in ["boards-aside", "boards-above", "boards-camera"]:
        browser.find(f"#{button}").click()
        browser.settle()
        views.append(browser.run("return document.getElementById('boards').toDataURL()"))
    assert len(set(views)) == 3


def test_says_which_pictures_are_missing(browser, rig, tmp_path, report):
    copy = tmp_path / "rig"
    shutil.copytree(rig, copy)
    edited = json.loads((copy / "report.json").read_text())
    edited["views"][0]["inputs"][1]["sha256"] = "0" * 64
    (copy / "report.json").write_text(json.dumps(edited))
    run("report", "--calibration", copy)
    for scheme in ["light", "dark"]:
        browser.open(copy / "report.html", width=320, scheme=scheme)
        assert browser.overflow() <= 0
        assert "another file than it was" in browser.text("#view-numbers")
        assert browser.run("return document.querySelectorAll('#view-pictures image').length") == 0
        browser.find("#next-view").click()
        assert browser.run("return document.querySelectorAll('#view-pictures image').length") == 2
