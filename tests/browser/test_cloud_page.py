"""The page of a cloud."""

import math
import random
import re

import pytest
from conftest import PHOTOGRAPHS, run
from selenium.webdriver.common.keys import Keys

WIDTH, HEIGHT, FOCAL, BASELINE = 640, 480, 500, 0.125
NEAR, FAR = 50, 20  # disparities of the columns before and from EDGE on: 1.25 and 3.125 m
EDGE = 400
NAME = "<img src=x onerror=alert(1)>&amp;<script>alert(1)"


def write_grey(path, pixels):
    path.write_bytes(b"P5 %d %d 255\n" % (WIDTH, HEIGHT) + pixels)


def write_scene(left, right):
    """Two walls of noise, side by side."""
    noise = random.Random(1)
    seen_left, seen_right = bytearray(), bytearray()
    for _ in range(HEIGHT):
        row = noise.randbytes(WIDTH)
        shifted = bytearray(noise.randbytes(WIDTH))
        shifted[EDGE - FAR:WIDTH - FAR] = row[EDGE:]
        shifted[0:EDGE - NEAR] = row[NEAR:EDGE]
        seen_left += row
        seen_right += shifted
    write_grey(left, bytes(seen_left))
    write_grey(right, bytes(seen_right))


@pytest.fixture(scope="module")
def scene(tmp_path_factory):
    folder = tmp_path_factory.mktemp("scene")
    left, right = folder / f"{NAME}.pgm", folder / "right.pgm"
    write_scene(left, right)
    run("depth", "--rectified", "--focal", FOCAL, "--baseline", "125mm", "--left", left, "--right",
        right, "--range", "0.9..4", "--formats", "html,ply-text", "--output", folder)
    return folder


def read_points(path):
    """The points of a cloud by the pixels that they are seen at."""
    lines = path.read_text().splitlines()
    points = {}
    for line in lines[lines.index("end_header") + 1:]:
        x, y, z = map(float, line.split()[:3])
        points[round(FOCAL * x / z + (WIDTH - 1) / 2), round(FOCAL * y / z + (HEIGHT - 1) / 2)] = x, y, z
    return points


def place_in_picture(browser, x, y):
    """Where pixel (x, y) of the image is shown in its canvas."""
    size = browser.run("return document.getElementById('picture').clientWidth") / WIDTH
    return (x + 0.5) * size, (y + 0.5) * size


def place_in_cloud(browser, x, y):
    """Where the point of a pixel is in the cloud, which the mark there shows."""
    browser.point_at("#picture", *place_in_picture(browser, x, y))
    return browser.run("""
        const [mark, cloud] = ["#overlay .mark", "#cloud"].map(
            selector => document.querySelector(selector).getBoundingClientRect());
        return [mark.x + mark.width / 2 - cloud.x, mark.y + mark.height / 2 - cloud.y];""")


def colour_in_cloud(browser, place):
    return browser.run("""
        const canvas = document.getElementById("cloud");
        const copy = Object.assign(document.createElement("canvas"), {width: 1, height: 1});
        const context = copy.getContext("2d");
        context.drawImage(canvas, -arguments[0], -arguments[1]);
        return [...context.getImageData(0, 0, 1, 1).data];""", *map(round, place))


def choose(browser, select, value):
    browser.run("const select = document.getElementById(arguments[0]); select.value = arguments[1];"
                "select.dispatchEvent(new Event('change'));", select, value)
    browser.settle()


def test_shows_the_points_of_the_cloud_file(browser, scene):
    points = read_points(scene / f"{NAME}.ply")
    browser.open(scene / f"{NAME}.html")
    assert browser.text("h1") == f"Cloud of {NAME}" == browser.driver.title
    assert int(re.match(r"\d+", browser.text("#summary"))[0]) == len(points) > WIDTH * HEIGHT / 2
    for pixel in [(200, 100), (333, 250), (500, 400)]:
        browser.point_at("#picture", *place_in_picture(browser, *pixel))
        [[name, disparity, depth, x, y]] = browser.cells("#pointer")
        assert name == "%d,\u00a0%d" % pixel
        assert float(disparity) == pytest.approx(NEAR if pixel[0] < EDGE else FAR, abs=0.1)
        assert list(map(float, [x, y, depth])) == pytest.approx(points[pixel], rel=1e-4, abs=1e-6)
    browser.point_at("#picture", *place_in_picture(browser, 3, 3))
    assert browser.cells("#pointer")[0][:2] == ["3,\u00a03", "not measured"]


def test_holds_all_points_of_refined_pairs(browser, scene, tmp_path):
    run("depth", "--rectified", "--focal", FOCAL, "--baseline", 125, "--centre-offset", 6, "--left",
        scene / f"{NAME}.pgm", "--right", scene / "right.pgm", "--range", "1000..3000", "--refit",
        "--formats", "html,ply-text", "--output", tmp_path)
    points = (tmp_path / f"{NAME}.ply").read_text().split("end_header\n")[1].splitlines()
    browser.open(tmp_path / f"{NAME}.html")
    assert "lengths in units of the calibration" in browser.text("#pointer caption")
    step, held = browser.run("const cloud = readCloud();"
                             "return [cloud.disparityStep, [...cloud.pixels].map(i => cloud.pointAt(i))]")
    assert len(held) == len(points) > WIDTH * HEIGHT / 2 and step <= 1 / 512
    assert f"steps of 1/{round(1 / step)} pixel" in browser.text("#made-with")
    depths = set()
    for here, line in zip(held, points):
        there = list(map(float, line.split()[:3]))
        depths.add(there[2])
        assert math.dist(here, there) < math.hypot(*there) * (step / 2 / (FAR + 5) + 1e-6)
    assert len(depths) > 1000, "fractions of pixels"


def pixel_of(name):
    return tuple(map(int, name.split(",")))


def known_point(x, y):
    z = FOCAL * BASELINE / (NEAR if x < EDGE else FAR)
    return (x - (WIDTH - 1) / 2) * z / FOCAL, (y - (HEIGHT - 1) / 2) * z / FOCAL, z


def test_measures_known_distances(browser, scene):
    browser.open(scene / f"{NAME}.html")
    corners = [(150, 100), (350, 400), (600, 100)]
    # One is taken back.
    starts = "return document.querySelectorAll('#overlay .start, #picture-overlay .start').length"
    browser.point_at("#picture", *place_in_picture(browser, 200, 200), click=True)
    browser.point_at("#picture", *place_in_picture(browser, 3, 3), click=True)
    assert re.search("Nothing was measured there. From pixel 200,\\s200", browser.text("#distance-status"))
    assert browser.run(starts) == 2 and browser.find("#clear-distances").is_enabled()
    browser.find("#cloud").send_keys(Keys.ESCAPE)
    assert browser.run(starts) == 0 and not browser.find("#clear-distances").is_enabled()
    # In the image, then in the cloud: along a wall and across to the other.
    for corner in corners[:2]:
        browser.point_at("#picture", *place_in_picture(browser, *corner), click=True)
    for corner in [corners[0], corners[1], corners[1], corners[2]]:
        browser.point_at("#cloud", *place_in_cloud(browser, *corner), click=True)
        # A mouse points to whole pixels of the screen, which are larger there.
        assert pixel_of(browser.cells("#pointer")[0][0]) == pytest.approx(corner, abs=1)
    rows = browser.cells("#distances")
    assert [pixel_of(name) for name in rows[0][1:3]] == [
        pytest.approx(corner, abs=1) for corner in corners[:2]]
    for row in rows:
        start, end = [known_point(*pixel_of(name)) for name in row[1:3]]
        assert float(row[3]) == pytest.approx(math.dist(start, end), rel=2e-3)
        assert [float(value) for value in row[4:]] == pytest.approx(
            [to - since for since, to in zip(start, end)], abs=2e-3)
    assert rows[2][3] in browser.text("#distance-status")
    assert browser.text("#overlay text") == f"{rows[0][3]}\u00a0m"
    browser.find("#clear-distances").click()
    assert browser.cells("#distances") == [] and browser.text("#overlay") == ""


def test_takes_what_is_in_front(browser, scene):
    browser.open(scene / f"{NAME}.html")
    browser.point_at("#cloud", 200, 200, drag_by=50)
    # Away and back, a second finger, a scroll.
    browser.run("""
        const cloud = document.getElementById("cloud");
        const {left, top} = cloud.getBoundingClientRect();
        const send = (kind, x, isPrimary = true) => cloud.dispatchEvent(new PointerEvent(kind, {
            pointerType: "touch", isPrimary, buttons: 1, clientX: left + x, clientY: top + 200}));
        for (const [kind, x, isPrimary] of [["pointermove", 250, true], ["pointerdown", 300, false],
                                            ["pointercancel", 200, true]]) {
            send("pointerdown", 200);
            send(kind, x, isPrimary);
            send("pointermove", 200);
            send("pointerup", 200);
        }""")
    assert "Click two points" in browser.text("#distance-status"), "gestures are no clicks"
    # From the left, the nearer wall hides this part of the other.
    browser.point_at("#cloud", *place_in_cloud(browser, 420, 240), click=True)
    assert pixel_of(browser.cells("#pointer")[0][0])[0] < EDGE


def test_picks_the_pixel_that_the_camera_sees_there(browser, scene):
    browser.open(scene / f"{NAME}.html")
    browser.find("#view-camera").click()
    width, height = browser.run("return [document.getElementById('cloud').clientWidth,"
                                "        document.getElementById('cloud').clientHeight]")
    # The view spans the image and a pixel more.
    scale = min(height / (HEIGHT + 1), width / (WIDTH + 1))
    for x, y in [(101, 83), (250, 200), (333, 301), (500, 77)]:
        browser.point_at("#cloud", x, y)
        assert pixel_of(browser.cells("#pointer")[0][0]) == (
            round((WIDTH - 1) / 2 + (x - width / 2) / scale),
            round((HEIGHT - 1) / 2 + (y - height / 2) / scale))


def press(browser, code):
    browser.command("Input.dispatchKeyEvent", type="keyDown", code=code)
    for _ in range(5):
        browser.settle()
    browser.command("Input.dispatchKeyEvent", type="keyUp", code=code)


def test_turns_flies_and_colours(browser, scene):
    browser.open(scene / f"{NAME}.html")
    from_aside = place_in_cloud(browser, 300, 240)
    red, green, blue, opacity = colour_in_cloud(browser, from_aside)
    assert red == green == blue and opacity == 255, "the noise is grey"
    choose(browser, "cloud-colour", "depth")
    for x, colour in [(300, [253, 231, 37, 255]), (550, [68, 1, 84, 255])]:
        shown = colour_in_cloud(browser, place_in_cloud(browser, x, 240))
        assert shown == pytest.approx(colour, abs=8)
    assert colour_in_cloud(browser, [2, 2])[3] == 0, "beside the cloud"
    browser.find("#view-camera").click()
    width, height = browser.run("return [document.getElementById('cloud').clientWidth,"
                                "        document.getElementById('cloud').clientHeight]")
    # Half a pixel of the image further, as the camera looks at the middle between four pixels.
    assert place_in_cloud(browser, 319, 239) == pytest.approx([width / 2, height / 2], abs=1.5)
    before = place_in_cloud(browser, 200, 240)
    browser.run("document.getElementById('cloud').focus()")
    press(browser, "KeyW")
    flown = place_in_cloud(browser, 200, 240)
    assert flown[0] < before[0] - 1, "what is nearer is further out"
    press(browser, "KeyL")
    assert place_in_cloud(browser, 200, 240)[0] < flown[0] - 1, "near things go left, seen from the right"
    browser.driver.execute_async_script("""
        const done = arguments[0], cloud = document.getElementById("cloud");
        const loss = (cloud.getContext("webgl2") ?? cloud.getContext("webgl"))
            .getExtension("WEBGL_lose_context");
        cloud.addEventListener("webglcontextlost", () => setTimeout(() => loss.restoreContext()));
        cloud.addEventListener("webglcontextrestored", () => setTimeout(done, 100));
        loss.loseContext();""")
    assert browser.colours("#cloud") > 1, "drawn again"
    assert all("THREE.WebGLRenderer: Context" in line for line in browser.complaints())
    browser.find("#view-aside").click()
    assert place_in_cloud(browser, 300, 240) == pytest.approx(from_aside, abs=1)


def test_works_by_the_keyboard_on_narrow_screens(browser, scene):
    for scheme in ["light", "dark"]:
        browser.open(scene / f"{NAME}.html", width=320, scheme=scheme)
        assert browser.overflow() <= 0
        picture = browser.find("#picture")
        picture.send_keys(Keys.ARROW_RIGHT, Keys.ENTER, Keys.SHIFT + Keys.ARROW_RIGHT, Keys.ENTER)
        [[_, start, end, distance, *_]] = browser.cells("#distances")
        assert (start, end) == ("321,\u00a0240", "331,\u00a0240")
        assert float(distance) == pytest.approx(10 * 1.25 / FOCAL, rel=0.01)
        assert re.fullmatch(r"pixel 331,\s240: depth 1.2\d*\sm", browser.text("#pointer-status"))


def test_hides_what_is_of_no_use(browser, tmp_path):
    write_grey(tmp_path / "left.pgm", bytes(WIDTH * HEIGHT))
    run("depth", "--rectified", "--focal", FOCAL, "--baseline", 125, "--left", tmp_path / "left.pgm",
        "--right", tmp_path / "left.pgm", "--range", "1000..3000", "--formats", "html", "--output", tmp_path)
    browser.open(tmp_path / "left.html")
    assert browser.text("#summary") == "Nothing was measured."
    shown = browser.run("return [...document.querySelectorAll('canvas, select, button')]"
                        ".filter(part => part.checkVisibility()).map(part => part.id)")
    assert shown == ["picture"] and browser.colours("#picture") == 1


def test_runs_no_scripts_but_its_own(browser, scene, tmp_path):
    page = tmp_path / "page.html"
    text = (scene / f"{NAME}.html").read_text()
    page.write_text(text.replace("<h1>", "<script>hostile = 1</script><img src='https://a.invalid/'>"
                                         "<p onclick='hostile = 1'></p><h1>"))
    browser.open(page)
    assert browser.run("document.querySelector('p[onclick]').click(); return typeof hostile") == "undefined"
    complaints = browser.complaints()
    assert len(complaints) == 3 and all("Content Security Policy" in line for line in complaints)


def test_thins_out_large_clouds(browser, tmp_path):
    run("depth", "--rectified", "--focal", "3740", "--baseline", "160mm", "--centre-offset", "270",
        "--left", PHOTOGRAPHS / "aloeL.jpg", "--right", PHOTOGRAPHS / "aloeR.jpg", "--range", "1.2..2",
        "--preset", "dense", "--formats", "html", "--output", tmp_path)
    browser.open(tmp_path / "aloeL.html")
    assert browser.colours("#cloud") > 1000
    measured, drawn = map(int, re.findall(r"\d{6,}", browser.text("#thinned")))
    assert browser.text("#summary").startswith(str(measured))
    assert measured > drawn == pytest.approx(1e6, abs=4e3)
    # From so far away that all points are seen at one place.
    canvas = "document.getElementById('cloud')"
    browser.run(f"for (let i = 0; i < 150; ++i) {canvas}.dispatchEvent("
                "new WheelEvent('wheel', {deltaY: 100, bubbles: true, cancelable: true}))")
    x, y = browser.run(f"return [{canvas}.clientWidth / 2, {canvas}.clientHeight / 2]")
    browser.point_at("#cloud", x, y)
    assert browser.cells("#pointer")[0][0] != "none" and browser.colours("#cloud") > 100
