"""Operations block by block and on many files give what they give on one machine, to the byte."""

import os
import resource
import subprocess
import sys
import time

import numpy as np
import pytest

import orv

pytest.importorskip("distributed")
da = pytest.importorskip("dask.array")

import orv.dask  # noqa: E402
from orv import _native  # noqa: E402

ROWS = {row["name"]: row for row in _native.catalogue()}
RNG = np.random.default_rng(23)
PICTURE = RNG.integers(0, 256, (203, 187, 3)).astype(np.uint8)
SECOND = RNG.integers(1, 256, (203, 187, 3)).astype(np.uint8)
NUMBERS = RNG.integers(-32768, 32768, (203, 187)).astype(np.int16)
DEEP = RNG.integers(0, 65536, (203, 187)).astype(np.uint16)
GRAY = PICTURE[..., 0].copy()
FLAGS = RNG.random((203, 187)) > 0.6
ALPHA = np.concatenate([PICTURE, np.where(np.add.outer(np.arange(203), np.arange(187)) > 180, 255, SECOND[..., 0])
                        .astype(np.uint8)[..., None]], 2)
PALETTE = orv.Palette(RNG.integers(0, 256, (9, 3)))
LOPSIDED = orv.Element(RNG.integers(0, 2, (6, 9)) | np.eye(6, 9, dtype=int), key=(8, 0))

# For each operation that works on blocks: its pictures, and its parameters.
CALLS = {
    "add": [((PICTURE, SECOND), {}), ((FLAGS, ~FLAGS), {})], "subtract": [((NUMBERS, NUMBERS[::-1]), {})],
    "multiply": [((PICTURE, SECOND), {})], "divide": [((PICTURE, SECOND), {})], "max": [((DEEP, DEEP[::-1]), {})],
    "min": [((DEEP, DEEP[::-1]), {})], "absolute": [((NUMBERS,), {})], "add_const": [((PICTURE,), {"value": (1, 20, 30)})],
    "subtract_from_const": [((PICTURE,), {"value": 255})], "multiply_const": [((NUMBERS,), {"value": 1.3})],
    "divide_into_const": [((SECOND,), {"value": 2550})], "and": [((PICTURE, SECOND), {})], "or": [((PICTURE, SECOND), {})],
    "xor": [((FLAGS, FLAGS[::-1]), {})], "not": [((ALPHA,), {})], "and_const": [((PICTURE,), {"value": 0xF0})],
    "or_const": [((PICTURE,), {"value": 3})], "xor_const": [((PICTURE,), {"value": 0x80})],
    "blend": [((PICTURE, SECOND, GRAY), {})], "convert": [((PICTURE,), {"dtype": "int16"})],
    "band_combine": [((PICTURE,), {"matrix": (0, 1, 0, 0, 0, 0, 1, 0)}), ((PICTURE,), {"matrix": (0.3, 0.5, 0.2, 0)})],
    "black_generation": [((ALPHA,), {"encoding": "cmyk"})], "color_convert": [((PICTURE,), {"to": "photoycc"})],
    "copy": [((DEEP,), {}), ((GRAY[..., None],), {})], "copy_with_planemask": [((PICTURE,), {"value": 0xF0})],
    "lookup": [((GRAY,), {"table": RNG.integers(0, 256, (256, 3)).astype(np.uint8)}),
               ((PICTURE,), {"table": np.arange(256)[::-1].astype(np.uint8)})],
    "rescale": [((PICTURE,), {"scale": 1.4, "offset": -40})], "threshold": [((PICTURE,), {"low": 30, "high": 90, "map": 7})],
    "convolve": [((PICTURE,), {"kernel": "gaussian:5:1.0"}), ((GRAY,), {"kernel": "box:3", "round": True}),
                 ((NUMBERS,), {"kernel": orv.Kernel(RNG.random((3, 8)) / 24, key=(7, 0))}),
                 ((GRAY,), {"kernel": "sobel-x", "edge": "zero"}), ((GRAY,), {"kernel": "sharpen", "edge": "leave"}),
                 ((FLAGS,), {"kernel": "box:5"}), ((DEEP,), {"kernel": "gaussian:7:1.7"}),
                 ((ALPHA,), {"kernel": "gaussian:5:1.0"})],
    "edge_detect_sobel": [((GRAY,), {}), ((PICTURE,), {"edge": "zero"}), ((NUMBERS,), {"edge": "leave"})],
    "dilate": [((GRAY,), {"element": "disk:3"}), ((FLAGS,), {"element": LOPSIDED, "of": "black"})],
    "erode": [((PICTURE,), {"element": LOPSIDED}), ((FLAGS,), {"element": "rect:2x2", "of": "black"})],
    "ordered_dither": [((PICTURE,), {"palette": "cube:6x6x6"}), ((GRAY,), {"palette": "gray:4", "mask": "dot:7:30deg"}),
                       ((PICTURE,), {"palette": "cube:2x3x4", "mask": orv.Mask(RNG.random((3, 5)))})],
    "nearest_color": [((PICTURE,), {"palette": PALETTE})], "gray": [((PICTURE,), {})],
    "depth": [((PICTURE,), {"dtype": "int16"})], "blur": [((PICTURE,), {"sigma": 3.2}), ((GRAY,), {"sigma": 0.4})],
    "sharpen": [((PICTURE,), {"amount": 0.8}), ((GRAY,), {"sigma": 0.3})], "binarize": [((GRAY,), {"level": 99})],
    "halftone": [((PICTURE,), {"mask": "dot:6:45deg"}), ((GRAY,), {})], "join": [((GRAY, GRAY[::-1], GRAY[:, ::-1]), {})],
}


def function_of(module, name):
    return getattr(module, name + "_" if name in ("and", "or", "not") else name)


def blocks_of(array, chunks):
    return da.from_array(array, chunks=(*chunks, *array.shape[2:]))


@pytest.fixture(scope="module")
def client():
    with orv.dask.cluster(2) as client:
        yield client


def test_every_operation_works_on_blocks_or_says_why_not():
    working = {name for name, row in ROWS.items() if row["blocks"]["reach"] != "picture"}
    assert working == set(CALLS)


@pytest.mark.parametrize("chunks", [(64, 50), (7, 203), (29, 9)])
@pytest.mark.parametrize("name", sorted(CALLS))
def test_blocks_make_the_whole(name, chunks):
    for pictures, values in CALLS[name]:
        expected = function_of(orv, name)(*pictures, **values)
        made = function_of(orv.dask, name)(*(blocks_of(p, chunks) for p in pictures), **values)
        assert made.shape == expected.shape and made.dtype == expected.dtype
        np.testing.assert_array_equal(made.compute(scheduler="sync"), expected, f"{name} {values}")


@pytest.mark.parametrize("name", sorted(set(ROWS) - set(CALLS)))
def test_operations_on_whole_pictures_refuse_blocks_with_the_reason(name):
    row = ROWS[name]
    given = [blocks_of(PICTURE, (64, 64)) for _ in range(row["sources"])]
    stands = {p["name"]: None for p in row["parameters"] if not p["fallback"] and not p["optional"]}
    with pytest.raises(orv.Error) as caught:
        function_of(orv.dask, name)(*given, **stands)
    assert caught.value.op == name and row["blocks"]["why"] in str(caught.value)


def test_what_depends_on_the_whole_picture_is_refused():
    blocks = blocks_of(PICTURE, (64, 64))
    with pytest.raises(orv.Error, match="smaller picture first"):
        orv.dask.nearest_color(blocks, "choose:8")
    with pytest.raises(orv.Error, match="smaller picture first"):
        orv.dask.binarize(blocks_of(GRAY, (64, 64)), auto=True)
    with pytest.raises(orv.Error, match="no resolution"):
        orv.dask.halftone(blocks_of(GRAY, (64, 64)), mask="dot:150lpi:45deg")
    with pytest.raises(orv.Error, match="opacity"):
        orv.dask.convolve(blocks_of(ALPHA, (64, 64)), orv.Kernel(np.full((3, 3), 0.2)))
    with pytest.raises(orv.Error, match="must be alike"):
        orv.dask.add(blocks, blocks_of(PICTURE[:50], (64, 64)))
    with pytest.raises(orv.Error, match="did you mean"):
        orv.dask.convolve(blocks, "gaussian:3:1.0", edge="exten")


def test_plain_arrays_may_stand_beside_blocks():
    made = orv.dask.subtract(blocks_of(PICTURE, (50, 60)), SECOND)
    np.testing.assert_array_equal(made.compute(scheduler="sync"), orv.subtract(PICTURE, SECOND))


def test_a_picture_smaller_than_the_window():
    small = PICTURE[:9, :40]
    made = orv.dask.blur(blocks_of(small, (5, 20)), sigma=4.0)
    np.testing.assert_array_equal(made.compute(scheduler="sync"), orv.blur(small, sigma=4.0))


def test_pipelines_on_blocks():
    detail = orv.Pipeline().gray().keep("base").blur(sigma=2.0).subtract("@base").halftone(mask="bayer:4")
    made = orv.dask.run(detail, blocks_of(PICTURE, (41, 64)))
    np.testing.assert_array_equal(made.compute(scheduler="sync"), detail.run(PICTURE))
    with pytest.raises(orv.Error, match="runs on into all"):
        orv.dask.run(orv.Pipeline().error_diffusion(palette="bw"), blocks_of(GRAY, (64, 64)))


def test_two_worker_processes_make_the_same(client):
    assert len(client.scheduler_info()["workers"]) == 2
    for name in ("convolve", "ordered_dither", "color_convert", "blur"):
        pictures, values = CALLS[name][0]
        made = function_of(orv.dask, name)(*(blocks_of(p, (30, 40)) for p in pictures), **values)
        np.testing.assert_array_equal(made.compute(), function_of(orv, name)(*pictures, **values))
    assert len(set(client.run(os.getpid).values())) == 2


def test_npy_files_block_by_block(client, tmp_path):
    np.save(tmp_path / "in.npy", PICTURE)
    orv.dask.to_npy(orv.dask.blur(orv.dask.from_npy(tmp_path / "in.npy", 70), sigma=1.5), tmp_path / "out.npy")
    np.testing.assert_array_equal(np.load(tmp_path / "out.npy"), orv.blur(PICTURE, sigma=1.5))
    assert sorted(os.listdir(tmp_path)) == ["in.npy", "out.npy"]


@pytest.fixture
def folder(tmp_path):
    for i in range(24):
        orv.write(tmp_path / f"{i:02}.png", np.roll(PICTURE, i, (0, 1)))
    return tmp_path


def check_results(names, folder, work):
    assert [os.path.basename(name) for name in names] == [f"{i:02}.png" for i in range(24)]
    for i, name in enumerate(names):
        np.testing.assert_array_equal(orv.read(name), work(np.roll(PICTURE, i, (0, 1))))
    assert sorted(os.listdir(folder)) == [f"{i:02}.png" for i in range(24)], "something was left beside the results"


def test_a_batch_of_files(client, folder, capsys):
    soft = orv.Pipeline().blur(sigma=1.5)
    names = orv.dask.compute(orv.dask.batch(str(folder / "*.png"), soft, folder / "soft"))
    check_results(names, folder / "soft", soft)
    assert "100%" in capsys.readouterr().out


def test_a_batch_without_a_cluster(folder, capsys):
    """A process of its own, which has no client."""
    code = f"""
import orv.dask
if __name__ == "__main__":
    print(len(orv.dask.compute(orv.dask.batch({str(folder / '*.png')!r}, orv.Pipeline().gray(), {str(folder / 'gray')!r}))))
"""
    made = subprocess.run([sys.executable, "-c", code], check=True, capture_output=True, text=True)
    assert "100%" in made.stdout and made.stdout.rstrip().endswith("24")
    check_results([str(folder / "gray" / f"{i:02}.png") for i in range(24)], folder / "gray", orv.gray)


def slowly(picture):
    time.sleep(0.15)
    return orv.blur(picture, sigma=1.0)


def slow_block(block):
    time.sleep(0.1)
    return block


def test_a_killed_worker_loses_nothing(folder):
    with orv.dask.cluster(2) as client:
        first = next(iter(client.run(os.getpid).values()))
        source = blocks_of(PICTURE, (40, 40)).map_blocks(slow_block, dtype=np.uint8)
        picture = client.compute(orv.dask.blur(source, sigma=2.0))
        files = client.compute(orv.dask.batch(str(folder / "*.png"), slowly, folder / "soft"))
        time.sleep(0.8)
        assert not files.done() and not picture.done()
        os.kill(first, 9)
        names = files.result(timeout=120)
        np.testing.assert_array_equal(picture.result(timeout=120), orv.blur(PICTURE, sigma=2.0))
        check_results(names, folder / "soft", lambda p: orv.blur(p, sigma=1.0))
        assert first not in client.run(os.getpid).values()


def texture(y, x):
    """A picture that each of its blocks can make for itself."""
    return ((y * 7 + x * 13) ^ (y * x >> 5)).astype(np.uint8)


def textured_block(block_info=None):
    (top, bottom), (left, right) = block_info[None]["array-location"]
    return texture(np.arange(top, bottom)[:, None], np.arange(left, right)[None, :])


def peak():
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024


def test_a_large_picture_in_little_memory(tmp_path):
    """ORV_LARGE=40000 makes it as large; 1.6 GB are filtered then in less than 2 GiB of memory, all processes together."""
    side = int(os.environ.get("ORV_LARGE", 6000))
    chunks = da.core.normalize_chunks(2000, (side, side))
    file = tmp_path / "soft.npy"
    with orv.dask.cluster(2) as client:
        large = da.map_blocks(textured_block, chunks=chunks, dtype=np.uint8, meta=np.empty((0, 0), np.uint8))
        start = time.time()
        orv.dask.to_npy(orv.dask.convolve(large, orv.kernel.gaussian(5, 1.0)), file)
        took = time.time() - start
        memory = peak() + sum(client.run(peak).values())
    print(f"{side} x {side}: {took:.1f} s, {memory:.0f} MiB at most, {side * side / 1e6 / took:.0f} million pixels a second")
    made = np.load(file, mmap_mode="r")
    assert made.shape == (side, side)
    for top, left in ((0, 0), (1990, 1990), (side - 60, 3980), (side - 60, side - 60)):
        y, x = (np.arange(max(start - 9, 0), min(start + 69, side)) for start in (top, left))
        expected = orv.convolve(texture(y[:, None], x[None, :]), orv.kernel.gaussian(5, 1.0))
        inner = np.s_[top - y[0] : top - y[0] + 60, left - x[0] : left - x[0] + 60]
        np.testing.assert_array_equal(made[top : top + 60, left : left + 60], expected[inner])
    assert memory < 2048
