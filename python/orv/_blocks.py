"""Calls on the blocks of dask arrays: what each block must be lent, and what no block can answer."""

import functools
import inspect
import warnings

import dask.array as da
import numpy as np

from . import _native, _pipeline

_rows = _pipeline._rows
_parsed = {"kernel": _native.Kernel, "element": _native.Element, "palette": _native.Palette, "mask": _native.Mask}


def _refuse(row, text):
    error = _native.Error(f"{row['name']}: {text}")
    error.op = row["name"]
    error.id = ""
    raise error


def _value(row, values, name):
    """A parameter as an object of its kind; its fallback where it is not given."""
    parameter = next(p for p in row["parameters"] if p["name"] == name)
    value = values.get(name)
    if value is None:
        value = parameter["fallback"]
    kind = _parsed.get(parameter["kind"])
    if kind is None:
        return value
    if isinstance(value, str):
        return kind.parse(value)
    return value if isinstance(value, kind) else kind(value)


def _check(row, values):
    """Refuses what no block can answer."""
    blocks = row["blocks"]
    if blocks["reach"] == "picture" or (blocks["unless"] and values.get(blocks["unless"])):
        _refuse(row, f"it needs the whole picture: {blocks['why']}")
    for parameter in row["parameters"]:
        if parameter["kind"] == "palette" and _value(row, values, parameter["name"]).choose:
            _refuse(row, "palette: it would be chosen from each block by itself; choose it from a smaller picture first "
                         "(choose_colormap)")


def _depth(row, values):
    """How many rows and columns of its neighbours a block needs."""
    blocks = row["blocks"]
    if blocks["reach"] != "window":
        return 0, 0
    margin = blocks["margin"]
    if not blocks["parameter"]:
        return margin, margin
    value = _value(row, values, blocks["parameter"])
    if isinstance(value, (_native.Kernel, _native.Element)):
        height, width = (value.taps if isinstance(value, _native.Kernel) else value.members).shape
        x, y = value.key
        return margin + max(y, height - 1 - y), margin + max(x, width - 1 - x)
    return (margin + int(np.ceil(float(value) * blocks["times"])),) * 2


def _check_alpha(row, values, bands, encoding):
    """An opaque block would be taken for an opaque picture, which shows where a kernel changes opacity."""
    carries = encoding in ("rgba", "gray-alpha") or (encoding is None and bands in (2, 4))
    if not carries or not row["premultiplied"]:
        return
    taps = _value(row, values, "kernel").taps.astype(float)
    smooth = taps.sum() == 1 and np.all(taps * 65536 == np.round(taps * 65536))
    if not smooth and abs(taps.sum()) >= 0.5:
        _refuse(row, "kernel: it changes opacity, and whether a picture is opaque is asked of all of it; take the colours "
                     "alone, or weights that are multiples of 1/65536 and add up to 1")


def _placed(row, values, offset):
    """The parameters of a block that begins at (y, x) of the picture."""
    if row["blocks"]["reach"] != "place":
        return values
    name = row["blocks"]["parameter"]
    thresholds = _value(row, values, name).thresholds
    if not thresholds.size:
        _refuse(row, f"{name}: blocks have no resolution; say dot:PIXELS:ANGLE")
    return {**values, name: _native.Mask(np.roll(thresholds, (-offset[0], -offset[1]), (0, 1)))}


class _Operation:
    """An operation as it is called on each block."""

    def __init__(self, function, row, values, options):
        self.function, self.row, self.values, self.options = function, row, values, options

    def __call__(self, pictures, offset):
        return self.function(*pictures, **_placed(self.row, self.values, offset), **self.options)


class _Chain:
    """A pipeline as it is run on each block."""

    def __init__(self, pipeline):
        self.pipeline = pipeline

    def __call__(self, pictures, offset):
        placed = _pipeline.Pipeline(self.pipeline._fuse)
        for name, values, further, kept in self.pipeline._steps:
            row = _rows[name]
            names = [p["name"] for p in row["parameters"]]
            given = _placed(row, dict(zip(names, values)), offset)
            placed._steps.append((name, tuple(given[n] for n in names), further, kept))
        return placed.run(*pictures)


def _on_block(*blocks, work, flat, lent, starts, block_info=None):
    """Works on a block that is lent so many rows and columns where it has neighbours, and cuts them off the result."""
    place = block_info[0]["chunk-location"][:2]
    count = block_info[0]["num-chunks"][:2]
    before = [d if at > 0 else 0 for d, at in zip(lent, place)]
    after = [d if at + 1 < n else 0 for d, at, n in zip(lent, place, count)]
    offset = [starts[axis][place[axis]] - before[axis] for axis in (0, 1)]
    result = work([block[..., 0] if is_flat else block for block, is_flat in zip(blocks, flat)], offset)
    rows, columns = (slice(b, n - a) for b, a, n in zip(before, after, result.shape))
    return np.ascontiguousarray(result[rows, columns])


def _sample(work, arrays, depth):
    """What comes of black blocks: the type and the bands of results, and the errors of wrong calls at once."""
    sides = [min(n, max(64, 2 * d + 1)) for n, d in zip(arrays[0].shape, depth)]
    blocks = [np.zeros((*sides, *array.shape[2:]), array.dtype) for array in arrays]
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", RuntimeWarning)
        return work(blocks, (0, 0))


def _chunked(arrays, depth):
    """All in the blocks of the first, which are no smaller than the depth, and whole bands."""
    rows, columns = (da.overlap.ensure_minimum_chunksize(min(d, n), c) if d else c
                     for d, n, c in zip(depth, arrays[0].shape, arrays[0].chunks))
    return [array.rechunk((rows, columns, *((n,) for n in array.shape[2:]))) for array in arrays]


def _on_blocks(name, work, given, depth):
    arrays = [array if isinstance(array, da.Array) else da.asarray(array) for array in given]
    for array in arrays:
        if array.ndim not in (2, 3):
            raise _native.Error(f"{name}: an array of {array.ndim} axes came, (height, width) or (height, width, bands) wanted")
        if array.shape[:2] != arrays[0].shape[:2]:
            raise _native.Error(f"{name}: arrays of {arrays[0].shape[:2]} and {array.shape[:2]} came; they must be alike")
    sample = _sample(work, arrays, depth)
    if not isinstance(sample, np.ndarray):
        raise _native.Error(f"{name}: it makes no picture")
    arrays = _chunked(arrays, depth)
    axes = max(array.ndim for array in arrays)
    flat = [array.ndim < axes for array in arrays]
    arrays = [array[..., None] if is_flat else array for array, is_flat in zip(arrays, flat)]
    chunks = arrays[0].chunks[:2]
    depth = [d if len(c) > 1 else 0 for d, c in zip(depth, chunks)]
    starts = [tuple(np.cumsum((0, *c[:-1])).tolist()) for c in chunks]
    change = {"new_axis": 2} if sample.ndim > axes else {"drop_axis": 2} if sample.ndim < axes else {}
    settings = dict(work=work, flat=flat, lent=depth, starts=starts, dtype=sample.dtype,
                    meta=np.empty((0,) * sample.ndim, sample.dtype),
                    chunks=(*chunks, *((n,) for n in sample.shape[2:])), **change)
    if not any(depth):
        return da.map_blocks(_on_block, *arrays, **settings)
    return da.map_overlap(_on_block, *arrays, depth=dict(enumerate(depth)), boundary="none", trim=False, **settings)


def operation(function, row):
    """An operation as a function of dask arrays."""
    told = inspect.signature(function)
    parameters = {p["name"] for p in row["parameters"]}
    kept = [p for p in told.parameters.values() if p.name not in ("roi", "out")]
    signature = told.replace(parameters=kept)

    @functools.wraps(function)
    def on_blocks(*given, **named):
        bound = signature.bind(*given, **named)
        pictures, values, options = [], {}, {}
        for name, value in bound.arguments.items():
            if name in parameters:
                values[name] = value
            elif name in ("order", "encoding"):
                options[name] = value
            else:
                pictures += value if isinstance(value, tuple) else (value,)
        _check(row, values)
        bands = pictures[0].shape[2] if pictures[0].ndim > 2 else 1
        _check_alpha(row, values, bands, options.get("encoding"))
        return _on_blocks(row["name"], _Operation(function, row, values, options), pictures, _depth(row, values))

    on_blocks.__signature__ = signature
    return on_blocks


def run(pipeline, *arrays):
    """Runs a Pipeline on every block, with as many pixels of its neighbours as all of its steps reach together."""
    depth = np.zeros(2, int)
    for name, values, _, _ in pipeline._steps:
        row = _rows[name]
        given = {p["name"]: v for p, v in zip(row["parameters"], values) if v is not None}
        _check(row, given)
        # A step may make a picture with alpha out of any: each is held to what blocks with alpha ask for.
        if any(getattr(array, "ndim", 2) == 3 and array.shape[2] in (2, 4) for array in arrays):
            _check_alpha(row, given, 4, None)
        depth += _depth(row, given)
    return _on_blocks("pipe", _Chain(pipeline), arrays, depth.tolist())
