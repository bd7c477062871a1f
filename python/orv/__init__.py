"""orv: exact pixel operations on numpy arrays.

bool arrays are 1-bit pictures, uint8 bytes, int16 numbers, uint16 pictures of 16 bits; (height, width) or
(height, width, bands), colours in the order R, G, B. Every pixel of every result is defined: the same bytes on every
machine.
"""

from . import _native, brush, diffusion, element, kernel, mask, palette
from ._files import Preview, read, show, write
from ._native import Bits, Element, Error, Kernel, Mask, Palette, Table, __version__
from ._operations import *  # noqa: F401,F403
from ._operations import __all__ as _functions
from ._pipeline import Pipeline


def build():
    """The build of the compute device that was chosen for this processor: "baseline", "v3" or "v4"."""
    return _native.build()


__all__ = [
    "Bits", "Element", "Error", "Kernel", "Mask", "Palette", "Pipeline", "Preview", "Table", "__version__", "brush",
    "build", "diffusion", "element", "kernel", "mask", "palette", "read", "show", "write", *_functions,
]
