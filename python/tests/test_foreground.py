# qxmatte.foreground: the library's two recoveries equal the command-line
# tool's, and the estimate stays within the image's colours where alpha is 0.
import numpy as np
import pytest

import qxmatte
from conftest import SAMPLES, read, synthetic


@pytest.mark.parametrize("method, flags", [("design", []), ("cell", ["--cell"])])
def test_library_recoveries_equal_the_command_line_tool(astronaut, cli, method, flags):
    image, trimap = astronaut
    alpha = qxmatte.matte(image, trimap)
    cli("matte", SAMPLES / "astronaut.png", SAMPLES / "astronaut_trimap.png", "-o", "alpha.png")
    cli("foreground", SAMPLES / "astronaut.png", "alpha.png", "-o", "fg.png", *flags)
    fg = qxmatte.foreground(image, alpha, method=method)
    assert fg.shape == image.shape and fg.dtype == np.uint8
    np.testing.assert_array_equal(fg, read(cli.path("fg.png")))
    # The soft pixels' colours change.
    soft = (alpha > 0) & (alpha < 255)
    assert (fg[soft] != image[soft]).any(axis=-1).mean() > 0.2


def test_inputs_untouched_and_errors_named():
    image, trimap = synthetic(48, 40)
    alpha = qxmatte.matte(image, trimap)
    before = image.copy(), alpha.copy()
    for method in ("design", "cell"):
        qxmatte.foreground(image[:, ::-1], alpha[:, ::-1], method=method)
    np.testing.assert_array_equal(image, before[0])
    np.testing.assert_array_equal(alpha, before[1])
    with pytest.raises(ValueError, match='method must be "full", "design" or "cell"'):
        qxmatte.foreground(image, alpha, method="best")
    with pytest.raises(ValueError, match="image and alpha differ in size"):
        qxmatte.foreground(image, alpha[1:], method="design")
