#!/usr/bin/env python3
"""Times Pillow where it is the nearest peer, and prints lines as orvbench --json writes them: a peer's time for a row.

    bench/pillow_peer.py SIDE SECONDS
"""

import json
import sys
import time

import numpy as np
from PIL import Image, ImageChops, ImageFilter

SIDE = int(sys.argv[1])
SECONDS = float(sys.argv[2])
LEAST, MOST = 3, 30


def colours():
    """A picture like a photograph: waves and a little noise, as the rows of quantisers have."""
    v, u = np.mgrid[0:SIDE, 0:SIDE] / SIDE
    grain = np.random.default_rng(7).integers(-4, 4, (3, SIDE, SIDE))
    waves = [70 * np.sin(5 * u + 3 * v + band) + 20 * np.sin((30 + 4 * band) * u * v) for band in range(3)]
    return Image.fromarray(np.dstack([128 + wave + grain[band] for band, wave in enumerate(waves)]).astype(np.uint8))


def palette():
    """256 even colours."""
    image = Image.new("P", (16, 16))
    image.putpalette([v for i in range(256) for v in ((i & 7) * 36, (i >> 3 & 7) * 36, (i >> 6) * 85)])
    return image


def fastest(call):
    best, spent, runs = float("inf"), 0.0, 0
    while runs < MOST and (runs < LEAST or spent < SECONDS):
        start = time.perf_counter()
        call()
        took = time.perf_counter() - start
        best, spent, runs = min(best, took), spent + took, runs + 1
    return best * 1e3


def main():
    random = np.random.default_rng(7)
    colour, even = colours(), palette()
    gray, other = (Image.fromarray(random.integers(0, 256, (SIDE, SIDE)).astype(np.uint8)) for _ in range(2))
    noise = Image.fromarray(random.integers(0, 256, (SIDE, SIDE, 3)).astype(np.uint8))
    dither = Image.Dither
    matrix = (0.4, 0.3, 0.2, 1.5, 0.1, 0.7, 0.15, -2, 0.25, 0.25, 0.5, 0)
    calls = {
        "chooseColormap8": ("quantize, median cut", lambda: colour.quantize(256, Image.Quantize.MEDIANCUT)),
        "errordiffusion8_8 3": ("quantize, dithered", lambda: colour.quantize(palette=even, dither=dither.FLOYDSTEINBERG)),
        "nearestcolor8_8 3": ("quantize", lambda: colour.quantize(palette=even, dither=dither.NONE)),
        "errordiffusion8_1": ("convert to bits", lambda: gray.convert("1")),
        "histogram8": ("histogram", gray.histogram),
        "extrema8": ("getextrema", gray.getextrema),
        "add8": ("ImageChops.add", lambda: ImageChops.add(gray, other)),
        "subtract8": ("ImageChops.subtract", lambda: ImageChops.subtract(gray, other)),
        "max8": ("ImageChops.lighter", lambda: ImageChops.lighter(gray, other)),
        "blend8a8": ("composite", lambda: Image.composite(gray, other, gray)),
        "lookup8_8": ("point", lambda table=list(range(255, -1, -1)): gray.point(table)),
        "convolve8 3x3": ("kernel filter", lambda kernel=ImageFilter.Kernel((3, 3), [1] * 9): gray.filter(kernel)),
        "convolve8 5x5": ("kernel filter", lambda kernel=ImageFilter.Kernel((5, 5), [1] * 25): gray.filter(kernel)),
        "dilate8 3x3": ("MaxFilter", lambda: gray.filter(ImageFilter.MaxFilter(3))),
        "scale8bicubic": ("resize", lambda: gray.resize((SIDE // 2, SIDE // 2), Image.Resampling.BICUBIC)),
        "rotate8nearest": ("rotate", lambda: gray.rotate(20, Image.Resampling.NEAREST)),
        "rotate8bilinear": ("rotate", lambda: gray.rotate(20, Image.Resampling.BILINEAR)),
        "rotate8bicubic": ("rotate", lambda: gray.rotate(20, Image.Resampling.BICUBIC)),
        "bandCombine8": ("convert with a matrix", lambda: noise.convert("RGB", matrix)),
    }
    for row, (peer, call) in calls.items():
        print(json.dumps({"row": row, "side": SIDE, "peer": "Pillow " + peer, "peerTime": fastest(call)}), flush=True)


if __name__ == "__main__":
    main()
