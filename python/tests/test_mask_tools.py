# qxmatte.show, fill, stretch, smooth and level: the tool's bytes for each on
# the sample (the worked numbers are the library's own tests'), inputs
# untouched, and argument errors (strides: test_matte).
import numpy as np
import pytest
from PIL import Image

import qxmatte
from conftest import SAMPLES, read, synthetic, untouched

IMAGE, TRIMAP = SAMPLES / "astronaut.png", SAMPLES / "astronaut_trimap.png"


def test_each_function_equals_the_command_line_tool(astronaut, cli):
    image, trimap = astronaut
    plane = image[..., 1].copy()  # every level occurs: odd ones show what protection keeps
    Image.fromarray(plane).save(cli.path("plane.png"))
    with untouched(image, trimap, plane):
        colour = {"colour": (0x2E, 0x7D, 0x32), "low": 20, "high": 230}
        for args, call in [
            (["show", IMAGE, TRIMAP, "--mode", "tint"], lambda: qxmatte.show(image, trimap, "tint")),
            (["show", IMAGE, TRIMAP, "--mode", "classes"], lambda: qxmatte.show(image, trimap, "classes")),
            (["show", IMAGE, TRIMAP, "--mode", "over", "--colour", "2E7D32", "--low", 20, "--high", 230],
             lambda: qxmatte.show(image, trimap, "over", **colour)),
            (["show", IMAGE, TRIMAP, "--mode", "overlay", "--colour", "FF0000"],
             lambda: qxmatte.show(image, trimap, "overlay", colour="#FF0000")),
            (["show", IMAGE, TRIMAP, "--mode", "grey"], lambda: qxmatte.show(image, trimap, "grey")),
            (["level", IMAGE, "--target", 60, "--show", "luma"], lambda: qxmatte.level(image, 60, show="luma")),
            (["stretch", "plane.png", "--low", 20, "--high", 230], lambda: qxmatte.stretch(plane, 20, 230)),
            (["stretch", "plane.png", "--low", 20, "--high", 230, "--protect"],
             lambda: qxmatte.stretch(plane, 20, 230, protect=True)),
            (["smooth", "plane.png", "--strength", 1], lambda: qxmatte.smooth(plane, strength=1)),
            (["fill", TRIMAP, "--seed", "3,2", "--as", "keep"], lambda: qxmatte.fill(trimap, (3, 2), "keep")),
        ]:
            printed = cli(*args, "-o", "out.png")
            result = call()
            if args[0] == "fill":  # the rectangle the tool prints
                result, rect = result
                assert printed == "x={} y={} width={} height={}\n".format(*rect)
            assert result.dtype == np.uint8 and result.flags.c_contiguous, args
            np.testing.assert_array_equal(result, read(cli.path("out.png")), err_msg=str(args))


def test_bad_arguments_are_named():
    image, trimap = synthetic(20, 30)
    for call, message in [
        (lambda: qxmatte.show(image, trimap, "glow"), "display mode 'glow' is not one of tint, classes"),
        (lambda: qxmatte.show(image, trimap, "over", colour=(0, 256, 0)), r"colour must be .* each 0 to 255"),
        (lambda: qxmatte.show(image, trimap[:8], "grey"), "but mask is .*; both must have the same size"),
        (lambda: qxmatte.level(image, 100, show="hue"), "preview component 'hue'"),
        (lambda: qxmatte.stretch(image, 0, 9), "alpha must be an H x W array"),
        (lambda: qxmatte.stretch(trimap, 200, 100), "must be below"),
        (lambda: qxmatte.stretch(trimap, 100, 100), "must be below"),
        (lambda: qxmatte.stretch(trimap, 0, 300), "0 to 255"),
        (lambda: qxmatte.smooth(trimap, strength=2), "strength must be 0 or 1, not 2"),
        (lambda: qxmatte.fill(trimap, (30, 0), "cut"), "outside the 30x20 mask"),
        (lambda: qxmatte.fill(trimap, (0, 20), "cut"), "outside the 30x20 mask"),
        (lambda: qxmatte.fill(trimap, (-1, 3), "cut"), "outside the 30x20 mask"),
        (lambda: qxmatte.fill(trimap, (0, 0), "hole"), "fill class 'hole' is not one of cut, keep, unknown"),
    ]:
        with pytest.raises(ValueError, match=message):
            call()
