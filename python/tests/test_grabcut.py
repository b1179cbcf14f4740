# qxmatte.grabcut and the GrabCut session: the tool's trimap, strokes,
# closing, and argument errors (the selection's quality and the fixed marks
# are the library's own tests').
import gc

import numpy as np
import pytest
from PIL import Image

import qxmatte
from conftest import SAMPLES, read, untouched


def scene(height=200, width=240, seed=3):
    """A warm textured ellipse on a cool textured background, and its truth."""
    rng = np.random.default_rng(seed)
    yy, xx = np.mgrid[0:height, 0:width]
    truth = ((yy - height / 2) / (height / 4)) ** 2 + ((xx - width / 2) / (width / 5)) ** 2 < 1
    background = np.stack([40 + 30 * np.sin(xx * 0.2), 90 + 0 * xx, 160 + 30 * np.cos(yy * 0.15)], axis=-1)
    foreground = np.stack([200 + 20 * np.sin(yy * 0.3), 120 + 0 * xx, 50 + 20 * np.cos(xx * 0.25)], axis=-1)
    image = np.where(truth[..., None], foreground, background) + rng.normal(0, 12, (height, width, 3))
    return np.clip(image, 0, 255).astype(np.uint8), truth


def iou(a, b):
    return (a & b).sum() / (a | b).sum()


def test_equals_the_command_line_tool_and_the_session(astronaut, cli):
    image, _ = astronaut
    marks = np.full(image.shape[:2], 128, np.uint8)
    marks[300:340, 200:300] = 255
    marks[20:40, 20:80] = 0
    marks[400:420, 150:200] = 1  # the brushes' cut, on the suit
    qxmatte.grabcut(image, (90, 10, 400, 500))  # an earlier call changes nothing
    Image.fromarray(marks).save(cli.path("marks.png"))
    cli("grabcut", SAMPLES / "astronaut.png", "-o", "trimap.png", "--rect", "100,20,380,492", "--marks", "marks.png",
        "--iterations", 2, "--band", 12)
    with untouched(image, marks):
        trimap = qxmatte.grabcut(image[:, ::-1][:, ::-1], (100, 20, 380, 492), marks, iterations=2, band=12)
    assert trimap.dtype == np.uint8
    np.testing.assert_array_equal(trimap, read(cli.path("trimap.png")))
    assert (trimap[400:420, 150:200] == 0).all()
    # The session takes the same road: passes, then band and ending pass.
    with qxmatte.GrabCut(image, (100, 20, 380, 492), marks) as session:
        session.run(2)
        np.testing.assert_array_equal(session.trimap(band=12), trimap)


def test_session_strokes_selection_and_closing():
    image, truth = scene()
    with qxmatte.GrabCut(image, (60, 40, 120, 120)) as session:
        first = session.run()
        assert first.dtype == np.uint8 and iou(first >= 128, truth) > 0.9
        np.testing.assert_array_equal(session.selection, first)
        session.cut((100, 100), (140, 100), radius=4)
        second = session.run()
        assert (second[97:104, 100:141] == 0).all()
        trimap = session.trimap()
        assert (trimap[97:104, 100:141] == 0).all()
        session.erase((100, 100), (140, 100), radius=4)
        assert iou(session.run() >= 128, truth) > 0.9  # the trimap left the session open
    assert session.closed
    for call in (session.run, session.trimap, lambda: session.keep((1, 1))):
        with pytest.raises(ValueError, match="closed"):
            call()
    session.close()  # twice is harmless
    # An open session is freed when it goes.
    session = qxmatte.GrabCut(image)
    session.run()
    del session
    gc.collect()


@pytest.mark.parametrize("kwargs, message", [
    ({"rect": (200, 0, 100, 100)}, r"the rectangle 200,0,100,100 is empty or leaves the 240x200 image"),
    ({"rect": (0, 0, 0, 50)}, "is empty or leaves"),
    ({"rect": (1, 2, 3)}, r"rect must be \(x, y, width, height\)"),
    ({"rect": (0.5, 0, 10, 10)}, "rect must hold integers"),
    ({"rect": (100, 80, 20, 20)}, "the rectangle 20x20 is too small for GrabCut"),
    ({"rect": (0, 0, 240, 12)}, "the rectangle 240x12 is too small"),
    ({"marks": np.zeros((10, 10), np.uint8)}, "image is 240x200 but marks is 10x10; both must have the same size"),
    ({"iterations": 0}, "at least one GrabCut pass is needed"),
    ({"band": -1}, "the band width must not be negative"),
])
def test_bad_arguments_are_value_errors(kwargs, message):
    with pytest.raises(ValueError, match=message):
        qxmatte.grabcut(scene()[0], **kwargs)


def test_bad_session_arguments():
    with qxmatte.GrabCut(scene()[0]) as session:
        with pytest.raises(ValueError, match="radius"):
            session.keep((1, 1), radius=-1)
        # Points outside the 240x200 image are mistakes, not clipped strokes.
        for stroke, message in [(lambda: session.keep((900, 10)), "the stroke's start 900,10 lies outside"),
                                (lambda: session.cut((5, 5), (5, 200)), "the stroke's end 5,200 lies outside"),
                                (lambda: session.erase((-1, 0)), "start -1,0 lies outside the 240x200 image")]:
            with pytest.raises(ValueError, match=message):
                stroke()
        np.testing.assert_array_equal(session.run(), qxmatte.GrabCut(scene()[0]).run())
    with pytest.raises(ValueError, match="too small or too large for a GrabCut session"):
        qxmatte.GrabCut(np.zeros((10, 3300, 3), np.uint8))
