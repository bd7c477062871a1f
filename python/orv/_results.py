"""Measurements in the shapes that people work with."""

import numpy as np


def extrema(measured):
    """The smallest and the largest sample of each band."""
    return tuple(measured[name].astype(np.int64) for name in ("min", "max"))


def histogram(measured, joint):
    """Counts, (bins,) of one band and (bands, bins) of several, (bins, bins, ...) jointly; and the centers of the bins."""
    centers = measured.pop("centers")
    if joint:
        counts = measured["joint"].astype(np.int64)
        bands = round(np.log(counts.size) / np.log(centers.size)) if centers.size > 1 else 1
        return counts.reshape((centers.size,) * max(bands, 1)), centers
    rows = np.stack([row.astype(np.int64) for row in measured.values()])
    return (rows[0] if len(rows) == 1 else rows), centers
