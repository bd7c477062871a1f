"""Every operation from Python and from the command line gives the same samples."""

import ast
import inspect
import json
import os
import shlex
import shutil
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest

import orv
from orv import _native

TOOL = os.environ.get("ORV")
ROWS = {row["name"]: row for row in _native.catalogue()}
pytestmark = pytest.mark.skipif(not TOOL, reason="the tool is not told by ORV")

# Arguments that say the same to both: as flags, and as keywords.
CALLS = {
    "add_const": {"value": "20"}, "subtract_from_const": {"value": "255"}, "multiply_const": {"value": "1.5"},
    "divide_into_const": {"value": "2550"}, "and_const": {"value": "0xf0"}, "or_const": {"value": "15"},
    "xor_const": {"value": "0x80"}, "rescale": {"scale": "1.2", "offset": "-5"}, "band_combine":
    {"matrix": "0,1,0,0,0,0,1,0,1,0,0,0"}, "color_convert": {"to": "photoycc"}, "convolve": {"kernel": "gaussian:5:1.0"},
    "dilate": {"element": "disk:2"}, "erode": {"element": "rect:3x3"}, "affine": {"matrix": "0.9,0.1,-0.1,0.9,3,4"},
    "rotate": {"degrees": "20", "background": "#102030"}, "scale": {"by": "1.5"}, "translate": {"by": "2.5,-3"},
    "subsample_adaptive": {"by": "0.5"}, "ordered_dither": {"palette": "cube:6x6x6"},
    "nearest_color": {"palette": "cube:4x4x4"}, "error_diffusion": {"palette": "choose:16"},
    "paint": {"brush": "disk:4", "value": "red", "at": "10,12;20,9"},
    "fill": {"seed": "5,5", "boundary": "black", "value": "#ff8000"}, "blur": {"sigma": "2"},
    "threshold": {"low": "10,20,30", "high": "90,120,200", "map": "#102030"}, "convert": {"to": "int16"},
    "copy_pattern": {"size": "70x50"}, "copy_with_planemask": {"value": "0xf0"},
    "table_warp": {"table": "swirl:1.0"}, "gray": {}, "sharpen": {}, "halftone": {}, "binarize": {}, "not": {},
    "copy": {}, "edge_detect_sobel": {}, "add": {}, "subtract": {}, "multiply": {}, "max": {}, "min": {}, "and": {},
    "or": {}, "xor": {}, "divide": {}, "quantize": {}, "absolute": {}, "blend": {},
    "black_generation": {"black": "0.9", "undercolor": "0.7"}, "set_value": {"value": "#ff8000", "size": "31x17"},
    "lookup": {"table": "curve.txt"}, "transpose": {"flip": "antidiagonal"}, "subsample": {"by": "1/4"},
    "table_warp_h": {"table": "wave:6:20"}, "table_warp_v": {"table": "wave:6:20", "interpolation": "bilinear"},
    "soft_fill": {"seed": "9,9", "foreground": "red", "backgrounds": "white", "value": "green"}, "depth": {"to": "int16"},
    "resize": {"size": "50x31"}, "rotate_fit": {"degrees": "12", "background": "white"},
    "bucket": {"at": "9,9", "value": "#ff8000", "tolerance": "16"}, "join": {},
}
# Where the two plain pictures do not fit.
SOURCES = {"absolute": ["signed.npy"], "blend": ["a.png", "b.png", "mask.png"], "black_generation": ["inks.tif"],
           "subsample": ["page.png"], "squeeze_range": ["mask.png"], "join": ["mask.png", "mask.png", "mask.png"],
           "soft_fill": ["logo.png"], "bucket": ["logo.png"]}
# Those that make no picture have tests of their own below.
MEASURING = {"extrema", "histogram", "squeeze_range", "choose_colormap", "split"}


def python_name(flag):
    return {"from": "from_", "to": "dtype"}.get(flag, flag)


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    folder = tmp_path_factory.mktemp("pictures")
    rng = np.random.default_rng(11)
    ramp = np.add.outer(np.arange(48) * 3, np.arange(64) * 2)[..., None] + np.array([0, 20, 40])
    for name in ("a", "b"):
        noise = rng.integers(0, 30, (48, 64, 3))
        orv.write(folder / f"{name}.png", np.clip(ramp + noise, 1, 255).astype(np.uint8))
    np.save(folder / "signed.npy", rng.integers(-32768, 32768, (48, 64)).astype(np.int16))
    orv.write(folder / "mask.png", np.clip(ramp[..., 0] * 2, 3, 250).astype(np.uint8))
    orv.write(folder / "page.png", rng.random((48, 64)) > 0.6)
    orv.write(folder / "inks.tif", rng.integers(0, 256, (48, 64, 4)).astype(np.uint8), encoding="cmyk")
    y, x = np.mgrid[0:48, 0:64]
    inside = np.clip(20.5 - np.hypot(y - 10, x - 12), 0, 1)[..., None]
    orv.write(folder / "logo.png", (inside * [255, 0, 0] + (1 - inside) * 255).astype(np.uint8))
    (folder / "curve.txt").write_text("".join(f"{255 - v * v // 255}\n" for v in range(256)))
    return folder


def sources_of(folder, name):
    row = ROWS[name]
    return [folder / file for file in SOURCES.get(name, ["a.png", "b.png"][: row["sources"]])]


def test_every_operation_is_held_against_the_tool():
    assert set(CALLS) | MEASURING == set(ROWS)


@pytest.mark.parametrize("name", sorted(CALLS))
def test_the_same_as_the_tool(folder, name, monkeypatch):
    monkeypatch.chdir(folder)
    row = ROWS[name]
    known = {p["name"] for p in row["parameters"]}
    sources = sources_of(folder, name)
    flags = [word for flag, value in CALLS[name].items() for word in ("--" + flag, value)]
    out = folder / f"{name}.tif"
    subprocess.run([TOOL, name, *map(str, sources), "-o", str(out), *flags], check=True, stdout=subprocess.DEVNULL,
                   cwd=folder)
    keywords = {}
    for flag, value in CALLS[name].items():
        keywords[python_name(flag) if python_name(flag) in known else flag] = value
    function = getattr(orv, name + "_" if name in ("and", "or", "not") else name)
    result = function(*map(orv.read, sources), **keywords)
    expected = orv.read(out)
    if expected.shape != result.shape and expected.ndim == 3 and result.ndim == 2:
        # A palette picture: the tool's file has colours, the array the indices.
        pytest.importorskip("PIL")
        from PIL import Image

        expected = np.asarray(Image.open(out))
    np.testing.assert_array_equal(result, expected)


@pytest.mark.parametrize("name, files, flags", [
    ("add", ["a.png", "mask.png"], {}),
    ("convolve", ["a.png"], {"kernel": "gaussian:5:1.0", "edge": "exten"}),
    ("fill", ["a.png"], {"seed": "500,5", "boundary": "black", "value": "red"}),
    ("error_diffusion", ["a.png"], {"palette": "cube:300x2x2"}),
    ("scale", ["a.png"], {"by": "0.00001"}),
])
def test_errors_say_what_the_tool_says(folder, name, files, flags):
    words = [word for flag, value in flags.items() for word in ("--" + flag, value)]
    made = subprocess.run([TOOL, name, *files, "-o", "none.png", *words], capture_output=True, text=True, cwd=folder)
    assert made.returncode != 0
    with pytest.raises(orv.Error) as caught:
        getattr(orv, name)(*(orv.read(folder / file) for file in files), **flags)
    assert made.stderr == f"orv: {caught.value}\n"


def told(folder, name, *flags):
    files = [str(file) for file in sources_of(folder, name)]
    return subprocess.run([TOOL, name, *files, *flags], check=True, capture_output=True, text=True, cwd=folder).stdout


def test_extrema(folder):
    row = json.loads(told(folder, "extrema", "--json"))[0]
    low, high = orv.extrema(orv.read(folder / "a.png"))
    assert low.tolist() == row["min"] and high.tolist() == row["max"]


def test_histogram(folder):
    row = json.loads(told(folder, "histogram", "--bins", "16", "--json"))[0]
    counts, centers = orv.histogram(orv.read(folder / "a.png"), 16)
    assert centers.tolist() == row["centers"]
    assert counts.tolist() == [row["red"], row["green"], row["blue"]]


def test_squeeze_range(folder):
    lines = told(folder, "squeeze_range").split()
    assert orv.squeeze_range(orv.read(folder / "mask.png")).samples.ravel().tolist() == [int(line) for line in lines]


def test_choose_colormap(folder):
    lines = told(folder, "choose_colormap", "--colors", "9").splitlines()
    colors = [[int(word) for word in line.split()[:3]] for line in lines if line[:1] in " 0123456789"]
    assert orv.choose_colormap(orv.read(folder / "a.png"), 9).colors.tolist() == colors


def test_split(folder):
    told(folder, "split", "-o", "band-%n.png")
    for number, band in enumerate(orv.split(orv.read(folder / "a.png")), 1):
        np.testing.assert_array_equal(band, orv.read(folder / f"band-{number}.png"))


def test_the_functions_are_those_of_the_catalogue(tmp_path):
    here = Path(__file__).resolve().parent.parent
    native = Path(_native.__file__).parent
    subprocess.run([sys.executable, str(here / "generate.py"), str(native), str(tmp_path)], check=True)
    command = shlex.join(["python3", "python/generate.py", "BUILD/python/orv", "python/orv"])
    made = sorted(os.listdir(tmp_path))
    assert made == ["_operations.py", "_pipeline.pyi", "dask.pyi"]
    for name in made:
        assert (tmp_path / name).read_text() == (here / "orv" / name).read_text(), f"{name} is stale; run {command}"


def test_stubs_tell_what_is_there():
    """Every name of the native part and of the modules that have stubs, with the parameters that it takes."""
    package = Path(__file__).resolve().parent.parent / "orv"
    for stub, module in (("_native.pyi", _native), ("_pipeline.pyi", orv._pipeline)):
        tree = ast.parse((package / stub).read_text())
        told = {node.name: node for node in tree.body if isinstance(node, (ast.ClassDef, ast.FunctionDef))}
        told |= {node.target.id: node for node in tree.body if isinstance(node, ast.AnnAssign)}
        defined = {name for name, value in vars(module).items() if not name.startswith("_") and not inspect.ismodule(value)
                   and getattr(value, "__module__", module.__name__) == module.__name__}
        assert defined - {"Error"} <= set(told), stub
        for name, node in told.items():
            assert hasattr(module, name), f"{stub}: {name}"
            if isinstance(node, ast.ClassDef) and name != "Pipeline":
                members = {n for n in vars(getattr(module, name)) if not n.startswith("_")}
                listed = {m.name if isinstance(m, ast.FunctionDef) else m.target.id for m in node.body
                          if isinstance(m, (ast.FunctionDef, ast.AnnAssign))}
                assert members <= listed | {"args", "with_traceback", "add_note"}, f"{stub}: {name}"
    steps = ast.parse((package / "_pipeline.pyi").read_text())
    methods = {m.name for c in steps.body if isinstance(c, ast.ClassDef) for m in c.body}
    assert set(orv._operations.__all__) <= methods


def test_the_tutorial_gives_what_it_shows():
    script = Path(__file__).resolve().parent.parent.parent / "scripts" / "python_tutorial.py"
    made = subprocess.run([sys.executable, str(script)], capture_output=True, text=True)
    assert made.returncode == 0, made.stderr


def test_installs_into_an_environment(tmp_path):
    build = Path(_native.__file__).resolve().parent.parent.parent
    subprocess.run([sys.executable, "-m", "venv", "--system-site-packages", str(tmp_path / "env")], check=True)
    python = tmp_path / "env" / "bin" / "python"
    source = tmp_path / "python"
    shutil.copytree(Path(__file__).resolve().parent.parent, source, ignore=shutil.ignore_patterns("__pycache__"))
    subprocess.run([python, "-m", "pip", "install", "-q", "--no-index", "--no-build-isolation", str(source)],
                   check=True, env={**os.environ, "ORV_BUILD_DIR": str(build)})
    code = "import numpy, orv; assert orv.not_(numpy.zeros((2, 2), numpy.uint8)).min() == 255; print(orv.__file__)"
    environment = {key: value for key, value in os.environ.items() if key != "PYTHONPATH"}
    made = subprocess.run([python, "-c", code], check=True, capture_output=True, text=True, env=environment, cwd=tmp_path)
    assert str(tmp_path / "env") in made.stdout
