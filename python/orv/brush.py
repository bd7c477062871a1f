"""Brushes: weights from 0 to 1 that say how much of the colour a stamp lays on."""

from ._native import named_brush


def disk(radius):
    return named_brush(f"disk:{radius}")


def soft(radius):
    return named_brush(f"soft:{radius}")
