# The module as a whole: a cheap import, docstrings, exceptions, the GIL
# released during a solve, and calls from several threads.
import inspect
import os
import subprocess
import sys
import threading

import numpy as np
import pytest

import qxmatte
from conftest import ROOT, SAMPLES, read, synthetic

PUBLIC = ["matte", "cutout", "foreground", "grabcut", "GrabCut", "show", "fill", "stretch", "smooth", "level"]


def test_import_loads_no_numpy_and_every_function_has_a_signature_and_a_docstring():
    # Importing numpy would be most of the import's cost; the module only
    # needs it once arrays arrive.
    code = "import sys, qxmatte; print('numpy' in sys.modules)"
    out = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, check=True,
                         env=dict(os.environ))
    assert out.stdout.strip() == "False"
    assert "numpy" in qxmatte.__doc__
    assert qxmatte.__version__.count(".") >= 1
    for name in PUBLIC + ["batch"]:
        function = getattr(qxmatte, name)
        parameters = inspect.signature(function).parameters
        assert parameters and "raise" in function.__doc__.lower(), name
        # Every parameter of a function is named in its docstring.
        assert all(p in function.__doc__ for p in parameters if p not in ("self", "options")), name
    assert list(inspect.signature(qxmatte.matte).parameters) == ["image", "trimap", "unknown", "method", "progress"]
    for name in ("keep", "cut", "erase", "run", "trimap", "close"):
        assert getattr(qxmatte.GrabCut, name).__doc__, name


def test_library_failures_are_errors_carrying_the_value():
    assert issubclass(qxmatte.Error, RuntimeError)
    assert issubclass(qxmatte.OutOfMemoryError, qxmatte.Error)
    assert issubclass(qxmatte.OutOfMemoryError, MemoryError)
    # Over 500000 unknown pixels solved at full size: too large for one solve.
    image = np.zeros((710, 710, 3), np.uint8)
    trimap = np.full((710, 710), 128, np.uint8)
    trimap[:, 0], trimap[:, -1] = 0, 255
    with pytest.raises(qxmatte.Error) as failure:
        qxmatte.matte(image, trimap, unknown=1)
    assert failure.value.code == -1001 and failure.value.function == "qxMaskAlpha"
    assert not isinstance(failure.value, MemoryError)
    assert "too large" in str(failure.value)


def test_a_second_thread_runs_while_the_library_solves(astronaut):
    # With a switch interval far longer than the solve, a thread waiting for
    # the GIL gets it before the call returns only if the call lets it go.
    image, trimap = astronaut
    order, go = [], threading.Event()

    def other():
        go.wait()
        sum(range(100000))
        order.append("other")
    thread = threading.Thread(target=other)
    thread.start()
    interval = sys.getswitchinterval()
    sys.setswitchinterval(100.0)
    try:
        go.set()
        qxmatte.matte(image, trimap)
        order.append("solve")
    finally:
        sys.setswitchinterval(interval)
        thread.join()
    assert order == ["other", "solve"]


def test_calls_from_several_threads_give_the_sequential_results():
    jobs = [synthetic(64 + 8 * i, 64, seed=i) for i in range(4)]
    expected = [qxmatte.matte(image, trimap) for image, trimap in jobs]
    results = [None] * len(jobs)
    ticks = [[] for _ in jobs]

    def run(i):
        results[i] = qxmatte.matte(*jobs[i], progress=lambda v, t: ticks[i].append(v))
    threads = [threading.Thread(target=run, args=(i,)) for i in range(len(jobs))]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    for i in range(len(jobs)):
        np.testing.assert_array_equal(results[i], expected[i])
        # Each call's progress went to its own callable, one bar from the start.
        assert ticks[i] == sorted(ticks[i]) and ticks[i][0] <= 20


def run_readme_example(tmp_path, marker):
    """Runs the README's Python example that mentions marker in tmp_path, with samples/ beside it."""
    blocks = [b.split("```", 1)[0] for b in (ROOT / "README.md").read_text().split("```python\n")[1:]]
    (tmp_path / "samples").symlink_to(SAMPLES)
    return subprocess.run([sys.executable, "-c", next(b for b in blocks if marker in b)], cwd=tmp_path, check=True,
                          capture_output=True, text=True)


def test_the_readme_examples_composite_the_sample_and_fill_a_tqdm_bar(tmp_path):
    for folder in ("composite", "tqdm"):
        (tmp_path / folder).mkdir()
    run_readme_example(tmp_path / "composite", "composite.png")
    composite, trimap = read(tmp_path / "composite" / "composite.png"), read(SAMPLES / "astronaut_trimap.png")
    image = read(SAMPLES / "astronaut.png")
    assert composite.shape == image.shape
    # The figure stays where the trimap keeps it, and the background is replaced.
    assert np.abs(composite[trimap == 255].astype(int) - image[trimap == 255]).mean() < 2
    assert np.abs(composite[trimap == 0].astype(int) - image[trimap == 0]).mean() > 20
    pytest.importorskip("tqdm")
    out = run_readme_example(tmp_path / "tqdm", "tqdm")
    # The bar ends full: at the colour stage's total of 100, after the solve's.
    assert out.stderr.rstrip().splitlines()[-1].split("\r")[-1].startswith("cut-out: 100%|"), out.stderr[-500:]
    assert read(tmp_path / "tqdm" / "cutout.png").shape == (512, 512, 4)


LEAK_CALLS = """
import numpy as np, qxmatte
img = np.random.default_rng(0).integers(0, 256, (120, 120, 3), dtype=np.uint8)
tri = np.zeros((120, 120), np.uint8); tri[30:90, 30:90] = 128; tri[45:75, 45:75] = 255
for _ in range(2):
    a = qxmatte.matte(img, tri, progress=lambda v, t: None)
    qxmatte.foreground(img, a, method="design"); qxmatte.grabcut(img, (5, 5, 110, 110))
    c = qxmatte.cutout(img, tri); qxmatte.cutout(img, tri, edit=(10, 10, 30, 30), previous=c, only="add")
    qxmatte.show(img, tri, "tint"); qxmatte.fill(tri, (0, 0), "keep"); qxmatte.stretch(tri, 1, 200)
    qxmatte.smooth(tri); qxmatte.level(img, 100)
    with qxmatte.GrabCut(img, (5, 5, 110, 110)) as g:
        g.keep((60, 60)); g.run(); g.trimap()
    for bad in (lambda: qxmatte.show(img, tri, "x"), lambda: qxmatte.cutout(img, tri[1:]),
                lambda: qxmatte.matte(img, tri, progress=lambda v, t: 1 / 0)):
        try:
            bad()
        except (ValueError, ZeroDivisionError):
            pass
"""


@pytest.mark.skipif(not os.environ.get("QX_SANITIZE"), reason="needs the sanitizer build")
def test_the_module_leaks_nothing():
    # The interpreter and numpy leave blocks at exit whatever runs; calling
    # every function (errors included) must not add to them.
    def leaked(code):
        env = dict(os.environ, ASAN_OPTIONS="detect_leaks=1", PYTHONMALLOC="malloc")
        out = subprocess.run([sys.executable, "-c", code], env=env, capture_output=True, text=True)
        return [line for line in out.stderr.splitlines() if line.startswith("SUMMARY")]
    assert leaked(LEAK_CALLS) == leaked("import numpy as np")
