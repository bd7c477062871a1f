"""Palettes by their names."""

from ._native import Palette


def cube(red, green, blue):
    """Evenly spaced colours, so many steps of each."""
    return Palette.parse(f"cube:{red}x{green}x{blue}")


def gray(levels):
    return Palette.parse(f"gray:{levels}")


def choose(colors):
    """So many colours, chosen from the picture that the palette is used on."""
    return Palette.parse(f"choose:{colors}")


def load(path):
    """A picture, a .gpl palette, or lines of R G B or of rrggbb."""
    return Palette.parse(str(path))
