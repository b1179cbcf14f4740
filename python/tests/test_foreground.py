# qxmatte.foreground: all three methods equal the command-line tool's, progress
# reaches the callable (strides: test_matte).
import numpy as np
import pytest
from PIL import Image

import qxmatte
from conftest import SAMPLES, read, synthetic


@pytest.mark.parametrize("method", ["full", "design", "cell"])
def test_every_method_equals_the_command_line_tool(astronaut, cli, method):
    image, trimap = astronaut
    alpha = qxmatte.matte(image, trimap)
    Image.fromarray(alpha).save(cli.path("alpha.png"))  # the tool's own alpha (test_matte)
    cli("foreground", SAMPLES / "astronaut.png", "alpha.png", "-o", "fg.png", "--colours", method)
    fg = qxmatte.foreground(image, alpha, method=method) if method != "full" else qxmatte.foreground(image, alpha)
    assert fg.shape == image.shape and fg.dtype == np.uint8
    np.testing.assert_array_equal(fg, read(cli.path("fg.png")))


def test_progress_and_errors_named():
    image, trimap = synthetic(48, 40)
    seen = []
    for method in ("full", "cell"):
        qxmatte.foreground(image, trimap, method=method, progress=lambda v, t: seen.append(t))
    assert {100, 20000} <= set(seen)
    with pytest.raises(ValueError, match='method must be "full", "design" or "cell"'):
        qxmatte.foreground(image, trimap, method="best")
    with pytest.raises(ValueError, match="image is .* but alpha is .*; both must have the same size"):
        qxmatte.foreground(image, trimap[1:])
