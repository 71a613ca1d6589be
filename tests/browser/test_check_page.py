"""The page of a check."""

import json

import pytest
from conftest import PHOTOGRAPHS, run


def images(numbers):
    return ["--left", *[PHOTOGRAPHS / f"left{number}.jpg" for number in numbers],
            "--right", *[PHOTOGRAPHS / f"right{number}.jpg" for number in numbers]]


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    folder = tmp_path_factory.mktemp("check")
    run("calibrate", "--corners", "9x6", "--square", "25mm", "--no-report", "--output", folder,
        *images(["01", "02", "03", "05", "06", "07", "08", "09", "11", "12"]))
    run("check", "--calibration", folder, "--output", folder / "check", "--report",
        folder / "check.html", *images(["01", "02", "03"]))
    run("check", "--left-calibration", folder / "right.yml", "--right-calibration",
        folder / "left.yml", "--report", folder / "swapped.html", *images(["01"]), status=1)
    return folder


def test_tells_the_numbers_of_the_report(browser, folder):
    report = json.loads((folder / "check/report.json").read_text())
    browser.open(folder / "check.html")
    assert browser.text("#verdict") == report["verdict"] == "calibrated"
    numbers = {name: value for name, value in browser.cells("#numbers")}
    assert int(numbers["of these consistent"]) == report["consistentMatches"]
    assert numbers["row difference, median"] == f"{report['rowDifference']['median']:.3f} pixels"
    for row, medians in enumerate(report["rowDifference"]["regionMedians"]):
        for column, median in enumerate(medians):
            shown = browser.text(f"[data-region='{row}-{column}']")
            assert shown == "too few" if median is None else float(shown) == pytest.approx(median, abs=6e-3)
    assert [float(row[4]) for row in browser.cells("#pairs")] == [
        pytest.approx(pair["median"], abs=6e-4) for pair in report["pairRowDifferences"]]
    counts = [pair["consistentMatches"] for pair in report["pairRowDifferences"]]
    assert sum(counts) == report["consistentMatches"]
    shown = "return +document.querySelector('#places svg').dataset.shown"
    assert browser.run(shown) == sum(counts)
    browser.find("#pair-chart [data-index='1']").click()
    assert browser.run(shown) == counts[1]
    browser.find("#all-pairs").click()
    assert browser.run(shown) == sum(counts)


def test_works_on_narrow_screens_and_without_images(browser, folder):
    browser.open(folder / "check.html", width=320, scheme="dark")
    assert browser.overflow() <= 0
    browser.open(folder / "swapped.html")
    assert browser.text("#verdict") == "swapped" and browser.text("#advice") != ""
    assert not browser.find("#seen").is_displayed()
