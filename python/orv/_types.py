"""The types that the functions speak of."""

from __future__ import annotations

from typing import Sequence, Union

import numpy as np

from . import _native

Array = np.ndarray
Picture = Union[np.ndarray, _native.Bits]
Numbers = Union[float, Sequence[float], np.ndarray, str]
Levels = Union[float, Sequence[float], np.ndarray, str]
Colors = Union[Sequence[Levels], str]
Size = Union[tuple[int, int], str]
Points = Union[Sequence[float], Sequence[Sequence[float]], np.ndarray, str]
Kernel = Union[_native.Kernel, np.ndarray, str]
Element = Union[_native.Element, np.ndarray, str]
Palette = Union[_native.Palette, np.ndarray, str]
Mask = Union[_native.Mask, np.ndarray, str]
Table = Union[_native.Table, np.ndarray, str]
Roi = Union[tuple[int, int, int, int], Sequence[tuple[int, int, int, int]]]
