"""Pictures from files and into files."""

import os
import tempfile

from . import _native


def read(path, *, order="rgb", u16="shift"):
    """The picture of a PNG, TIFF, JPEG, PNM or .npy file, turned upright.

    Palette pictures become colours. order="bgr" gives blue first. u16 says how unsigned 16-bit samples come: "shift" as
    uint16, "exact", "half" or "raw" as int16.
    """
    return _native.read(os.fspath(path), order, u16)


def write(path, picture, *, order="rgb", encoding=None, palette=None, dpi=None, quality=92, compression="", format=""):
    """Writes a picture; the format is told by the name's ending, or by `format`. `palette` gives indices their colours."""
    if dpi is not None and not hasattr(dpi, "__len__"):
        dpi = (dpi, dpi)
    if palette is not None and not isinstance(palette, _native.Palette):
        palette = _native.Palette(palette)
    _native.write(os.fspath(path), picture, order, encoding or "", palette, dpi, quality, compression, format)


class Preview:
    """A picture that notebooks show."""

    def __init__(self, picture):
        self.picture = picture

    def _repr_png_(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "preview.png")
            write(path, self.picture)
            with open(path, "rb") as file:
                return file.read()


def show(picture):
    """The picture as an object that notebooks show."""
    return Preview(picture)
