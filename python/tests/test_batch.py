# Batches: qxmatte.batch on a two-worker Dask LocalCluster that loses a
# worker mid-run, its refusals before any work, and the README's GNU parallel
# recipe of the tool's --shard.
import os
import shutil
import signal
import subprocess

import numpy as np
import pytest
from PIL import Image

import qxmatte
from conftest import CLI, read, synthetic

GOOD = [f"photo{i}" for i in range(6)]


@pytest.fixture
def folders(tmp_path):
    """photos/ and trimaps/ with six good pairs and one corrupt photo."""
    photos, trimaps = tmp_path / "photos", tmp_path / "trimaps"
    photos.mkdir()
    trimaps.mkdir()
    for i, name in enumerate(GOOD):
        image, trimap = synthetic(140 + 4 * i, 150, seed=i)
        Image.fromarray(image).save(photos / f"{name}.png")
        Image.fromarray(trimap).save(trimaps / f"{name}.png")
    data = (photos / "photo0.png").read_bytes()
    (photos / "broken.png").write_bytes(data[:200] + b"\0" * 300)
    Image.fromarray(synthetic(140, 150)[1]).save(trimaps / "broken.png")
    return photos, trimaps


def single_run(photos, trimaps, name):
    return qxmatte.matte(read(photos / f"{name}.png")[..., :3], read(trimaps / f"{name}.png"))


@pytest.mark.skipif(bool(os.environ.get("QX_SANITIZE")), reason="three sanitized interpreters: the Release run covers it")
def test_a_cluster_batch_survives_a_killed_worker_and_a_corrupt_image(folders, tmp_path):
    pytest.importorskip("distributed")
    from dask.distributed import Client, LocalCluster
    photos, trimaps = folders
    out = tmp_path / "alphas"
    with LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None) as cluster, \
            Client(cluster) as client:
        pids = client.run(os.getpid)
        killed, seen = [], []

        def on_done(row):
            seen.append(row.output)
            if not killed:  # the first job is back: one worker dies with its queue
                killed.append(next(iter(pids.values())))
                os.kill(killed[0], signal.SIGKILL)
        report = qxmatte.batch("matte", photos, trimaps, out=out, client=client, on_done=on_done)
        assert killed and len(seen) == 7
        rows = {os.path.basename(r.output): r for r in report.jobs}
        assert [r.status for r in report.jobs].count("done") == 6
        assert rows["broken.png"].status == "failed" and "cannot read" in rows["broken.png"].cause
        for name in GOOD:
            np.testing.assert_array_equal(read(out / f"{name}.png"), single_run(photos, trimaps, name))
        # Nothing half-written or hidden stays; the failure is listed with its cause.
        assert sorted(os.listdir(out)) == sorted([f"{n}.png" for n in GOOD] + ["batch-failures.csv"])
        assert "broken.png" in (out / "batch-failures.csv").read_text()
        assert "failed" in str(report) and report.rows()[0]["image"].endswith(".png")

        # Run again: finished outputs are skipped, the bad image fails again.
        again = qxmatte.batch("matte", photos, trimaps, out=out, client=client)
        assert (again.count("skipped"), again.count("failed")) == (6, 1)


def test_mistakes_are_refused_before_any_work(folders, tmp_path):
    photos, trimaps = folders
    manifest = tmp_path / "jobs.csv"
    manifest.write_text("image,marks,output\nphotos/photo0.png,trimaps/photo0.png,a.png\n"
                        "photos/photo1.png,trimaps/photo1.png,a.png\n")
    locked = tmp_path / "locked"
    locked.mkdir(mode=0o500)
    empty = tmp_path / "empty"
    empty.mkdir()
    for call, message in [
        (lambda: qxmatte.batch("matte", photos, trimaps, out=photos), "is the image folder"),
        (lambda: qxmatte.batch("matte", manifest, out=tmp_path / "o"), "both write"),
        (lambda: qxmatte.batch("matte", photos, empty, out=tmp_path / "o"), "has a marks file of the same name"),
        (lambda: qxmatte.batch("matte", empty, trimaps, out=tmp_path / "o"), "no jobs"),
        (lambda: qxmatte.batch("show", photos, trimaps, out=tmp_path / "o"), "cannot run in a batch"),
    ] + ([] if os.geteuid() == 0 else [
        (lambda: qxmatte.batch("matte", photos, trimaps, out=locked), "cannot write into the output folder"),
    ]):
        with pytest.raises(ValueError, match=message):
            call()  # no client is given: one would be started only for real work
    assert not (tmp_path / "o").exists() or not os.listdir(tmp_path / "o")


@pytest.mark.skipif(shutil.which("parallel") is None, reason="needs GNU parallel")
def test_the_gnu_parallel_shard_recipe_equals_one_run(folders, tmp_path):
    # The README's recipe with two shards, against one unsharded run.
    env = dict(os.environ, PATH=os.path.dirname(CLI) + os.pathsep + os.environ["PATH"])
    recipe = "seq 0 1 | parallel --will-cite qxmatte -q batch matte photos trimaps --out alphas --shard {}/2"
    subprocess.run(recipe, shell=True, cwd=tmp_path, env=env, capture_output=True)
    subprocess.run([CLI, "-q", "batch", "matte", "photos", "trimaps", "--out", "whole"], cwd=tmp_path,
                   capture_output=True)
    sharded = sorted(p for p in os.listdir(tmp_path / "alphas") if not p.startswith("batch-failures"))
    assert sharded == sorted(f"{n}.png" for n in GOOD)
    for name in sharded:
        assert (tmp_path / "alphas" / name).read_bytes() == (tmp_path / "whole" / name).read_bytes()
    # The corrupt image failed in exactly one shard's list.
    lists = [p.read_text() for p in (tmp_path / "alphas").glob("batch-failures-*-of-2.csv")]
    assert len(lists) == 1 and "broken.png" in lists[0]
