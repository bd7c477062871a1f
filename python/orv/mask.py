"""Masks of ordered dithers by their names."""

from ._native import Mask


def bayer(size):
    """The recursive mask of size 2, 4, 8 or 16."""
    return Mask.parse(f"bayer:{size}")


def dot(period, degrees=45):
    """Dots that grow from their middles, `period` pixels apart, on lines at an angle."""
    return Mask.parse(f"dot:{period}:{degrees}deg")
