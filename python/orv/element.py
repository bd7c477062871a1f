"""Structuring elements by their names. They are taken as drawn, not turned round."""

from ._native import Element


def rect(width, height):
    return Element.parse(f"rect:{width}x{height}")


def disk(radius):
    return Element.parse(f"disk:{radius}")


def cross(radius):
    return Element.parse(f"cross:{radius}")
