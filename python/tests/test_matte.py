# qxmatte.matte: the command-line tool's bytes, any strides, inputs untouched,
# progress, and argument errors.
import numpy as np
import pytest

import qxmatte
from conftest import SAMPLES, read, synthetic, untouched


def test_equals_the_command_line_tool_on_the_sample(astronaut, cli):
    image, trimap = astronaut
    cli("matte", SAMPLES / "astronaut.png", SAMPLES / "astronaut_trimap.png", "-o", "alpha.png")
    expected = read(cli.path("alpha.png"))
    alpha = qxmatte.matte(image, trimap)
    assert alpha.dtype == np.uint8 and alpha.shape == trimap.shape and alpha.flags.c_contiguous
    np.testing.assert_array_equal(alpha, expected)


def strided_views(a):
    """The same pixels as a through other layouts: Fortran order, a reversed
    double flip, and a slice of a larger array."""
    yield np.asfortranarray(a)
    yield np.ascontiguousarray(a[::-1, ::-1])[::-1, ::-1]
    big = np.zeros((a.shape[0] * 2 + 1, a.shape[1] * 3) + a.shape[2:], np.uint8)
    big[1::2, ::3] = a
    yield big[1::2, ::3]


def test_any_strides_give_the_same_results_and_inputs_stay_untouched():
    image, trimap = synthetic(40, 56)
    calls = {
        "matte": lambda i, m: qxmatte.matte(i, m),
        **{f"foreground {method}": lambda i, m, method=method: qxmatte.foreground(i, m, method=method)
           for method in ("full", "design", "cell")},
        "show": lambda i, m: qxmatte.show(i, m, "overlay", colour="00FF00"),
        "fill": lambda i, m: qxmatte.fill(m, (0, 0), "keep")[0],
        "stretch": lambda i, m: qxmatte.stretch(m, 10, 240),
        "smooth": lambda i, m: qxmatte.smooth(m, strength=1),
        "level": lambda i, m: qxmatte.level(i, 120),
    }
    for name, call in calls.items():
        expected = call(image, trimap)
        for img, tri in zip(strided_views(image), strided_views(trimap)):
            with untouched(img, tri):
                np.testing.assert_array_equal(call(img, tri), expected, err_msg=name)
    # H x W x 1 trimaps and read-only arrays are taken as they are.
    tri = trimap[:, :, None].copy()
    tri.flags.writeable = False
    np.testing.assert_array_equal(qxmatte.matte(image, tri), calls["matte"](image, trimap))


def test_progress_reaches_any_callable_and_its_exceptions_come_back():
    image, trimap = synthetic(64, 64)
    seen = []
    qxmatte.matte(image, trimap, progress=lambda value, total: seen.append((value, total)))
    assert seen and all(total == 130 and 0 < value <= total for value, total in seen)
    assert [v for v, _ in seen] == sorted(v for v, _ in seen)

    class Stop(Exception):
        pass

    def fail(value, total):
        raise Stop(value)

    with pytest.raises(Stop):
        qxmatte.matte(image, trimap, progress=fail)
    # The module is usable afterwards, and a call from inside a callback is refused.
    errors = []

    def reenter(value, total):
        try:
            qxmatte.matte(image, trimap)
        except RuntimeError as e:
            errors.append(str(e))
    qxmatte.matte(image, trimap, progress=reenter)
    assert errors and "progress callback" in errors[0]
    with pytest.raises(TypeError, match="progress"):
        qxmatte.matte(image, trimap, progress=3)


def test_unknown_estimate_chooses_the_working_scale():
    image, trimap = synthetic(64, 64)
    full = qxmatte.matte(image, trimap)
    assert np.array_equal(qxmatte.matte(image, trimap, unknown=float((trimap == 128).sum())), full)
    for bad in (-1, float("nan"), float("inf")):
        with pytest.raises(ValueError, match="unknown"):
            qxmatte.matte(image, trimap, unknown=bad)
    with pytest.raises(ValueError, match='method must be "accurate" or "design", got "best"'):
        qxmatte.matte(image, trimap, method="best", progress=lambda v, t: pytest.fail("the solve started"))


@pytest.mark.parametrize("image_shape, image_dtype, trimap_shape, trimap_dtype, message", [
    ((8, 8, 4), np.uint8, (8, 8), np.uint8, r"image must be an H x W x 3 RGB image, got shape \(8, 8, 4\)"),
    ((8, 8), np.uint8, (8, 8), np.uint8, r"image must be an H x W x 3"),
    ((8, 8, 3), np.float32, (8, 8), np.uint8, r"image must be an array of uint8, got dtype float32"),
    ((8, 8, 3), np.uint8, (8, 8), np.uint16, r"trimap must be an array of uint8, got dtype uint16"),
    ((8, 8, 3), np.uint8, (8, 8, 2), np.uint8, r"trimap must be an H x W array"),
    ((8, 8, 3), np.uint8, (8, 9), np.uint8, r"image is 8x8 but trimap is 9x8; both must have the same size"),
    ((0, 8, 3), np.uint8, (0, 8), np.uint8, r"image is empty"),
])
def test_bad_arrays_are_value_errors(image_shape, image_dtype, trimap_shape, trimap_dtype, message):
    with pytest.raises(ValueError, match=message):
        qxmatte.matte(np.zeros(image_shape, image_dtype), np.zeros(trimap_shape, trimap_dtype))


@pytest.mark.parametrize("rows, message", [
    ((128, 128, 128), "the trimap 'trimap' marks no background: no pixel is 0"),
    ((0, 128, 128), "marks no foreground: no pixel is 255"),
    ((128, 255, 128), "marks no background"),
    ((0, 0, 255), "has nothing unknown: every pixel is background or foreground"),
])
def test_a_trimap_that_leaves_nothing_to_solve_is_refused_before_the_solve(rows, message):
    # Left to the solver these give an alpha of all 1, all 250 to 255, all 0
    # to 1 or a copy of the trimap: products that look made and are not.
    image, _ = synthetic(30, 30)
    trimap = np.repeat(np.array(rows, np.uint8), 10)[:, None].repeat(30, axis=1)
    with pytest.raises(ValueError, match=message):
        qxmatte.matte(image, trimap, progress=lambda v, t: pytest.fail("the solve started"))


def test_non_arrays_are_refused_by_name():
    with pytest.raises(ValueError, match="trimap is None"):
        qxmatte.matte(np.zeros((8, 8, 3), np.uint8), None)
    with pytest.raises(ValueError, match="image must be an array of uint8"):
        qxmatte.matte([[1, 2, 3]], np.zeros((1, 1), np.uint8))
