"""What a call from Python costs beside the same call from C++."""

import os
import subprocess
import time

import numpy as np
import pytest

import orv

PROGRAM = os.environ.get("ORV_CALL_TIMES")
pytestmark = pytest.mark.skipif(not PROGRAM, reason="the program of the C++ calls is not told by ORV_CALL_TIMES")


def microseconds(call, count):
    best = float("inf")
    for _ in range(40):
        start = time.perf_counter()
        for _ in range(count):
            call()
        best = min(best, (time.perf_counter() - start) / count)
    return best * 1e6


def python_times(side, count):
    rng = np.random.default_rng(side)
    a, b = rng.integers(0, 256, (2, side, side)).astype(np.uint8)
    out = np.empty_like(a)
    kernel = orv.kernel.gaussian(5, 1.0)
    calls = {"add": lambda: orv.add(a, b), "add_const": lambda: orv.add_const(a, 3),
             "convolve": lambda: orv.convolve(a, kernel), "add_out": lambda: orv.add(a, b, out=out)}
    return {name: microseconds(call, count) for name, call in calls.items()}


def native_times(side):
    lines = subprocess.run([PROGRAM], check=True, capture_output=True, text=True).stdout.split("\n")
    rows = [line.split() for line in lines if line]
    return {name: float(took) for name, at, took in rows if int(at) == side}


# Calls that wait for memory move by some per cent from run to run; where the machine is known to be quiet,
# ORV_SPEED_SHARE=1.05 asks for more than the suite does.
SHARE = float(os.environ.get("ORV_SPEED_SHARE", "1.25"))


@pytest.mark.parametrize("side, count, limit", [(64, 100, lambda native: native + 10), (2048, 1, lambda native: native * SHARE)])
def test_calls_cost_little_more_than_in_cpp(side, count, limit):
    """On 64 x 64 less than 10 microseconds more, on 2048 x 2048 by a small share. Another program may take the processor
    at any time: the fastest of several rounds counts."""
    best, native = {}, {}
    for _ in range(5):
        for times, made in ((native, native_times(side)), (best, python_times(side, count))):
            times.update({name: min(took, times.get(name, took)) for name, took in made.items()})
        slow = [name for name in best if best[name] > limit(native[name])]
        if not slow:
            break
    for name in best:
        print(f"{name} {side}: C++ {native[name]:.2f}, Python {best[name]:.2f} microseconds")
    assert not slow
