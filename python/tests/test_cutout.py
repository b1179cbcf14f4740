# qxmatte.cutout: the command-line tool's bytes on the sample (whole image,
# half size without recovery, design colours, edits merged by `only`), any
# strides, inputs untouched, and argument errors.
import os
import subprocess
import sys

import numpy as np
import pytest
from PIL import Image

import qxmatte
from conftest import CLI, SAMPLES, read, synthetic, untouched

EDIT = (190, 40, 90, 70)


@pytest.fixture(scope="module")
def tool_cutout(tmp_path_factory):
    """The tool's default cut-out of the sample, written once."""
    out = tmp_path_factory.mktemp("cutout") / "cut.png"
    subprocess.run([CLI, "-q", "cutout", SAMPLES / "astronaut.png", SAMPLES / "astronaut_trimap.png", "-o", out],
                   check=True)
    return out


@pytest.mark.parametrize("kwargs, flags", [
    ({}, []),
    ({"half": True, "colours": False}, ["--half", "--no-colours"]),
    ({"colours": "design"}, ["--colours", "design"]),
])
def test_equals_the_command_line_tool_on_the_sample(astronaut, cli, tool_cutout, kwargs, flags):
    image, trimap = astronaut
    # Other strides give the same bytes and stay untouched; progress runs
    # through the solve, then the colour estimate (total 100).
    image, trimap, ticks = image[:, ::-1].copy()[:, ::-1], np.asfortranarray(trimap), []
    with untouched(image, trimap):
        cut = qxmatte.cutout(image, trimap, progress=lambda v, t: ticks.append((v, t)), **kwargs)
    assert ticks and all(0 <= v <= t for v, t in ticks)
    assert (ticks[-1][1] == 100) == (kwargs.get("colours", True) is True)
    if not flags:
        expected = read(tool_cutout)
    else:
        cli("cutout", SAMPLES / "astronaut.png", SAMPLES / "astronaut_trimap.png", "-o", "cut.png", *flags)
        expected = read(cli.path("cut.png"))
    assert cut.dtype == np.uint8 and cut.shape == trimap.shape + (4,) and cut.flags.c_contiguous
    np.testing.assert_array_equal(cut, expected)
    if kwargs.get("colours") is False:
        np.testing.assert_array_equal(cut[..., :3], image)


@pytest.mark.parametrize("only", [None, "remove", "add"])
def test_an_edit_equals_the_tools(astronaut, cli, tool_cutout, only):
    image, trimap = astronaut
    previous, (x, y, w, h) = read(tool_cutout), EDIT
    # Marks that move the figure's edge inside the rectangle: its keep half becomes unknown.
    marks = trimap.copy()
    marks[y:y + h, x:x + w][marks[y:y + h, x:x + w] == 255] = 128
    Image.fromarray(marks).save(cli.path("marks.png"))
    flags = ["--only", only] if only else []
    cli("cutout", SAMPLES / "astronaut.png", "marks.png", "-o", "edit.png", "--edit", ",".join(map(str, EDIT)),
        "--previous", tool_cutout, "--border", 6, *flags)
    with untouched(previous):
        cut = qxmatte.cutout(image, marks, edit=EDIT, previous=previous, border=6, only=only)
    assert (cut != previous).any()
    np.testing.assert_array_equal(cut, read(cli.path("edit.png")))


@pytest.mark.parametrize("kwargs, message", [
    ({"colours": "best"}, r'colours must be True, False, "full" or "design", got \'best\''),
    ({"only": "add"}, r"previous and only belong to an edit"),
    ({"edit": (0, 0, 8, 8)}, r"give that cut-out as previous"),
    ({"edit": (40, 0, 30, 8), "previous": np.zeros((48, 64, 4), np.uint8)},
     r"the edited rectangle 30x8 at 40,0 does not lie inside the 64x48 image"),
    ({"edit": (0, 0, 8, 8), "previous": np.zeros((48, 64, 3), np.uint8)}, r"previous must be an H x W x 4 RGBA"),
    ({"edit": (0, 0, 8, 8), "previous": np.zeros((48, 64, 4), np.uint8), "border": 0}, r"border must be 1 to 1000"),
])
def test_bad_arguments_are_value_errors(kwargs, message):
    image, trimap = synthetic(48, 64)
    with pytest.raises(ValueError, match=message):
        qxmatte.cutout(image, trimap, **kwargs)
    with pytest.raises(ValueError, match="image is 64x48 but marks is 64x47; both must have the same size"):
        qxmatte.cutout(image, trimap[1:])


OUT_OF_MEMORY = """
import resource, numpy as np, qxmatte
img = np.zeros((2000, 2000, 3), np.uint8)
tri = np.full((2000, 2000), 128, np.uint8); tri[:, :20] = 0; tri[:, -20:] = 255
qxmatte.cutout(img[:100], tri[:100])  # threads and the solver started at full memory
size = int(open("/proc/self/statm").read().split()[0]) * resource.getpagesize()
resource.setrlimit(resource.RLIMIT_AS, (size + (8 << 20), resource.RLIM_INFINITY))
try:
    qxmatte.cutout(img, tri)
except qxmatte.OutOfMemoryError as e:
    print(isinstance(e, MemoryError), e.code, e)
"""


@pytest.mark.skipif(bool(os.environ.get("QX_SANITIZE")), reason="address space limits and the sanitizer disagree")
def test_running_out_of_memory_raises_out_of_memory_error():
    # 8 MB above what the process holds: the first full-size buffer fails,
    # whether the library or the code around it asks for it.
    out = subprocess.run([sys.executable, "-c", OUT_OF_MEMORY], capture_output=True, text=True, timeout=120)
    assert out.stdout.startswith("True -1 out of memory"), (out.stdout, out.stderr[-2000:])
