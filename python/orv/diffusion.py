"""The kernels of error diffusion."""

from ._native import named_diffusion


def named(name):
    """floyd-steinberg, jarvis-judice-ninke, stucki, burkes or sierra."""
    return named_diffusion(name)
