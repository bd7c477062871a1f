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
    "or": {}, "xor": {}, "divide": {}, "quantize": {},
}


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
    return folder


@pytest.mark.parametrize("name", sorted(CALLS))
def test_the_same_as_the_tool(folder, name):
    row = ROWS[name]
    known = {p["name"] for p in row["parameters"]}
    sources = [folder / f"{n}.png" for n in ("a", "b")[: row["sources"]]]
    flags = [word for flag, value in CALLS[name].items() for word in ("--" + flag, value)]
    out = folder / f"{name}.tif"
    subprocess.run([TOOL, name, *map(str, sources), "-o", str(out), *flags], check=True, stdout=subprocess.DEVNULL)
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


def test_extrema_as_json(folder):
    made = subprocess.run([TOOL, "extrema", str(folder / "a.png"), "--json"], check=True, capture_output=True, text=True)
    low, high = orv.extrema(orv.read(folder / "a.png"))
    text = json.dumps(json.loads(made.stdout))
    for value in (*low, *high):
        assert str(value) in text


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
