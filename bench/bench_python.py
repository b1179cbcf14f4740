#!/usr/bin/env python3
"""qxmatte.matte against the command-line tool on the same job.

For each size (about 1 and 4 megapixels, an unknown band of about 10% of the
pixels) it times the module's call, the tool's whole run on the same files,
and the tool's run on a trimap with nothing to solve (process start, reading
and writing the files), so that tool minus that baseline is the tool's own
matte. It also times `import qxmatte` in fresh interpreters.

    /usr/bin/python3 bench/bench_python.py [BUILD_DIR]   (default: build)
"""
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
BUILD = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else ROOT / "build").resolve()
sys.path.insert(0, str(BUILD / "python"))
CLI = str(BUILD / "qxmatte")
REPEATS = int(os.environ.get("QX_BENCH_REPEATS", "3"))


def import_time():
    code = "import time; t = time.perf_counter(); import qxmatte; print(time.perf_counter() - t)"
    env = dict(os.environ, PYTHONPATH=str(BUILD / "python"))
    runs = [float(subprocess.run([sys.executable, "-c", code], env=env, capture_output=True, text=True,
                                 check=True).stdout) for _ in range(5)]
    return statistics.median(runs)


def job(height, width):
    """A textured image and a trimap whose unknown ring holds about 10% of the pixels."""
    import numpy as np
    rng = np.random.default_rng(7)
    yy, xx = np.mgrid[0:height, 0:width]
    image = np.stack([(xx * 7 + yy * 3) % 256, (xx // 3 + yy // 5) % 256, rng.integers(0, 256, (height, width))],
                     axis=-1).astype(np.uint8)
    r = np.hypot(yy - height / 2, xx - width / 2)
    inner = min(height, width) / 4
    width_of_ring = 0.1 * height * width / (2 * np.pi * inner)
    trimap = np.where(r < inner, 255, np.where(r > inner + width_of_ring, 0, 128)).astype(np.uint8)
    return image, trimap


def best(run):
    times = []
    for _ in range(REPEATS):
        t = time.perf_counter()
        run()
        times.append(time.perf_counter() - t)
    return min(times)


def main():
    print(f"import qxmatte (fresh interpreter, median of 5): {import_time() * 1000:.0f} ms")
    import numpy as np
    from PIL import Image
    import qxmatte
    print("| size | unknown | module matte | tool run | tool, nothing to solve | tool net | module - tool net |")
    print("|---|---|---|---|---|---|---|")
    with tempfile.TemporaryDirectory() as tmp:
        tmp = pathlib.Path(tmp)
        for height, width in ((1000, 1000), (2000, 2000)):
            image, trimap = job(height, width)
            Image.fromarray(image).save(tmp / "image.png", compress_level=1)
            Image.fromarray(trimap).save(tmp / "trimap.png", compress_level=1)
            Image.fromarray(np.where(trimap == 255, 255, 0).astype(np.uint8)).save(tmp / "known.png")
            module = best(lambda: qxmatte.matte(image, trimap))
            tool = best(lambda: subprocess.run([CLI, "matte", tmp / "image.png", tmp / "trimap.png", "-o",
                                                tmp / "alpha.png", "-q"], check=True))
            idle = best(lambda: subprocess.run([CLI, "matte", tmp / "image.png", tmp / "known.png", "-o",
                                                tmp / "alpha.png", "-q"], check=True))
            net = tool - idle
            share = (trimap == 128).mean() * 100
            print(f"| {height * width / 1e6:.0f} Mpx | {share:.0f}% | {module:.2f} s | {tool:.2f} s | {idle:.2f} s "
                  f"| {net:.2f} s | {module - net:+.2f} s |")


if __name__ == "__main__":
    main()
