# cmake --install puts the module where Debian's python3 looks, and the
# installed module loads the installed library next to it.
import os
import pathlib
import subprocess
import sys

import pytest

BUILD = os.environ.get("QX_BUILD")
INSTALL_DIR = os.environ.get("QX_PYTHON_INSTALL_DIR")


@pytest.mark.skipif(not BUILD or not INSTALL_DIR, reason="run from ctest (QX_BUILD, QX_PYTHON_INSTALL_DIR)")
def test_staged_install_imports_and_loads_the_staged_library(tmp_path):
    # Components keep their own manifests, so this runs beside other installs.
    for component in ("Unspecified", "python"):
        subprocess.run(["cmake", "--install", BUILD, "--prefix", tmp_path, "--component", component],
                       check=True, capture_output=True)
    site = tmp_path / INSTALL_DIR
    assert any(site.glob("qxmatte/_native*.so")) and (site / "qxmatte" / "py.typed").exists()
    code = ("import numpy as np, qxmatte; "
            "qxmatte.matte(np.zeros((30, 30, 3), np.uint8), np.repeat(np.uint8([0, 128, 255]), 10)[:, None].repeat(30, 1)); "
            "print(*[l.split()[-1] for l in open('/proc/self/maps') if 'libqxmatte' in l][:1])")
    env = {k: v for k, v in os.environ.items() if k != "PYTHONPATH"}
    # (In tmp_path: the current directory comes first on the path, and ctest
    # runs in the build tree's python/, next to the uninstalled module.)
    out = subprocess.run([sys.executable, "-c", code], env=dict(env, PYTHONPATH=str(site)), check=True,
                         capture_output=True, text=True, cwd=tmp_path).stdout.strip()
    assert pathlib.Path(out).resolve().is_relative_to(tmp_path.resolve()), out
    # Under the prefix it was configured for, the same place is on the
    # interpreter's own path: /usr/local/lib/python3.X/dist-packages or
    # /usr/lib/python3/dist-packages.
    path = subprocess.run([sys.executable, "-c", "import sys; print('\\n'.join(sys.path))"], env=env,
                          capture_output=True, text=True, check=True).stdout.split()
    assert any(p.endswith("/" + INSTALL_DIR) for p in path), (INSTALL_DIR, path)
