"""The operations of the catalogue as functions. Written by generate.py; changes belong into the catalogue."""

from __future__ import annotations

from typing import Any, Literal

from . import _results
from ._native import call as _call
from ._types import Array, Colors, Element, Kernel, Levels, Mask, Numbers, Palette, Picture, Points, Roi, Size, Table


__all__ = [
    'add',
    'subtract',
    'multiply',
    'divide',
    'max',
    'min',
    'absolute',
    'add_const',
    'subtract_from_const',
    'multiply_const',
    'divide_into_const',
    'and_',
    'or_',
    'xor',
    'not_',
    'and_const',
    'or_const',
    'xor_const',
    'blend',
    'convert',
    'band_combine',
    'black_generation',
    'color_convert',
    'copy',
    'copy_pattern',
    'copy_with_planemask',
    'set_value',
    'lookup',
    'rescale',
    'threshold',
    'convolve',
    'edge_detect_sobel',
    'dilate',
    'erode',
    'affine',
    'rotate',
    'scale',
    'translate',
    'transpose',
    'subsample',
    'subsample_adaptive',
    'table_warp',
    'table_warp_h',
    'table_warp_v',
    'ordered_dither',
    'nearest_color',
    'error_diffusion',
    'choose_colormap',
    'extrema',
    'histogram',
    'squeeze_range',
    'fill',
    'soft_fill',
    'paint',
    'gray',
    'depth',
    'resize',
    'rotate_fit',
    'blur',
    'sharpen',
    'binarize',
    'halftone',
    'quantize',
    'bucket',
    'split',
    'join',
]


def add(a: Picture, b: Picture, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Sum of two images, saturating."""
    return _call("add", (a, b,), (), roi, out, encoding or "", "rgb")


def subtract(a: Picture, b: Picture, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Difference of two images, saturating."""
    return _call("subtract", (a, b,), (), roi, out, encoding or "", "rgb")


def multiply(a: Picture, b: Picture, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Product of two images, saturating."""
    return _call("multiply", (a, b,), (), roi, out, encoding or "", "rgb")


def divide(a: Picture, b: Picture, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Quotient of two images, rounded; a division by zero is a warning."""
    return _call("divide", (a, b,), (), roi, out, encoding or "", "rgb")


def max(a: Picture, b: Picture, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """The larger sample of two images."""
    return _call("max", (a, b,), (), roi, out, encoding or "", "rgb")


def min(a: Picture, b: Picture, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """The smaller sample of two images."""
    return _call("min", (a, b,), (), roi, out, encoding or "", "rgb")


def absolute(a: Picture, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Samples without their sign."""
    return _call("absolute", (a,), (), roi, out, encoding or "", "rgb")


def add_const(a: Picture, value: Numbers, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Samples plus a constant, saturating.

    value: a number a band, or one for all
    """
    return _call("add_const", (a,), (value,), roi, out, encoding or "", "rgb")


def subtract_from_const(a: Picture, value: Numbers, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """A constant minus the samples, saturating.

    value: a number a band, or one for all
    """
    return _call("subtract_from_const", (a,), (value,), roi, out, encoding or "", "rgb")


def multiply_const(a: Picture, value: Numbers, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Samples times a constant, rounded and saturating.

    value: a number a band, or one for all
    """
    return _call("multiply_const", (a,), (value,), roi, out, encoding or "", "rgb")


def divide_into_const(a: Picture, value: Numbers, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """A constant divided by the samples.

    value: a number a band, or one for all
    """
    return _call("divide_into_const", (a,), (value,), roi, out, encoding or "", "rgb")


def and_(a: Picture, b: Picture, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Bitwise and of two images."""
    return _call("and", (a, b,), (), roi, out, encoding or "", "rgb")


def or_(a: Picture, b: Picture, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Bitwise or of two images."""
    return _call("or", (a, b,), (), roi, out, encoding or "", "rgb")


def xor(a: Picture, b: Picture, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Bitwise exclusive or of two images."""
    return _call("xor", (a, b,), (), roi, out, encoding or "", "rgb")


def not_(a: Picture, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Every bit inverted."""
    return _call("not", (a,), (), roi, out, encoding or "", "rgb")


def and_const(a: Picture, value: Numbers, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Bitwise and with a constant.

    value: bits a band, or the same for all (0xf0, 15)
    """
    return _call("and_const", (a,), (value,), roi, out, encoding or "", "rgb")


def or_const(a: Picture, value: Numbers, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Bitwise or with a constant.

    value: bits a band, or the same for all (0xf0, 15)
    """
    return _call("or_const", (a,), (value,), roi, out, encoding or "", "rgb")


def xor_const(a: Picture, value: Numbers, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Bitwise exclusive or with a constant.

    value: bits a band, or the same for all (0xf0, 15)
    """
    return _call("xor_const", (a,), (value,), roi, out, encoding or "", "rgb")


def blend(a: Picture, b: Picture, alpha: Picture, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Two images mixed under a third, one-band alpha image: white takes the second."""
    return _call("blend", (a, b, alpha,), (), roi, out, encoding or "", "rgb")


def convert(a: Picture, dtype: Any, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Another sample type; low bits are kept, nothing is scaled (see depth).

    dtype: the type of the result
    """
    return _call("convert", (a,), (dtype,), roi, out, encoding or "", "rgb")


def band_combine(a: Picture, matrix: Numbers, *, bands: int | None = None, roi: Roi | None = None, out: Array | None = None, order: Literal["rgb", "bgr"] = "rgb", encoding: str | None = None) -> Array:
    """Each band of the result a weighted sum of the bands, plus a constant.

    matrix: a row for each band of the result: weights of the bands and a constant
    bands: bands of the result; told by the matrix otherwise
    """
    return _call("band_combine", (a,), (matrix, bands,), roi, out, encoding or "", order)


def black_generation(a: Picture, *, black: float = 1, undercolor: float = 1, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Black from the common part of cyan, magenta and yellow.

    black: how much of the common ink becomes black
    undercolor: how much of it is taken from the colours
    """
    return _call("black_generation", (a,), (black, undercolor,), roi, out, encoding or "", "rgb")


def color_convert(a: Picture, to: Literal['rgblinear', 'rgb709', 'photoycc', 'ycc601', 'ycc709', 'ylinear', 'y601', 'y709', 'cmy', 'cmyk', 'srgb'], *, from_: Literal['rgblinear', 'rgb709', 'photoycc', 'ycc601', 'ycc709', 'ylinear', 'y601', 'y709', 'cmy', 'cmyk', 'srgb'] | None = None, roi: Roi | None = None, out: Array | None = None, order: Literal["rgb", "bgr"] = "rgb", encoding: str | None = None) -> Array:
    """From one colour space to another.

    Colours are taken for rgb709, whose curve is not that of sRGB, unless the source is said to be srgb.
    8 bits of linear light lose dark levels: take 16.

    from_: the space of the source; told by its encoding where it can be
    to: the space of the result
    """
    return _call("color_convert", (a,), (from_, to,), roi, out, encoding or "", order)


def copy(a: Picture, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """The same samples."""
    return _call("copy", (a,), (), roi, out, encoding or "", "rgb")


def copy_pattern(a: Picture, size: Size, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """The image as a tile over a larger one.

    size: size of the result in pixels
    """
    return _call("copy_pattern", (a,), (size,), roi, out, encoding or "", "rgb")


def copy_with_planemask(a: Picture, value: Numbers, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Some bits of the samples, the others kept.

    value: bits a band, or the same for all (0xf0, 15)
    """
    return _call("copy_with_planemask", (a,), (value,), roi, out, encoding or "", "rgb")


def set_value(value: Levels, *, size: Size | None = None, bands: int = 3, dtype: Any = 'byte', roi: Roi | None = None, out: Array | None = None) -> Array:
    """An image of one colour.

    value: a level a band, or one for all; a colour
    size: size of the result in pixels
    bands: bands of the result
    dtype: type of the result
    """
    return _call("set_value", (), (value, size, bands, dtype,), roi, out, "", "rgb")


def lookup(a: Picture, table: Table, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Samples through a table.

    table: a file of output values, one line for each input value from 0 up
    """
    return _call("lookup", (a,), (table,), roi, out, encoding or "", "rgb")


def rescale(a: Picture, *, scale: Numbers = 1, offset: Numbers = 0, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Samples times a factor plus an offset, rounded and saturating.

    scale: factors, one a band or one for all
    offset: what is added after, one a band or one for all
    """
    return _call("rescale", (a,), (scale, offset,), roi, out, encoding or "", "rgb")


def threshold(a: Picture, *, low: Levels = '0', high: Levels = '127', map: Levels = '0', roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Replaces the samples of a range by a value (see binarize for bits).

    low: lowest level of the range, included
    high: highest level of the range, included
    map: what takes their place
    """
    return _call("threshold", (a,), (low, high, map,), roi, out, encoding or "", "rgb")


def convolve(a: Picture, kernel: Kernel, *, edge: Literal['leave', 'zero', 'extend'] = 'extend', round: bool = False, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Weighted sum of each pixel's neighbourhood.

    The kernel is turned round, as a convolution is defined. Interiors under 3x3 and 5x5 kernels
    truncate on bytes.

    kernel: gaussian:SIZE:SIGMA, box:SIZE, sharpen, laplace, sobel-x, sobel-y, or a file
    edge: what the border becomes
    round: round the sums of 3x3 and 5x5 kernels on bytes, which are truncated otherwise
    """
    return _call("convolve", (a,), (kernel, edge, round,), roi, out, encoding or "", "rgb")


def edge_detect_sobel(a: Picture, *, edge: Literal['leave', 'zero', 'extend'] = 'extend', roi: Roi | None = None, out: Array | None = None, order: Literal["rgb", "bgr"] = "rgb", encoding: str | None = None) -> Array:
    """Strength of edges, by the Sobel operators.

    edge: what the border becomes
    """
    return _call("edge_detect_sobel", (a,), (edge,), roi, out, encoding or "", order)


def dilate(a: Picture, element: Element, *, of: Literal['white', 'black'] = 'white', roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Grows what is white (or --of black).

    The element is taken as drawn, not turned round.

    element: rect:WxH, disk:RADIUS, cross:RADIUS, or a file
    of: what grows or shrinks
    """
    return _call("dilate", (a,), (element, of,), roi, out, encoding or "", "rgb")


def erode(a: Picture, element: Element, *, of: Literal['white', 'black'] = 'white', roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Shrinks what is white (or --of black).

    The element is taken as drawn, not turned round.

    element: rect:WxH, disk:RADIUS, cross:RADIUS, or a file
    of: what grows or shrinks
    """
    return _call("erode", (a,), (element, of,), roi, out, encoding or "", "rgb")


def affine(a: Picture, matrix: Numbers, *, interpolation: Literal['nearest', 'bilinear', 'bicubic', 'general'] = 'bilinear', filter: Literal['catmull-rom', 'mitchell', 'lanczos2', 'lanczos3', 'triangle'] = 'lanczos3', canvas: Literal['same', 'fit'] = 'same', center: Points | None = None, background: Levels = '0', edge: Literal['fill', 'leave'] = 'fill', roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Turned, stretched, slanted and moved by a matrix.

    Pixel columns cover c to c + 1, and y grows downward. What is not covered becomes --background.

    matrix: A,B,C,D,E,F: a point goes to x' = A x + C y + E, y' = B x + D y + F
    interpolation: how samples between pixels are made
    filter: weights of the general interpolation
    canvas: size of the result
    center: X,Y: the point about which A to D turn and stretch; 0,0 otherwise
    background: what the picture does not cover: a colour, or levels; 0 is transparent where there is
        alpha
    edge: the margin of half a pixel and more
    """
    return _call("affine", (a,), (matrix, interpolation, filter, canvas, center, background, edge,), roi, out, encoding or "", "rgb")


def rotate(a: Picture, degrees: float | str, *, interpolation: Literal['nearest', 'bilinear', 'bicubic', 'general'] = 'bilinear', filter: Literal['catmull-rom', 'mitchell', 'lanczos2', 'lanczos3', 'triangle'] = 'lanczos3', canvas: Literal['same', 'fit'] = 'same', center: Points | None = None, background: Levels = '0', edge: Literal['fill', 'leave'] = 'fill', roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Turned counterclockwise.

    degrees: counterclockwise; radians with 'rad' after them
    interpolation: how samples between pixels are made
    filter: weights of the general interpolation
    canvas: size of the result
    center: X,Y: the point that stays where it is; the middle otherwise
    background: what the picture does not cover: a colour, or levels; 0 is transparent where there is
        alpha
    edge: the margin of half a pixel and more
    """
    return _call("rotate", (a,), (degrees, interpolation, filter, canvas, center, background, edge,), roi, out, encoding or "", "rgb")


def scale(a: Picture, *, by: Numbers | None = None, size: Size | None = None, interpolation: Literal['nearest', 'bilinear', 'bicubic', 'general'] = 'bilinear', filter: Literal['catmull-rom', 'mitchell', 'lanczos2', 'lanczos3', 'triangle'] = 'lanczos3', background: Levels = '0', edge: Literal['fill', 'leave'] = 'fill', roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Larger or smaller.

    Interpolations look at a few pixels: below one half take subsample_adaptive, or the recipe resize.

    by: factor (0.5, 1/4, 50%), or one across and one down
    size: WIDTHxHEIGHT of the result
    interpolation: how samples between pixels are made
    filter: weights of the general interpolation
    background: what the picture does not cover: a colour, or levels; 0 is transparent where there is
        alpha
    edge: the margin of half a pixel and more
    """
    return _call("scale", (a,), (by, size, interpolation, filter, background, edge,), roi, out, encoding or "", "rgb")


def translate(a: Picture, by: Numbers, *, interpolation: Literal['nearest', 'bilinear', 'bicubic', 'general'] = 'bilinear', filter: Literal['catmull-rom', 'mitchell', 'lanczos2', 'lanczos3', 'triangle'] = 'lanczos3', background: Levels = '0', edge: Literal['fill', 'leave'] = 'fill', roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Moved to the right and down.

    With nearest interpolation the distance is rounded to whole pixels.

    by: DX,DY: pixels to the right and down
    interpolation: how samples between pixels are made
    filter: weights of the general interpolation
    background: what the picture does not cover: a colour, or levels; 0 is transparent where there is
        alpha
    edge: the margin of half a pixel and more
    """
    return _call("translate", (a,), (by, interpolation, filter, background, edge,), roi, out, encoding or "", "rgb")


def transpose(a: Picture, flip: Literal['x', 'y', 'diagonal', 'antidiagonal', '90', '180', '270'], *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Flipped, or turned by quarters, exactly.

    flip: which flip or turn
    """
    return _call("transpose", (a,), (flip,), roi, out, encoding or "", "rgb")


def subsample(a: Picture, *, by: Numbers | None = None, size: Size | None = None, levels: Literal['full', 'counts'] = 'full', roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """A smaller gray picture from bits: how many of each box are set.

    by: factor (0.5, 1/4, 50%), or one across and one down
    size: WIDTHxHEIGHT of the result
    levels: what the samples of the result mean
    """
    return _call("subsample", (a,), (by, size, levels,), roi, out, encoding or "", "rgb")


def subsample_adaptive(a: Picture, *, by: Numbers | None = None, size: Size | None = None, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """A smaller picture whose pixels are means of boxes.

    by: factor (0.5, 1/4, 50%), or one across and one down
    size: WIDTHxHEIGHT of the result
    """
    return _call("subsample_adaptive", (a,), (by, size,), roi, out, encoding or "", "rgb")


def table_warp(a: Picture, table: Array | str, *, interpolation: Literal['nearest', 'bilinear', 'bicubic', 'general'] = 'bilinear', filter: Literal['catmull-rom', 'mitchell', 'lanczos2', 'lanczos3', 'triangle'] = 'lanczos3', background: Levels = '0', edge: Literal['fill', 'leave'] = 'fill', roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Every pixel fetched from a displaced place.

    Displacements say where a sample comes from: 16 is one pixel to the right, or down in the second
    band.

    table: swirl:DEGREES, barrel:STRENGTH, wave:PIXELS:PERIOD, or an image of 16-bit displacements in
        sixteenths of a pixel
    interpolation: how samples between pixels are made
    filter: weights of the general interpolation
    background: what the picture does not cover: a colour, or levels; 0 is transparent where there is
        alpha
    edge: the margin of half a pixel and more
    """
    return _call("table_warp", (a,), (table, interpolation, filter, background, edge,), roi, out, encoding or "", "rgb")


def table_warp_h(a: Picture, table: Array | str, *, interpolation: Literal['nearest', 'bilinear', 'bicubic', 'general'] = 'bilinear', filter: Literal['catmull-rom', 'mitchell', 'lanczos2', 'lanczos3', 'triangle'] = 'lanczos3', background: Levels = '0', edge: Literal['fill', 'leave'] = 'fill', roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Every pixel fetched from a place displaced across.

    table: swirl:DEGREES, barrel:STRENGTH, wave:PIXELS:PERIOD, or an image of 16-bit displacements in
        sixteenths of a pixel
    interpolation: how samples between pixels are made
    filter: weights of the general interpolation
    background: what the picture does not cover: a colour, or levels; 0 is transparent where there is
        alpha
    edge: the margin of half a pixel and more
    """
    return _call("table_warp_h", (a,), (table, interpolation, filter, background, edge,), roi, out, encoding or "", "rgb")


def table_warp_v(a: Picture, table: Array | str, *, interpolation: Literal['nearest', 'bilinear', 'bicubic', 'general'] = 'bilinear', filter: Literal['catmull-rom', 'mitchell', 'lanczos2', 'lanczos3', 'triangle'] = 'lanczos3', background: Levels = '0', edge: Literal['fill', 'leave'] = 'fill', roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Every pixel fetched from a place displaced up or down.

    table: swirl:DEGREES, barrel:STRENGTH, wave:PIXELS:PERIOD, or an image of 16-bit displacements in
        sixteenths of a pixel
    interpolation: how samples between pixels are made
    filter: weights of the general interpolation
    background: what the picture does not cover: a colour, or levels; 0 is transparent where there is
        alpha
    edge: the margin of half a pixel and more
    """
    return _call("table_warp_v", (a,), (table, interpolation, filter, background, edge,), roi, out, encoding or "", "rgb")


def ordered_dither(a: Picture, palette: Palette, *, mask: Mask = 'bayer:8', dtype: Any | None = None, background: Levels | None = None, alpha: Literal['drop'] | None = None, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Few levels, by a repeated mask of thresholds.

    The mask is scaled so that black stays black and white stays white.

    palette: cube:RxGxB, gray:N, bw, choose:N, or a file: a picture, a .gpl palette, or lines of R G B
    mask: bayer:N (2, 4, 8, 16), dot:150lpi:45deg, dot:PIXELS:ANGLE, a picture, or a file of numbers
    dtype: type of the result; what the palette needs otherwise
    background: what shows through where the picture has alpha
    alpha: what to do with alpha where there is no background
    """
    return _call("ordered_dither", (a,), (palette, mask, dtype, background, alpha,), roi, out, encoding or "", "rgb")


def nearest_color(a: Picture, palette: Palette, *, dtype: Any | None = None, background: Levels | None = None, alpha: Literal['drop'] | None = None, roi: Roi | None = None, out: Array | None = None, order: Literal["rgb", "bgr"] = "rgb", encoding: str | None = None) -> Array:
    """Each pixel becomes the nearest colour of a palette.

    palette: cube:RxGxB, gray:N, bw, choose:N, or a file: a picture, a .gpl palette, or lines of R G B
    dtype: type of the result; what the palette needs otherwise
    background: what shows through where the picture has alpha
    alpha: what to do with alpha where there is no background
    """
    return _call("nearest_color", (a,), (palette, dtype, background, alpha,), roi, out, encoding or "", order)


def error_diffusion(a: Picture, palette: Palette, kernel: Kernel = 'floyd-steinberg', *, dtype: Any | None = None, background: Levels | None = None, alpha: Literal['drop'] | None = None, roi: Roi | None = None, out: Array | None = None, order: Literal["rgb", "bgr"] = "rgb", encoding: str | None = None) -> Array:
    """The colours of a palette, each pixel's error spread over its neighbours.

    The last weight of a kernel is made up so that all of the error is spread.

    palette: cube:RxGxB, gray:N, bw, choose:N, or a file: a picture, a .gpl palette, or lines of R G B
    kernel: floyd-steinberg, jarvis-judice-ninke, stucki, burkes, sierra, or a file
    dtype: type of the result; what the palette needs otherwise
    background: what shows through where the picture has alpha
    alpha: what to do with alpha where there is no background
    """
    return _call("error_diffusion", (a,), (palette, kernel, dtype, background, alpha,), roi, out, encoding or "", order)


def choose_colormap(a: Picture, colors: int = 256, *, background: Levels | None = None, alpha: Literal['drop'] | None = None, roi: Roi | None = None, order: Literal["rgb", "bgr"] = "rgb", encoding: str | None = None) -> Palette:
    """The colours that represent a picture best.

    colors: how many colours at most
    background: what shows through where the picture has alpha
    alpha: what to do with alpha where there is no background
    """
    return _call("choose_colormap", (a,), (colors, background, alpha,), roi, None, encoding or "", order)


def extrema(a: Picture, *, roi: Roi | None = None, encoding: str | None = None) -> tuple[Array, Array]:
    """The smallest and the largest sample of each band."""
    return _results.extrema(_call("extrema", (a,), (), roi, None, encoding or "", "rgb"))


def histogram(a: Picture, bins: int = 256, range: Numbers | None = None, *, skip: Numbers = (1, 1), joint: bool = False, roi: Roi | None = None, encoding: str | None = None) -> tuple[Array, Array]:
    """How often each level occurs, one band at a time.

    Values up to one and a half bins below the range count for the first bin.

    bins: bins of a band
    range: LOW,HIGH: the levels in the middle of the first and the last bin; full range otherwise
    skip: X,Y: steps from one counted pixel to the next
    joint: count the bands of a pixel together
    """
    return _results.histogram(_call("histogram", (a,), (bins, range, skip, joint,), roi, None, encoding or "", "rgb"), joint)


def squeeze_range(a: Picture, *, roi: Roi | None = None, encoding: str | None = None) -> Table:
    """A table that packs the levels in use into a run without gaps."""
    return _call("squeeze_range", (a,), (), roi, None, encoding or "", "rgb")


def fill(a: Picture, seed: Points, boundary: Levels, value: Levels, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Floods a region up to a boundary colour (see bucket for like-coloured pixels).

    seed: X,Y: where the flood begins
    boundary: the colour that stops the flood
    value: the colour to fill with
    """
    return _call("fill", (a,), (seed, boundary, value,), roi, out, encoding or "", "rgb")


def soft_fill(a: Picture, seed: Points, foreground: Levels, backgrounds: Colors, value: Levels, *, roi: Roi | None = None, out: Array | None = None, order: Literal["rgb", "bgr"] = "rgb", encoding: str | None = None) -> Array:
    """Recolours a region whose edges are mixed with known colours.

    seed: X,Y: where the flood begins
    foreground: the colour that is taken out
    backgrounds: the colours that it is mixed with at its edges, separated by semicolons
    value: the colour that takes its place
    """
    return _call("soft_fill", (a,), (seed, foreground, backgrounds, value,), roi, out, encoding or "", order)


def paint(a: Picture, brush: Kernel, value: Levels, at: Points, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Stamps a brush.

    brush: disk:RADIUS, soft:RADIUS, a picture, or a file of numbers
    value: the colour to paint with
    at: X,Y;X,Y: where the brush is stamped, or a file of points
    """
    return _call("paint", (a,), (brush, value, at,), roi, out, encoding or "", "rgb")


def gray(a: Picture, *, weights: Literal['601', '709', 'equal'] = '601', roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """A colour picture in shades of gray.

    A recipe: an exact composition of other operations.

    weights: how much of red, green and blue
    """
    return _call("gray", (a,), (weights,), roi, out, encoding or "", "rgb")


def depth(a: Picture, dtype: Any, *, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Another sample type, scaled to its full range (see convert for low bits).

    16-bit results are unsigned pictures.

    A recipe: an exact composition of other operations.

    dtype: the type of the result
    """
    return _call("depth", (a,), (dtype,), roi, out, encoding or "", "rgb")


def resize(a: Picture, *, by: Numbers | None = None, size: Size | None = None, dpi: float | None = None, interpolation: Literal['nearest', 'bilinear', 'bicubic', 'general'] = 'bicubic', roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Larger or smaller, with means of all pixels where it gets much smaller.

    A recipe: an exact composition of other operations.

    by: factor (0.5, 1/4, 50%)
    size: WIDTHxHEIGHT of the result
    dpi: resolution of the result, which keeps its size on paper
    interpolation: how samples between pixels are made where the picture grows
    """
    return _call("resize", (a,), (by, size, dpi, interpolation,), roi, out, encoding or "", "rgb")


def rotate_fit(a: Picture, degrees: float | str, *, interpolation: Literal['nearest', 'bilinear', 'bicubic', 'general'] = 'bicubic', background: Levels = '0', roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Turned counterclockwise, the result as large as is needed; quarter turns are exact.

    A recipe: an exact composition of other operations.

    degrees: counterclockwise; radians with 'rad' after them
    interpolation: how samples between pixels are made where the picture grows
    background: what the picture does not cover: a colour, or levels; 0 is transparent where there is
        alpha
    """
    return _call("rotate_fit", (a,), (degrees, interpolation, background,), roi, out, encoding or "", "rgb")


def blur(a: Picture, *, sigma: float = 2, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Soft, by a bell-shaped mean across and then down.

    A recipe: an exact composition of other operations.

    sigma: width of the bell in pixels
    """
    return _call("blur", (a,), (sigma,), roi, out, encoding or "", "rgb")


def sharpen(a: Picture, *, amount: float = 1, sigma: float = 1, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Details stronger, by what a blur would take away.

    A recipe: an exact composition of other operations.

    amount: how much of what a blur would take away is added
    sigma: width of that blur in pixels
    """
    return _call("sharpen", (a,), (amount, sigma,), roi, out, encoding or "", "rgb")


def binarize(a: Picture, *, level: Levels = '50%', auto: bool = False, background: Levels | None = None, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Bits: white from a level up.

    A recipe: an exact composition of other operations.

    level: the lowest level that becomes white
    auto: find the level that parts dark from light best (Otsu)
    background: what shows through where the picture has alpha
    """
    return _call("binarize", (a,), (level, auto, background,), roi, out, encoding or "", "rgb")


def halftone(a: Picture, *, mask: Mask = 'dot:8:45deg', background: Levels | None = None, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Bits that look gray, in dots for print.

    A recipe: an exact composition of other operations.

    mask: dot:150lpi:45deg, dot:PIXELS:ANGLE, bayer:N, or a file
    background: what shows through where the picture has alpha
    """
    return _call("halftone", (a,), (mask, background,), roi, out, encoding or "", "rgb")


def quantize(a: Picture, *, colors: int = 256, dither: Literal['diffusion', 'none'] = 'diffusion', background: Levels | None = None, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """The best few colours for a picture, mixed to look like it.

    A recipe: an exact composition of other operations.

    colors: how many colours
    dither: how the colours are mixed
    background: what shows through where the picture has alpha
    """
    return _call("quantize", (a,), (colors, dither, background,), roi, out, encoding or "", "rgb")


def bucket(a: Picture, at: Points, value: Levels, *, tolerance: float = 0, roi: Roi | None = None, out: Array | None = None, encoding: str | None = None) -> Array:
    """Fills a region of like-coloured pixels.

    A recipe: an exact composition of other operations.

    at: X,Y: a pixel of the region
    value: the colour to fill with
    tolerance: by how much samples may differ from those of that pixel
    """
    return _call("bucket", (a,), (at, value, tolerance,), roi, out, encoding or "", "rgb")


def split(a: Picture, *, roi: Roi | None = None, encoding: str | None = None) -> list[Array]:
    """A picture for each band.

    A recipe: an exact composition of other operations.
    """
    return _call("split", (a,), (), roi, None, encoding or "", "rgb")


def join(*images: Picture, encoding: str | None = None, roi: Roi | None = None, out: Array | None = None) -> Array:
    """One picture from a picture for each band.

    A recipe: an exact composition of other operations.

    encoding: what the bands mean: rgb, cmyk, ...; told by their number otherwise
    """
    return _call("join", images, (encoding,), roi, out, "", "rgb")
