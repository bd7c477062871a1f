"""Operations on dask arrays, block by block, and on many files.

    client = orv.dask.cluster()                       # a worker process a core: a call of the device has one thread
    soft = orv.dask.convolve(large, orv.kernel.gaussian(5, 1.0))
    orv.dask.to_npy(soft, "soft.npy")

Every operation of the catalogue is here under its name, on arrays in the shapes that orv itself takes. Results are those of
the whole picture, to the byte: neighbours lend as many pixels as a window reaches, an ordered dither begins its mask where
the block lies. Operations that need the whole picture raise orv.Error and say why.
"""

from . import _native, _operations
from ._blocks import operation as _operation
from ._blocks import run
from ._workers import batch, cluster, compute, from_npy, to_npy

for _row in _native.catalogue():
    _name = _row["name"] if hasattr(_operations, _row["name"]) else _row["name"] + "_"
    globals()[_name] = _operation(getattr(_operations, _name), _row)

__all__ = ["batch", "cluster", "compute", "from_npy", "run", "to_npy", *_operations.__all__]
