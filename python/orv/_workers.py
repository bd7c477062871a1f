"""Pictures and files for many processes."""

import contextlib
import glob
import os

import dask.array as da
import dask.bag
import numpy as np

from . import _native
from ._files import read, write


def from_npy(path, chunks=2048):
    """The picture of an .npy file, of which every block is read when it is worked on."""
    file = np.load(path, mmap_mode="r")
    if not hasattr(chunks, "__len__"):
        chunks = (chunks, chunks) + file.shape[2:]
    chunks = da.core.normalize_chunks(chunks, file.shape, dtype=file.dtype)
    return da.map_blocks(_read_block, os.path.abspath(path), chunks=chunks, dtype=file.dtype,
                         meta=np.empty((0,) * file.ndim, file.dtype))


def _read_block(path, block_info=None):
    place = tuple(slice(*ends) for ends in block_info[None]["array-location"])
    return np.array(np.load(path, mmap_mode="r")[place])


def _write_block(block, path, block_info=None):
    place = tuple(slice(*ends) for ends in block_info[0]["array-location"])
    file = np.load(path, mmap_mode="r+")
    file[place] = block
    return np.ones((1,) * block.ndim, bool)


def to_npy(array, path, *, progress=False):
    """Writes a picture to an .npy file, a block at a time, so that it need not fit into memory. The workers must see the
    file; it has its name when it is whole."""
    path = os.path.abspath(path)
    temporary = f"{path}.{os.getpid()}.part"
    try:
        np.lib.format.open_memmap(temporary, "w+", array.dtype, array.shape).flush()
        written = array.map_blocks(_write_block, temporary, dtype=bool, chunks=(1,) * array.ndim,
                                   meta=np.empty((0,) * array.ndim, bool)).all()
        compute(written, progress=progress)
        os.replace(temporary, path)
    finally:
        if os.path.exists(temporary):
            os.remove(temporary)


def _work_on_file(names, work, reading, writing):
    source, target = names
    write(target, work(read(source, **reading)), **writing)
    return target


def batch(files, work, into, *, ending=None, reading=None, **writing):
    """A bag of files: `work`, a Pipeline or a function of a picture, on each, its result written into a folder.

    files: names, or a pattern ("scans/*.tif")
    into: a folder; results have the names of their files, with another `ending` (".png") where one is given
    reading, writing: what orv.read and orv.write are told

    Nothing happens before compute(), which gives the names of what was written, in order.
    """
    sources = sorted(glob.glob(files)) if isinstance(files, str) else [os.fspath(file) for file in files]
    if not sources:
        raise _native.Error(f"batch: there is no file {files!r}")
    os.makedirs(into, exist_ok=True)
    targets = [os.path.join(into, os.path.basename(source)) for source in sources]
    if ending is not None:
        targets = [os.path.splitext(target)[0] + ending for target in targets]
    if len(set(targets)) < len(targets):
        raise _native.Error("batch: several files would be written under one name")
    bag = dask.bag.from_sequence(list(zip(sources, targets)), partition_size=1)
    return bag.map(_work_on_file, work=work, reading=reading or {}, writing=writing)


# Workers. ------------------------------------------------------------------------------------------------------------


def cluster(workers=None, **settings):
    """A client of so many worker processes on this machine, one a core where no number is given, with one thread each: the
    device serves one call at a time. Close it when done. Work of a process that dies is done again by another."""
    from distributed import Client

    return Client(n_workers=workers or len(os.sched_getaffinity(0)), threads_per_worker=1, processes=True,
                  **{"dashboard_address": ":0", **settings})


def _client():
    try:
        from distributed import default_client

        return default_client()
    except (ImportError, ValueError):
        return None


def compute(collection, *, progress=True):
    """The result of an array or of a batch, by the workers of the client in use or else by processes of this call, with a
    bar that tells how far it is."""
    client = _client()
    if client is not None:
        future = client.compute(collection)
        if progress:
            from distributed import progress as bar

            bar(future, notebook=False)
            print()
        return future.result()
    from dask.diagnostics import ProgressBar

    with ProgressBar() if progress else contextlib.nullcontext():
        return collection.compute(scheduler="processes", num_workers=len(os.sched_getaffinity(0)))
