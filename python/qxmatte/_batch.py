"""qxmatte.batch: matte, cutout or foreground over many images on a Dask
cluster, with the command-line tool's batch rules.

Jobs come from a folder pair (each image with the marks file of the same
name less its extension, output NAME.png) or a manifest CSV (rows
image,marks,output; paths relative to the manifest's folder, output a name
inside out). Outputs that exist are skipped unless force, so a stopped batch
resumes by running it again; a bad image fails only its own job, with its
cause; every output is written to a hidden temporary file in its folder and
renamed into place, so a killed worker never leaves a partial file.
"""
from __future__ import annotations

import csv
import dataclasses
import io
import os
import pathlib
import time
from typing import Any, Callable, Dict, Iterator, List, Optional, Tuple, Union

COMMANDS = ("matte", "cutout", "foreground")
IMAGE_SUFFIXES = {".png", ".jpg", ".jpeg", ".tif", ".tiff", ".bmp", ".ppm", ".pgm", ".pnm", ".webp"}
# Temporary files of an output being written: hidden, named after the output,
# removed at the end of a batch if a killed worker left one behind.
TEMPORARY_SUFFIX = ".qxbatch.tmp"
FAILURES_FILE = "batch-failures.csv"

PathLike = Union[str, "os.PathLike[str]"]


@dataclasses.dataclass
class BatchRow:
    """One job of a batch: its files, what became of it ("done", "skipped"
    or "failed"), the cause of a failure and the processor seconds its
    worker spent on it (all of the worker's threads)."""
    image: str
    marks: str
    output: str
    status: str = "waiting"
    cause: str = ""
    seconds: float = 0.0


@dataclasses.dataclass
class BatchReport:
    """The table of a batch: one row per job in output order, and the
    counts. str() gives it as text; rows() as dicts (for pandas.DataFrame)."""
    command: str
    jobs: List[BatchRow]
    seconds: float = 0.0

    def count(self, status: str) -> int:
        return sum(row.status == status for row in self.jobs)

    @property
    def failures(self) -> List[BatchRow]:
        return [row for row in self.jobs if row.status == "failed"]

    def rows(self) -> List[Dict[str, Any]]:
        return [dataclasses.asdict(row) for row in self.jobs]

    def __str__(self) -> str:
        lines = [f"batch {self.command}: {len(self.jobs)} jobs, {self.count('done')} done, "
                 f"{self.count('skipped')} skipped, {self.count('failed')} failed, {self.seconds:.1f} s wall"]
        width = max([len(os.path.basename(r.output)) for r in self.jobs] + [6])
        lines.append(f"  {'output':<{width}}  {'status':<7}  {'cpu s':>6}  cause")
        for r in self.jobs:
            lines.append(f"  {os.path.basename(r.output):<{width}}  {r.status:<7}  {r.seconds:6.2f}  {r.cause}")
        return "\n".join(lines)


def _folder_jobs(images: pathlib.Path, marks: pathlib.Path, out: pathlib.Path) -> List[BatchRow]:
    for folder in (images, marks):
        if not folder.is_dir():
            raise ValueError(f"batch: '{folder}' is not a folder")
    by_stem = {p.stem: p for p in sorted(marks.iterdir()) if p.is_file() and p.suffix.lower() in IMAGE_SUFFIXES}
    jobs = []
    for p in sorted(images.iterdir()):
        if not p.is_file() or p.suffix.lower() not in IMAGE_SUFFIXES:
            continue
        m = by_stem.get(p.stem)
        row = BatchRow(str(p), str(m) if m else "", str(out / (p.stem + ".png")))
        if m is None:
            row.status, row.cause = "failed", f"no marks file named {p.stem}.* in '{marks}'"
        jobs.append(row)
    return jobs


def _manifest_jobs(manifest: pathlib.Path, out: pathlib.Path) -> List[BatchRow]:
    if not manifest.is_file():
        raise ValueError(f"batch: cannot open the manifest '{manifest}'")
    jobs = []
    with open(manifest, newline="") as f:
        for number, fields in enumerate(csv.reader(f), 1):
            fields = [x.strip() for x in fields]
            if not fields or not any(fields) or fields[0].startswith("#"):
                continue
            if number == 1 and fields[0].lower() == "image":
                continue
            if len(fields) != 3 or not all(fields):
                raise ValueError(f"batch: '{manifest}' line {number}: expected three fields image,marks,output")
            output = pathlib.PurePath(fields[2])
            if output.is_absolute() or ".." in output.parts:
                raise ValueError(f"batch: '{manifest}' line {number}: the output must be a name inside out")
            base = manifest.parent
            jobs.append(BatchRow(str(base / fields[0]), str(base / fields[1]), str(out / output)))
    return jobs


def _check_jobs(jobs: List[BatchRow], images: pathlib.Path, out: pathlib.Path, manifest: bool) -> None:
    """Naming mistakes that would lose work, refused before any job runs."""
    if not jobs:
        raise ValueError("batch: no jobs: " + ("the manifest names no image" if manifest else
                         f"no image in '{images}'"))
    if not manifest and all(row.status == "failed" for row in jobs):
        raise ValueError(f"batch: no jobs: no image in '{images}' has a marks file of the same name")
    if not manifest and images.resolve() == out.resolve():
        raise ValueError(f"batch: the output folder '{out}' is the image folder; outputs would replace images")
    seen: Dict[str, str] = {}
    for row in jobs:
        key = os.path.realpath(row.output)
        if key in seen:
            raise ValueError(f"batch: '{seen[key]}' and '{row.image}' both write '{row.output}'")
        seen[key] = row.image
        if key in (os.path.realpath(row.image), os.path.realpath(row.marks)):
            raise ValueError(f"batch: the output '{row.output}' is one of its job's inputs")
    for folder in sorted({os.path.dirname(row.output) for row in jobs}):
        try:
            os.makedirs(folder, exist_ok=True)
        except OSError as e:
            raise ValueError(f"batch: cannot make the output folder '{folder}': {e.strerror}") from None
        if not os.access(folder, os.W_OK | os.X_OK):
            raise ValueError(f"batch: cannot write into the output folder '{folder}': permission denied")


def write_atomically(path: str, data: bytes) -> None:
    """Writes data to a hidden temporary file beside path, flushes it to the
    disk and renames it over path: path holds all of the old or all of the
    new content, whatever happens to the process."""
    folder, name = os.path.split(path)
    temporary = os.path.join(folder, f".{name}.{os.getpid()}{TEMPORARY_SUFFIX}")
    try:
        with open(temporary, "wb") as f:
            f.write(data)
            f.flush()
            os.fsync(f.fileno())
        os.replace(temporary, path)
    except BaseException:
        try:
            os.unlink(temporary)
        except OSError:
            pass
        raise


def _read(path: str, mode: str) -> Any:
    import numpy as np
    from PIL import Image
    try:
        with Image.open(path) as im:
            im.load()
            if mode == "L" and im.mode == "I;16":
                return (np.asarray(im, np.uint32) * 255 + 32767) // 65535
            return np.asarray(im.convert(mode))
    except FileNotFoundError:
        raise ValueError(f"cannot read '{path}': no such file") from None
    except Exception as e:  # PIL raises OSError, SyntaxError or ValueError for a broken file
        raise ValueError(f"cannot read '{path}': {e}") from None


def run_job(command: str, image: str, marks: str, output: str, options: Dict[str, Any]) -> Tuple[str, float]:
    """One job, as a worker runs it: read, solve, encode, write atomically.
    Returns ("", seconds) or (cause, seconds); never raises for a bad image."""
    import numpy as np
    from PIL import Image

    import qxmatte
    begin = time.process_time()
    try:
        rgb, second = _read(image, "RGB"), _read(marks, "L").astype(np.uint8)
        if command == "matte":
            result = qxmatte.matte(rgb, second, **options)
        elif command == "cutout":
            result = qxmatte.cutout(rgb, second, **options)
        else:
            result = qxmatte.foreground(rgb, second, **options)
        encoded = io.BytesIO()
        Image.fromarray(result).save(encoded, format="PNG")
        write_atomically(output, encoded.getvalue())
        return "", time.process_time() - begin
    except Exception as e:  # any failure is this job's alone, reported with its cause
        return str(e) or type(e).__name__, time.process_time() - begin


def _remove_temporaries(jobs: List[BatchRow]) -> None:
    for folder in {os.path.dirname(row.output) for row in jobs}:
        for p in pathlib.Path(folder).glob(".*" + TEMPORARY_SUFFIX):
            try:
                p.unlink()
            except OSError:
                pass


def _write_failures(out: pathlib.Path, report: BatchReport) -> None:
    path = out / FAILURES_FILE
    if not report.failures:
        if path.exists():
            path.unlink()
        return
    text = io.StringIO()
    w = csv.writer(text, lineterminator="\n")
    w.writerow(["image", "cause"])
    for row in report.failures:
        w.writerow([row.image, row.cause])
    write_atomically(str(path), text.getvalue().encode())


def _futures(client: Any, command: str, todo: List[BatchRow], options: Dict[str, Any]) -> Iterator[Tuple[BatchRow, Any]]:
    from dask.distributed import as_completed
    futures = {}
    for row in todo:
        f = client.submit(run_job, command, row.image, row.marks, row.output, options, pure=False,
                          key=f"qxmatte-{command}-{os.path.basename(row.output)}-{time.monotonic_ns()}")
        futures[f] = row
    for f in as_completed(list(futures)):
        yield futures[f], f


def batch(command: str, images: PathLike, marks: Optional[PathLike] = None, *, out: PathLike,
          client: Any = None, force: bool = False, on_done: Optional[Callable[[BatchRow], object]] = None,
          **options: Any) -> BatchReport:
    """Runs matte, cutout or foreground over many images on a Dask cluster.

    command: "matte", "cutout" or "foreground". images and marks: two folders
    (each image with the marks, trimap or alpha of the same name, any image
    extension; outputs out/NAME.png), or images a manifest CSV and marks None.
    out: the output folder (made if missing). client: a
    dask.distributed.Client, a scheduler address ("tcp://host:8786"), or None
    for a LocalCluster on this machine for the call. force: redo jobs whose
    output exists. on_done(row): called in the caller's thread as each job
    ends (feed a progress bar with it). options: keyword arguments of the
    command's function, e.g. half=True for cutout, method="design" for
    foreground.

    Returns a BatchReport: one BatchRow per job (status "done", "skipped" or
    "failed" with its cause). Failures are also listed in
    out/batch-failures.csv. A bad image fails only its own job; a worker
    that dies has its jobs run again elsewhere.

    Raises ValueError before any work for an unknown command, folders or a
    manifest that cannot be read, no job at all, out equal to the image
    folder, two jobs naming one output, or an output folder that cannot be
    written.
    """
    if command not in COMMANDS:
        raise ValueError(f"batch: '{command}' cannot run in a batch (matte, cutout or foreground)")
    out_dir, source = pathlib.Path(out), pathlib.Path(images)
    jobs = (_manifest_jobs(source, out_dir) if marks is None
            else _folder_jobs(source, pathlib.Path(marks), out_dir))
    jobs.sort(key=lambda row: row.output)
    _check_jobs(jobs, source, out_dir, marks is None)
    todo = []
    for row in jobs:
        if row.status == "failed":
            continue
        if not force and os.path.exists(row.output):
            row.status = "skipped"
        else:
            todo.append(row)

    begin = time.monotonic()
    own = None
    if client is None or isinstance(client, str):
        from dask.distributed import Client, LocalCluster
        if client is None:
            own = Client(LocalCluster(threads_per_worker=1, processes=True, dashboard_address=None))
        else:
            own = Client(client)
        client = own
    try:
        for row, future in _futures(client, command, todo, options) if todo else ():
            try:
                cause, row.seconds = future.result()
            except Exception as e:  # the job itself could not run (e.g. its workers kept dying)
                cause = f"{type(e).__name__}: {e}"
            row.status, row.cause = ("failed", cause) if cause else ("done", "")
            if on_done is not None:
                on_done(row)
    finally:
        if own is not None:
            cluster = own.cluster
            own.close()
            if cluster is not None:
                cluster.close()
        _remove_temporaries(jobs)
    report = BatchReport(command, jobs, time.monotonic() - begin)
    _write_failures(out_dir, report)
    return report
