"""The build backend of pip install . and pip wheel . (PEP 517, in-tree).

It configures the checkout with CMake for the interpreter that runs it,
builds only the library and the Python extension, installs the package's
CMake component into a staging folder with the library inside the package
(the extension finds it through the run path $ORIGIN), and zips that folder
into a wheel. Nothing is downloaded; it needs only what the C++ build needs.

Settings from the environment:
  QXMATTE_BUILD_DIR         keep the CMake build there (a rebuild is then
                            incremental); default: a temporary folder
  CMAKE_ARGS                more arguments for the configure step, e.g.
                            -DCMAKE_CXX_COMPILER_LAUNCHER=ccache
  CMAKE_BUILD_PARALLEL_LEVEL  parallel compile jobs (default: all cores)
"""
from __future__ import annotations

import base64
import hashlib
import os
import pathlib
import re
import shlex
import subprocess
import sys
import sysconfig
import tempfile
import zipfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
NAME = "qxmatte"


def _version() -> str:
    text = (ROOT / "CMakeLists.txt").read_text()
    match = re.search(r"project\(\s*qxmatte\s+VERSION\s+([0-9.]+)", text)
    if not match:
        raise RuntimeError("no project(qxmatte VERSION ...) in CMakeLists.txt")
    return match.group(1)


def _tag() -> str:
    python = f"cp{sys.version_info.major}{sys.version_info.minor}"
    platform = sysconfig.get_platform().replace("-", "_").replace(".", "_")
    return f"{python}-{python}-{platform}"


def _metadata() -> str:
    return "\n".join([
        "Metadata-Version: 2.1",
        f"Name: {NAME}",
        f"Version: {_version()}",
        "Summary: Image cut-out: soft alpha mattes, foreground colours, GrabCut and mask tools on numpy arrays",
        "Requires-Python: >=3.9",
        "Requires-Dist: numpy",
        "Provides-Extra: batch",
        "Requires-Dist: distributed; extra == \"batch\"",
        "Requires-Dist: pillow; extra == \"batch\"",
        "",
    ])


def _write_dist_info(folder: pathlib.Path) -> str:
    info = folder / f"{NAME}-{_version()}.dist-info"
    info.mkdir(parents=True, exist_ok=True)
    (info / "METADATA").write_text(_metadata())
    (info / "WHEEL").write_text(f"Wheel-Version: 1.0\nGenerator: qxmatte_build\nRoot-Is-Purelib: false\n"
                                f"Tag: {_tag()}\n")
    return info.name


def get_requires_for_build_wheel(config_settings: object = None) -> list:
    return []


def prepare_metadata_for_build_wheel(metadata_directory: str, config_settings: object = None) -> str:
    return _write_dist_info(pathlib.Path(metadata_directory))


def _run(command: list) -> None:
    print("qxmatte_build:", " ".join(map(str, command)), file=sys.stderr, flush=True)
    subprocess.run(command, check=True, stdout=sys.stderr)


def _build(build: pathlib.Path, stage: pathlib.Path) -> None:
    _run(["cmake", "-S", str(ROOT), "-B", str(build), "-DCMAKE_BUILD_TYPE=Release", "-DQX_BUILD_TESTS=OFF",
          "-DQX_BUILD_BENCH=OFF", f"-DPython3_EXECUTABLE={sys.executable}", "-DQX_PYTHON_BUNDLE_LIBRARY=ON",
          "-DQX_PYTHON_INSTALL_DIR=.", *shlex.split(os.environ.get("CMAKE_ARGS", ""))])
    jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL") or str(os.cpu_count() or 1)
    _run(["cmake", "--build", str(build), "--target", "qxmatte_python", "-j", jobs])
    _run(["cmake", "--install", str(build), "--component", "python", "--prefix", str(stage)])


def _record_line(name: str, data: bytes) -> str:
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
    return f"{name},sha256={digest},{len(data)}"


def build_wheel(wheel_directory: str, config_settings: object = None, metadata_directory: object = None) -> str:
    kept = os.environ.get("QXMATTE_BUILD_DIR")
    with tempfile.TemporaryDirectory(prefix="qxmatte-wheel-") as scratch:
        build = pathlib.Path(kept) if kept else pathlib.Path(scratch) / "build"
        stage = pathlib.Path(scratch) / "stage"
        _build(build, stage)
        package = stage / NAME
        # The extension needs the library by its soname: a symbolic link
        # becomes a file of that name, and the fully versioned file it points
        # to is left out (a wheel holds no links).
        files = {}
        for path in sorted(package.rglob("*")):
            if path.is_dir() or "__pycache__" in path.parts:
                continue
            if not path.is_symlink() and path.name.startswith("libqxmatte.so.") and \
                    any(p.is_symlink() and p.resolve() == path.resolve() for p in package.iterdir()):
                continue
            files[path.relative_to(stage).as_posix()] = path.read_bytes()
        if not any(name.startswith(f"{NAME}/_native") for name in files):
            raise RuntimeError("the build installed no qxmatte/_native extension")
        info = _write_dist_info(stage)
        for name in ("METADATA", "WHEEL"):
            files[f"{info}/{name}"] = (stage / info / name).read_bytes()

        wheel = pathlib.Path(wheel_directory) / f"{NAME}-{_version()}-{_tag()}.whl"
        record = [_record_line(name, data) for name, data in files.items()] + [f"{info}/RECORD,,"]
        with zipfile.ZipFile(wheel, "w", zipfile.ZIP_DEFLATED) as z:
            for name, data in files.items():
                entry = zipfile.ZipInfo(name, date_time=(2020, 1, 1, 0, 0, 0))
                # Executable bits for the shared objects, read bits for the rest.
                entry.external_attr = (0o755 if ".so" in name else 0o644) << 16
                z.writestr(entry, data, zipfile.ZIP_DEFLATED)
            z.writestr(f"{info}/RECORD", "\n".join(record) + "\n")
        return wheel.name


def build_sdist(sdist_directory: str, config_settings: object = None) -> str:
    """The checkout's tracked files (git ls-files) as NAME-VERSION.tar.gz."""
    import io
    import tarfile
    files = subprocess.run(["git", "-C", str(ROOT), "ls-files", "-z"], check=True, capture_output=True).stdout
    base = f"{NAME}-{_version()}"
    out = pathlib.Path(sdist_directory) / f"{base}.tar.gz"
    with tarfile.open(out, "w:gz") as tar:
        for name in filter(None, files.decode().split("\0")):
            if (ROOT / name).is_file():
                tar.add(ROOT / name, arcname=f"{base}/{name}")
        info = tarfile.TarInfo(f"{base}/PKG-INFO")
        data = _metadata().encode()
        info.size = len(data)
        tar.addfile(info, io.BytesIO(data))
    return out.name

