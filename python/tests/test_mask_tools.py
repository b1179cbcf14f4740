# qxmatte.show, fill, stretch, smooth and level: the tool's bytes for show and
# level on the sample, worked numbers for the mask tools, inputs untouched,
# and argument errors.
import numpy as np
import pytest

import qxmatte
from conftest import SAMPLES, read, synthetic


def test_show_and_level_equal_the_command_line_tool(astronaut, cli):
    image, trimap = astronaut
    for mode, extra, kwargs in [
        ("tint", [], {}),
        ("classes", [], {}),
        ("over", ["--colour", "2E7D32", "--low", 20, "--high", 230], {"colour": (0x2E, 0x7D, 0x32), "low": 20,
                                                                       "high": 230}),
        ("overlay", ["--colour", "FF0000"], {"colour": "#FF0000"}),
        ("grey", [], {}),
    ]:
        cli("show", SAMPLES / "astronaut.png", SAMPLES / "astronaut_trimap.png", "-o", "show.png", "--mode", mode,
            *extra)
        shown = qxmatte.show(image, trimap, mode, **kwargs)
        assert shown.shape == image.shape and shown.dtype == np.uint8, mode
        np.testing.assert_array_equal(shown, read(cli.path("show.png")), err_msg=mode)
    cli("level", SAMPLES / "astronaut.png", "-o", "level.png", "--target", 60, "--show", "luma")
    np.testing.assert_array_equal(qxmatte.level(image, 60, show="luma"), read(cli.path("level.png")))


def test_fill_converts_the_seeds_region_and_reports_its_rectangle():
    marks = np.full((20, 30), 0x7E, np.uint8)
    marks[2:6, 3:10] = 1        # a cut region
    marks[10:18, 20:28] = 255   # a keep region
    marks[4, 9] = 0x7E          # a hole in the cut region, not part of it
    filled, rect = qxmatte.fill(marks, (3, 2), "keep")
    assert rect == (3, 2, 7, 4)
    expected = marks.copy()
    expected[2:6, 3:10][marks[2:6, 3:10] == 1] = 255
    np.testing.assert_array_equal(filled, expected)
    assert qxmatte.fill(filled, (21, 11), "keep")[1] == (0, 0, 0, 0)
    # Unknown reports the whole image; the keep region becomes 126.
    again, rect = qxmatte.fill(marks, (20, 10), "unknown")
    assert rect == (0, 0, 30, 20) and (again[10:18, 20:28] == 0x7E).all()
    assert (marks[10:18, 20:28] == 255).all()  # the input stayed as it was
    for seed in ((30, 0), (0, 20), (-1, 3)):
        with pytest.raises(ValueError, match="outside the 30x20 mask"):
            qxmatte.fill(marks, seed, "cut")
    with pytest.raises(ValueError, match="fill class 'hole' is not one of cut, keep, unknown"):
        qxmatte.fill(marks, (0, 0), "hole")


def test_stretch_worked_numbers_and_protected_marks():
    alpha = np.array([[0, 50, 100, 150, 151, 201, 250, 255]], np.uint8)
    # [100, 200]: the factor is 8160 // 100 = 81, on a 1/32 scale; 150 gives
    # round(50 * 81 / 32) = round(126.6) = 127.
    np.testing.assert_array_equal(qxmatte.stretch(alpha, 100, 200), [[0, 0, 0, 127, 129, 255, 255, 255]])
    # Protected: odd (fixed) values as they were, soft ones even.
    np.testing.assert_array_equal(qxmatte.stretch(alpha, 100, 200, protect=True),
                                  [[0, 0, 0, 126, 151, 201, 254, 255]])
    np.testing.assert_array_equal(qxmatte.stretch(alpha, 0, 255), alpha)
    for low, high, message in ((200, 100, "must be below"), (100, 100, "must be below"), (0, 300, "0 to 255")):
        with pytest.raises(ValueError, match=message):
            qxmatte.stretch(alpha, low, high)


def test_smooth_removes_a_spike_and_leaves_the_border():
    mask = np.full((16, 16), 200, np.uint8)
    mask[8, 8] = 0
    mask[0, 0] = mask[2, 13] = 7
    for strength, border in ((0, 3), (1, 4)):
        out = qxmatte.smooth(mask, strength=strength)
        assert out[8, 8] == 200 and (out[border:-border, border:-border] == 200).all()
        ring = np.ones(mask.shape, bool)
        ring[border:-border, border:-border] = False
        np.testing.assert_array_equal(out[ring], mask[ring])
    assert mask[8, 8] == 0
    with pytest.raises(ValueError, match="strength must be 0 or 1, not 2"):
        qxmatte.smooth(mask, strength=2)


def test_strided_inputs_give_the_same_results_and_stay_untouched():
    image, trimap = synthetic(40, 56)
    views = image[:, ::-1], trimap[::-1]
    before = [v.copy() for v in views]
    contiguous = [np.ascontiguousarray(v) for v in views]
    for call in (lambda i, m: qxmatte.show(i, m, "overlay", colour="00FF00"),
                 lambda i, m: qxmatte.fill(m, (0, 0), "keep")[0], lambda i, m: qxmatte.stretch(m, 10, 240),
                 lambda i, m: qxmatte.smooth(m, strength=1), lambda i, m: qxmatte.level(i, 120)):
        np.testing.assert_array_equal(call(*views), call(*contiguous))
    for v, b in zip(views, before):
        np.testing.assert_array_equal(v, b)


def test_bad_arguments_are_named():
    image, trimap = synthetic(16, 16)
    for call, message in [
        (lambda: qxmatte.show(image, trimap, "glow"), "display mode 'glow' is not one of tint, classes"),
        (lambda: qxmatte.show(image, trimap, "over", colour=(0, 256, 0)), r"colour must be .* each 0 to 255"),
        (lambda: qxmatte.show(image, trimap[:8], "grey"), "image and mask differ in size"),
        (lambda: qxmatte.level(image, 100, show="hue"), "preview component 'hue'"),
        (lambda: qxmatte.stretch(image, 0, 9), "alpha must be an H x W array"),
    ]:
        with pytest.raises(ValueError, match=message):
            call()
