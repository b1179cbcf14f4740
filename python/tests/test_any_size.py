# The any-size road from Python: a one-sided unknown region over the library's
# tile limit comes out at full size from cutout() (matte() shares the road), the route is
# named in qxmatte.last_route, and only a reduced scale raises a warning.
import warnings

import numpy as np

import qxmatte


def strip_case():
    """1000 x 640: cut in the left 20 columns, keep in the right 20, and the
    614400 pixels between unknown, which the library's tiles hold as one."""
    rng = np.random.default_rng(7)
    small = rng.integers(30, 230, size=(10, 16, 3)).astype(np.float64)
    image = np.kron(small, np.ones((64, 63, 1)))[:640, :1000]
    image = np.pad(image, ((0, 0), (0, 1000 - image.shape[1]), (0, 0)), mode="edge").astype(np.uint8)
    trimap = np.full((640, 1000), 128, np.uint8)
    trimap[:, :20] = 0
    trimap[:, -20:] = 255
    return image, trimap


def test_one_sided_region_over_the_limit_at_full_size():
    image, trimap = strip_case()
    with warnings.catch_warnings():
        warnings.simplefilter("error")  # full size: nothing to warn about
        cut = qxmatte.cutout(image, trimap, colours=False)
    assert cut.shape == (640, 1000, 4)
    assert qxmatte.last_route.startswith("pieces:")
    alpha = cut[..., 3]
    assert (alpha[trimap == 0] == 0).all() and (alpha[trimap == 255] == 255).all()
    # The solve reaches across the band: soft values, not a copy of the marks.
    assert 0 < (alpha[:, 100:900] % 255 != 0).mean()


def test_half_size_is_said_in_a_warning(astronaut):
    image, trimap = astronaut
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        qxmatte.cutout(image, trimap, half=True, colours=False)
    assert qxmatte.last_route.startswith("half-tiles:")
    assert [str(w.message) for w in caught if "50% scale" in str(w.message)]
