#!/usr/bin/env python3
"""Measures how work spreads over worker processes and prints the table of docs/scaling.md.

    scripts/scaling.py [--side PIXELS] [--block PIXELS] [--files N] [--workers 1,2]
"""

import argparse
import os
import tempfile
import time
from pathlib import Path

import dask.array as da
import numpy as np

import orv
import orv.dask

HEAVY = orv.Pipeline().blur(sigma=6.0).sharpen(amount=1.0).halftone(mask="bayer:8")


def texture(block_info=None):
    (top, bottom), (left, right) = block_info[None]["array-location"]
    y, x = np.arange(top, bottom)[:, None], np.arange(left, right)[None, :]
    return ((y * 7 + x * 13) ^ (y * x >> 5)).astype(np.uint8)


def seconds(work):
    start = time.perf_counter()
    work()
    return time.perf_counter() - start


def nothing(block):
    return block


def measure(folder, block, files):
    """Seconds of each job, on the client in use."""
    source = orv.dask.from_npy(folder / "in.npy", block)
    overlapped = da.map_overlap(nothing, source, depth=4, boundary="none", dtype=np.uint8, meta=np.empty((0, 0), np.uint8))
    jobs = {
        "blocks read and written": lambda: orv.dask.to_npy(overlapped, folder / "out.npy"),
        "convolve 5 x 5": lambda: orv.dask.to_npy(orv.dask.convolve(source, "gaussian:5:1.0"), folder / "out.npy"),
        "blur, sharpen, halftone": lambda: orv.dask.to_npy(orv.dask.run(HEAVY, source), folder / "out.npy"),
        f"{files} files": lambda: orv.dask.compute(
            orv.dask.batch(str(folder / "*.png"), HEAVY, folder / "made"), progress=False),
    }
    return {name: seconds(job) for name, job in jobs.items()}


def prepare(folder, side, block, files):
    with orv.dask.cluster() as _:
        chunks = da.core.normalize_chunks(block, (side, side))
        orv.dask.to_npy(da.map_blocks(texture, chunks=chunks, dtype=np.uint8, meta=np.empty((0, 0), np.uint8)),
                        folder / "in.npy")
    picture = np.load(folder / "in.npy", mmap_mode="r")[:block, :block]
    for i in range(files):
        orv.write(folder / f"{i:03}.png", np.ascontiguousarray(np.roll(picture, i, 0)))


def alone(folder, side):
    """The same calls in this process, on blocks that are in memory: what the device itself takes."""
    block = np.ascontiguousarray(np.load(folder / "in.npy", mmap_mode="r")[:side, :side])
    kernel = orv.kernel.gaussian(5, 1.0)
    calls = {"convolve 5 x 5": lambda: orv.convolve(block, kernel), "blur, sharpen, halftone": lambda: HEAVY.run(block),
             "a file read and written": lambda: orv.write(folder / "one.tif", orv.read(folder / "000.png"))}
    return {name: min(seconds(call) for _ in range(5)) for name, call in calls.items()}


def main():
    options = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    options.add_argument("--side", type=int, default=16000)
    options.add_argument("--block", type=int, default=2000)
    options.add_argument("--files", type=int, default=48)
    options.add_argument("--workers", default="1,2")
    told = options.parse_args()
    counts = [int(word) for word in told.workers.split(",")]
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        prepare(folder, told.side, told.block, told.files)
        single = alone(folder, told.block)
        times = []
        for count in counts:
            with orv.dask.cluster(count) as client:
                client.run(lambda: __import__("orv").build())
                times.append(measure(folder, told.block, told.files))
    blocks = (-(-told.side // told.block)) ** 2
    print(f"{told.side} x {told.side} pixels in {blocks} blocks of {told.block} x {told.block}; {told.files} files of one block each\n")
    print("| job | " + " | ".join(f"{n} worker{'s' if n > 1 else ''}" for n in counts) + " | speed-up |")
    print("|---|" + "--:|" * (len(counts) + 1))
    for job in times[0]:
        row = [made[job] for made in times]
        print(f"| {job} | " + " | ".join(f"{took:.2f} s" for took in row) + f" | {row[0] / row[-1]:.2f} |")
    print("\n| one block in one process, in memory | |\n|---|--:|")
    for job, took in single.items():
        print(f"| {job} | {took * 1e3:.1f} ms |")


if __name__ == "__main__":
    main()
