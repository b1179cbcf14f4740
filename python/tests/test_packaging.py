# pip install . in a fresh venv, offline, builds the library and the package
# with CMake through the in-tree backend; the installed package imports with
# no PYTHONPATH or LD_LIBRARY_PATH and loads the library inside it; its types
# hold under mypy --strict; pip wheel . gives a wheel another venv installs;
# pip uninstall leaves nothing. The venvs see Debian's numpy
# (--system-site-packages), since nothing is downloaded.
import os
import shutil
import subprocess
import sys

import pytest

from conftest import ROOT

EXAMPLE = """
import numpy as np
import numpy.typing as npt
import qxmatte


def finish(image: npt.NDArray[np.uint8], trimap: npt.NDArray[np.uint8]) -> npt.NDArray[np.uint8]:
    seen: list[tuple[int, int]] = []
    alpha = qxmatte.matte(image, trimap, progress=lambda value, total: seen.append((value, total)))
    marks, (x, y, width, height) = qxmatte.fill(trimap, (0, 0), "keep")
    with qxmatte.GrabCut(image, (0, 0, 120, 120)) as session:
        session.keep((5, 5), radius=2)
        selection: npt.NDArray[np.uint8] = session.run()
    report = qxmatte.batch("matte", "photos", "trimaps", out="alphas", force=True)
    failed: int = report.count("failed") + len(report.failures)
    try:
        return qxmatte.cutout(image, marks, colours="design", half=True)
    except qxmatte.OutOfMemoryError as e:
        print(e.code, alpha, selection, x + y + width + height + failed)
        raise
"""
# Mistakes the stubs must catch: a misspelt keyword, a method name no
# function takes, and a result used as the wrong type.
MISTAKES = """
import numpy as np
import qxmatte
image = np.zeros((8, 8, 3), np.uint8)
qxmatte.matte(image, image[..., 0], unknwn=3)
qxmatte.foreground(image, image[..., 0], method="best")
name: str = qxmatte.level(image, 100)
"""


def run(*args, **kwargs):
    out = subprocess.run([str(a) for a in args], capture_output=True, text=True, **kwargs)
    assert out.returncode == 0, (args, out.stdout[-3000:], out.stderr[-3000:])
    return out.stdout


@pytest.mark.skipif(shutil.which("cmake") is None, reason="needs cmake")
@pytest.mark.skipif(bool(os.environ.get("QX_SANITIZE")), reason="builds its own Release library; once is enough")
def test_pip_install_wheel_and_uninstall_in_fresh_venvs(tmp_path):
    env = {k: v for k, v in os.environ.items() if k not in ("PYTHONPATH", "LD_LIBRARY_PATH", "LD_PRELOAD")}
    # One build folder for both builds (the second is incremental), only the
    # library and the extension, compiled through ccache when there is one.
    env["QXMATTE_BUILD_DIR"] = str(tmp_path / "build")
    if shutil.which("ccache"):
        env["CMAKE_ARGS"] = "-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache"
    # The extension without link-time optimisation: the road is what is tested, not the speed.
    env["CMAKE_ARGS"] = env.get("CMAKE_ARGS", "") + " -DCMAKE_INTERPROCEDURAL_OPTIMIZATION=OFF"
    pythons = {}
    for name in ("a", "b"):
        run(sys.executable, "-m", "venv", "--system-site-packages", tmp_path / name, env=env)
        pythons[name] = tmp_path / name / "bin" / "python"
    pip = ("-m", "pip", "--disable-pip-version-check", "--no-input")
    run(pythons["a"], *pip, "install", "--no-build-isolation", "--no-index", ROOT, env=env, cwd=tmp_path)

    check = ("import inspect, numpy as np, qxmatte; "
             "a = qxmatte.matte(np.zeros((30, 30, 3), np.uint8), np.repeat(np.uint8([0, 128, 255]), 10)[:, None]"
             ".repeat(30, 1)); "
             "assert a.shape == (30, 30) and inspect.signature(qxmatte.cutout).parameters['half'].default is False; "
             "print(qxmatte.__file__); print(*[l.split()[-1] for l in open('/proc/self/maps') if 'libqxmatte' in l][:1])")
    for name in ("a",):
        module, library = run(pythons[name], "-c", check, env=env, cwd=tmp_path).split()
        site = os.path.dirname(os.path.dirname(module))
        assert site.startswith(str(tmp_path / name)) and library == os.path.join(site, "qxmatte", "libqxmatte.so.0")

    # The stubs: a typical use passes mypy --strict, and each mistake is found.
    if shutil.which("mypy"):
        (tmp_path / "example.py").write_text(EXAMPLE)
        (tmp_path / "mistakes.py").write_text(MISTAKES)
        mypy = ["mypy", "--strict", "--no-incremental", "--python-executable", pythons["a"]]
        run(*mypy, "example.py", env=env, cwd=tmp_path)
        out = subprocess.run(mypy + ["mistakes.py"], env=env, cwd=tmp_path, capture_output=True, text=True).stdout
        assert [line.split(":")[1] for line in out.splitlines() if ": error:" in line] == ["5", "6", "7"], out

    # pip wheel . and the wheel installed in a second venv.
    run(pythons["a"], *pip, "wheel", "--no-build-isolation", "--no-index", "--no-deps", "-w", tmp_path / "dist", ROOT,
        env=env, cwd=tmp_path)
    wheels = list((tmp_path / "dist").glob("qxmatte-*.whl"))
    assert len(wheels) == 1
    run(pythons["b"], *pip, "install", "--no-index", wheels[0], env=env, cwd=tmp_path)
    module, library = run(pythons["b"], "-c", check, env=env, cwd=tmp_path).split()
    assert library.startswith(str(tmp_path / "b"))

    # pip uninstall removes every file it installed.
    site = os.path.dirname(os.path.dirname(module))
    run(pythons["b"], *pip, "uninstall", "-y", "qxmatte", env=env, cwd=tmp_path)
    assert [p for p in os.listdir(site) if "qxmatte" in p] == []
