# Shared fixtures: the bundled sample, the command-line tool, and a reader for
# what it writes. ctest sets PYTHONPATH (the built module), QX_CLI and
# QX_SAMPLES; by hand: PYTHONPATH=build/python QX_CLI=build/qxmatte
# /usr/bin/python3 -m pytest python/tests
import contextlib
import os
import pathlib
import subprocess

import numpy as np
import pytest
from PIL import Image

ROOT = pathlib.Path(__file__).resolve().parents[2]
SAMPLES = pathlib.Path(os.environ.get("QX_SAMPLES", ROOT / "samples"))
CLI = os.path.abspath(os.environ.get("QX_CLI", ROOT / "build" / "qxmatte"))


def read(path):
    """Pixels of an image file as a numpy array (RGB, RGBA or grey)."""
    with Image.open(path) as im:
        return np.asarray(im).copy()


@pytest.fixture(scope="session")
def astronaut():
    return read(SAMPLES / "astronaut.png"), read(SAMPLES / "astronaut_trimap.png")


@pytest.fixture
def cli(tmp_path):
    """Runs the command-line tool in tmp_path and returns what it printed;
    cli.path names its files."""
    def run(*args):
        return subprocess.run([CLI, *map(str, args), "-q"], check=True, cwd=tmp_path, capture_output=True,
                              text=True).stdout
    run.path = lambda name: tmp_path / name
    return run


@contextlib.contextmanager
def untouched(*arrays):
    """Checks that the arrays hold what they held when the block began."""
    before = [a.copy() for a in arrays]
    yield
    for a, b in zip(arrays, before):
        np.testing.assert_array_equal(a, b)


def synthetic(height, width, seed=0):
    """A textured image and a trimap with a soft unknown band around a disc."""
    rng = np.random.default_rng(seed)
    yy, xx = np.mgrid[0:height, 0:width]
    image = np.stack([(xx * 7 + yy * 3) % 256, (xx * yy) % 256, rng.integers(0, 256, (height, width))],
                     axis=-1).astype(np.uint8)
    r = np.hypot(yy - height / 2, xx - width / 2)
    trimap = np.where(r < height / 4, 255, np.where(r > height / 4 + 6, 0, 128)).astype(np.uint8)
    return image, trimap
