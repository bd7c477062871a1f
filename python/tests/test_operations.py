"""Operations on arrays against plain numpy."""

import pickle

import numpy as np
import pytest

import orv


@pytest.fixture
def rng():
    return np.random.default_rng(7)


def picture(rng, shape=(37, 53, 3), dtype=np.uint8):
    info = np.iinfo(dtype)
    return rng.integers(info.min, info.max + 1, shape).astype(dtype)


def clipped(values, dtype):
    info = np.iinfo(dtype)
    return np.clip(values, info.min, info.max).astype(dtype)


@pytest.mark.parametrize("dtype", [np.uint8, np.int16])
@pytest.mark.parametrize("shape", [(37, 53), (37, 53, 1), (37, 53, 3), (1, 1), (5, 7, 5)])
def test_sums_and_differences_saturate(rng, dtype, shape):
    a, b = picture(rng, shape, dtype), picture(rng, shape, dtype)
    wide = a.astype(int), b.astype(int)
    for function, expected in ((orv.add, wide[0] + wide[1]), (orv.subtract, wide[0] - wide[1])):
        result = function(a, b)
        assert result.dtype == dtype and result.shape == shape
        np.testing.assert_array_equal(result, clipped(expected, dtype))


def test_max_min_and_logic(rng):
    a, b = picture(rng), picture(rng)
    np.testing.assert_array_equal(orv.max(a, b), np.maximum(a, b))
    np.testing.assert_array_equal(orv.min(a, b), np.minimum(a, b))
    np.testing.assert_array_equal(orv.and_(a, b), a & b)
    np.testing.assert_array_equal(orv.or_(a, b), a | b)
    np.testing.assert_array_equal(orv.xor(a, b), a ^ b)
    np.testing.assert_array_equal(orv.not_(a), ~a)


def test_constants_are_red_green_blue(rng):
    a = picture(rng)
    np.testing.assert_array_equal(orv.add_const(a, (1, 2, 3)), clipped(a.astype(int) + [1, 2, 3], np.uint8))
    np.testing.assert_array_equal(orv.add_const(a, 9), clipped(a.astype(int) + 9, np.uint8))


def test_threshold_replaces_a_range(rng):
    a = picture(rng, (20, 30))
    np.testing.assert_array_equal(orv.threshold(a, low=50, high=99, map=7), np.where((a >= 50) & (a <= 99), 7, a))


@pytest.mark.parametrize("flip, expected", [("x", lambda a: a[::-1]), ("y", lambda a: a[:, ::-1]),
                                            ("180", lambda a: a[::-1, ::-1]), ("90", lambda a: np.rot90(a, 1))])
def test_flips(rng, flip, expected):
    a = picture(rng)
    np.testing.assert_array_equal(orv.transpose(a, flip), expected(a))


def test_box_means_of_a_flat_area_are_flat():
    for level in range(0, 256, 5):
        a = np.full((9, 9), level, np.uint8)
        np.testing.assert_array_equal(orv.convolve(a, orv.kernel.gaussian(5, 1.0)), a)


def test_dilation_of_a_rectangle_is_a_maximum(rng):
    a = picture(rng, (30, 40))
    expected = a[1:-1, 1:-1]
    for y in range(3):
        for x in range(3):
            expected = np.maximum(expected, a[y : y + 28, x : x + 38])
    np.testing.assert_array_equal(orv.dilate(a, orv.element.rect(3, 3))[1:-1, 1:-1], expected)


def test_lookup(rng):
    a = picture(rng, (30, 40))
    table = rng.integers(0, 256, 256).astype(np.uint8)
    np.testing.assert_array_equal(orv.lookup(a, table), table[a])
    colours = rng.integers(0, 256, (256, 3)).astype(np.uint8)
    np.testing.assert_array_equal(orv.lookup(a, colours), colours[a])


def test_measurements(rng):
    a = picture(rng)
    low, high = orv.extrema(a)
    np.testing.assert_array_equal(low, a.min((0, 1)))
    np.testing.assert_array_equal(high, a.max((0, 1)))
    counts, centers = orv.histogram(a)
    np.testing.assert_array_equal(centers, np.arange(256))
    for band in range(3):
        np.testing.assert_array_equal(counts[band], np.bincount(a[..., band].ravel(), minlength=256))
    joint, _ = orv.histogram(a, 4, joint=True)
    edges = np.array([-1e9, 42.5, 127.5, 212.5, 1e9])
    np.testing.assert_array_equal(joint, np.histogramdd(a.reshape(-1, 3), bins=[edges] * 3)[0])


def test_nearest_color_takes_the_nearest(rng):
    a = picture(rng, (20, 30, 3))
    colours = rng.integers(0, 256, (16, 3))
    chosen = colours[orv.nearest_color(a, orv.Palette(colours))]
    far = ((a[:, :, None].astype(int) - colours) ** 2).sum(-1)
    np.testing.assert_array_equal(((a - chosen.astype(int)) ** 2).sum(-1), far.min(-1))


def test_bits_in_and_out(rng):
    flags = rng.integers(0, 2, (13, 29)).astype(bool)
    np.testing.assert_array_equal(orv.not_(flags), ~flags)
    packed = orv.Bits(np.packbits(flags, axis=1), 29)
    result = orv.not_(packed)
    assert isinstance(result, orv.Bits)
    np.testing.assert_array_equal(np.unpackbits(result.packed, axis=1, count=29).astype(bool), ~flags)


def test_unsigned_sixteen_bits_are_pictures(rng):
    a, b = picture(rng, (20, 30), np.uint16), picture(rng, (20, 30), np.uint16)
    result = orv.max(a, b)
    assert result.dtype == np.uint16
    np.testing.assert_array_equal(result, np.maximum(a, b))
    with pytest.raises(orv.Error, match="unsigned 16-bit"):
        orv.multiply(a, b)


def test_alpha_is_carried(rng):
    a, b = picture(rng, (9, 9, 4)), picture(rng, (9, 9, 4))
    result = orv.add(a, b)
    np.testing.assert_array_equal(result[..., 3], a[..., 3])
    every = orv.add(a, b, encoding="other")
    np.testing.assert_array_equal(every, clipped(a.astype(int) + b, np.uint8))


@pytest.mark.parametrize("view", [lambda a: a[2:30, 3:50], lambda a: a[::2], lambda a: a[:, ::3], lambda a: a[::-1],
                                  lambda a: a[..., ::-1], lambda a: a[..., 1], lambda a: a.transpose(1, 0, 2)])
@pytest.mark.parametrize("dtype", [np.uint8, np.int16, np.uint16])
def test_any_strides(rng, view, dtype):
    a = view(picture(rng, (37, 53, 3), dtype))
    np.testing.assert_array_equal(orv.copy(a), a)
    out = view(np.zeros((37, 53, 3), dtype))
    assert orv.copy(a, out=out) is out
    np.testing.assert_array_equal(out, a)


def test_other_byte_order(rng):
    a = picture(rng, (5, 6), np.int16)
    np.testing.assert_array_equal(orv.copy(a.astype(">i2")), a)


def test_views_are_not_copied(rng):
    """What is written through out= of a view lands in the base, and nowhere else."""
    base = np.zeros((10, 12, 3), np.uint8)
    orv.set_value(200, out=base[2:5, 3:7])
    assert base.sum() == 200 * 3 * 4 * 3


def test_regions(rng):
    a = picture(rng, (20, 30))
    out = np.zeros_like(a)
    orv.copy(a, roi=(3, 4, 5, 6), out=out)
    expected = np.zeros_like(a)
    expected[4:10, 3:8] = a[4:10, 3:8]
    np.testing.assert_array_equal(out, expected)


def test_empty_blocks():
    assert orv.not_(np.zeros((0, 0, 3), np.uint8)).shape == (0, 0, 3)
    assert orv.convolve(np.zeros((0, 0), np.uint8), orv.kernel.box(3)).dtype == np.uint8


def test_refusals():
    a = np.zeros((4, 4), np.uint8)
    with pytest.raises(orv.Error) as caught:
        orv.add(a, np.zeros((4, 5), np.uint8))
    assert caught.value.op == "add" and "must be alike" in str(caught.value)
    with pytest.raises(orv.Error, match="no floats"):
        orv.not_(a.astype(float))
    with pytest.raises(orv.Error, match="numpy array"):
        orv.not_([1, 2])
    with pytest.raises(orv.Error, match="did you mean"):
        orv.convolve(a, "gaussian:3:1.0", edge="exten")
    with pytest.raises(orv.Error, match="read-only"):
        a.flags.writeable = False
        orv.not_(a, out=a)


def test_division_by_zero_is_a_warning():
    a = np.ones((4, 4), np.uint8)
    with pytest.warns(RuntimeWarning, match="divide"):
        orv.divide(a, np.zeros_like(a))


@pytest.mark.parametrize("value", [orv.kernel.gaussian(5, 1.0), orv.element.disk(2), orv.palette.cube(6, 6, 6),
                                   orv.mask.bayer(4), orv.Table(np.arange(256, dtype=np.uint8))])
def test_values_pickle(value):
    assert pickle.loads(pickle.dumps(value)) == value


def test_pipelines(rng):
    a = picture(rng)
    pipeline = orv.Pipeline().gray().keep("base").blur(sigma=2.0).subtract("@base")
    expected = orv.subtract(orv.blur(orv.gray(a), sigma=2.0), orv.gray(a))
    np.testing.assert_array_equal(pipeline.run(a), expected)
    np.testing.assert_array_equal(pickle.loads(pickle.dumps(pipeline))(a), expected)
    with pytest.raises(orv.Error, match="no operation"):
        orv.Pipeline().then("grey_ish")


def test_files_and_previews(rng, tmp_path):
    for a in (picture(rng), picture(rng, (9, 10)), picture(rng, (9, 10), np.uint16), picture(rng, (9, 10)) > 99):
        orv.write(tmp_path / "a.png", a)
        np.testing.assert_array_equal(orv.read(tmp_path / "a.png"), a)
    a = picture(rng)
    orv.write(tmp_path / "b.tif", a[..., ::-1], order="bgr", dpi=300)
    np.testing.assert_array_equal(orv.read(tmp_path / "b.tif"), a)
    np.testing.assert_array_equal(orv.read(tmp_path / "b.tif", order="bgr"), a[..., ::-1])
    assert orv.show(a)._repr_png_().startswith(b"\x89PNG")


def test_threads_take_turns(rng):
    from concurrent.futures import ThreadPoolExecutor

    pictures = [picture(rng) for _ in range(16)]
    with ThreadPoolExecutor(4) as pool:
        results = list(pool.map(orv.not_, pictures * 8))
    for a, result in zip(pictures * 8, results):
        np.testing.assert_array_equal(result, ~a)


def test_other_threads_run_while_pixels_are_worked_on(rng):
    import threading
    import time

    large = picture(rng, (3000, 3000))
    took = []

    def work():
        start = time.perf_counter()
        orv.error_diffusion(large, "gray:3")
        took.append((start, time.perf_counter()))

    thread = threading.Thread(target=work)
    ticks = []
    thread.start()
    while thread.is_alive():
        ticks.append(time.perf_counter())
        time.sleep(0.0005)
    thread.join()
    (start, end), = took
    # A call that held the interpreter would leave no moment in its middle to this thread.
    middle = [t for t in ticks if start + (end - start) * 0.25 < t < start + (end - start) * 0.75]
    assert len(middle) >= 3
