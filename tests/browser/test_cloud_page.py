"""The page of a cloud."""

from conftest import PHOTOGRAPHS, run


def test_shows_a_cloud_of_photographs(browser, tmp_path):
    run("depth", "--rectified", "--focal", "3740", "--baseline", "160mm", "--centre-offset", "270",
        "--left", PHOTOGRAPHS / "aloeL.jpg", "--right", PHOTOGRAPHS / "aloeR.jpg", "--range", "1.2..2",
        "--scale", "2", "--formats", "html", "--output", tmp_path)
    browser.open(tmp_path / "aloeL.html", width=360)
    assert browser.overflow() <= 0
    assert browser.colours("#cloud") > 100
