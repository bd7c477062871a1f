"""Writes what the package takes from the catalogue: orv/_operations.py, a function for every operation, and the stubs
orv/_pipeline.pyi, a method for every operation, and orv/dask.pyi.

    python3 generate.py FOLDER-OF-THE-NATIVE-MODULE FOLDER-OF-THE-PACKAGE
"""

import keyword
import os
import sys
import textwrap

HEAD = '''"""The operations of the catalogue as functions. Written by generate.py; changes belong into the catalogue."""

from __future__ import annotations

from typing import Any, Literal

from . import _results
from ._native import call as _call
from ._types import Array, Colors, Element, Kernel, Levels, Mask, Numbers, Palette, Picture, Points, Roi, Size, Table

'''

KINDS = {
    "number": "float", "integer": "int", "angle": "float | str", "levels": "Levels", "factors": "Numbers",
    "numbers": "Numbers", "bits": "Numbers", "size": "Size", "kernel": "Kernel", "element": "Element",
    "palette": "Palette", "mask": "Mask", "table": "Table", "points": "Points", "text": "str", "flag": "bool",
    "colours": "Colors", "brush": "Kernel", "diffusion": "Kernel", "warp": "Array | str",
}
GIVES = {"measurements": "dict[str, Array]", "images": "list[Array]", "palette": "Palette", "table": "Table"}
# Operations whose measurements have a shape of their own.
SHAPED = {"histogram": ("tuple[Array, Array]", "_results.histogram({}, joint)"),
          "extrema": ("tuple[Array, Array]", "_results.extrema({})")}


def name_of(operation):
    name = operation["name"]
    return name + "_" if keyword.iskeyword(name) else name


def literal(parameter):
    text = parameter["fallback"]
    if not text:
        return "None"
    if parameter["kind"] == "flag":
        return str(text == "yes")
    if parameter["kind"] in ("number", "integer", "angle", "factors", "numbers") and parameter["name"] != "dtype":
        try:
            values = [float(part) for part in text.split(",")]
        except ValueError:
            return repr(text)
        shown = [str(int(v)) if v == int(v) else str(v) for v in values]
        return shown[0] if len(shown) == 1 else "(" + ", ".join(shown) + ")"
    return repr(text)


def type_of(parameter):
    if parameter["name"] == "dtype":
        return "Any"
    if parameter["kind"] == "choice":
        return "Literal[" + ", ".join(repr(word) for word in parameter["choices"]) + "]"
    return KINDS[parameter["kind"]]


def required(parameter):
    return not parameter["fallback"] and not parameter["optional"]


def sources_of(operation):
    if operation["most_sources"] > operation["sources"] or operation["sources"] > 3:
        return ["*images"]
    names = ["a", "b", "c"][: operation["sources"]]
    if operation["last_source"]:
        names[-1] = operation["last_source"]
    return names


def argument(parameter):
    text = parameter["name"] + ": " + type_of(parameter)
    if required(parameter):
        return text
    if not parameter["fallback"]:
        text += " | None"
    return text + " = " + literal(parameter)


def takes_encoding(operation):
    """Operations that have a parameter of that name say more with it."""
    return bool(sources_of(operation)) and all(p["name"] != "encoding" for p in operation["parameters"])


def signature(operation):
    """Arguments in their order; those after a lone star are given by keyword."""
    parameters = operation["parameters"]
    sources = sources_of(operation)
    many = sources == ["*images"]
    by_place = [p for p in parameters if required(p)] + [p for p in parameters if not required(p) and p["positional"]]
    by_name = [p for p in parameters if p not in by_place]
    parts = [name + ": Picture" for name in sources]
    parts += [argument(p) for p in by_place]
    if not many:
        parts.append("*")
    parts += [argument(p) for p in by_name]
    parts.append("roi: Roi | None = None")
    if operation["gives_image"]:
        parts.append("out: Array | None = None")
    if operation["bands_meet"] and sources:
        parts.append('order: Literal["rgb", "bgr"] = "rgb"')
    if takes_encoding(operation):
        parts.append("encoding: str | None = None")
    return ", ".join(parts)


def docstring(operation):
    lines = [operation["help"][0].upper() + operation["help"][1:] + "."]
    if operation["details"]:
        lines += ["", *textwrap.wrap(operation["details"], 100)]
    if operation["recipe"]:
        lines += ["", "A recipe: an exact composition of other operations."]
    if operation["parameters"]:
        lines.append("")
        for p in operation["parameters"]:
            lines += textwrap.wrap(f"{p['name']}: {p['help']}", 100, subsequent_indent="    ")
    return lines


def body(operation):
    sources = sources_of(operation)
    given = "images" if sources == ["*images"] else "(" + "".join(s + ", " for s in sources).rstrip(" ") + ")"
    if not sources:
        given = "()"
    values = "(" + "".join(p["name"] + ", " for p in operation["parameters"]).rstrip(" ") + ")"
    if not operation["parameters"]:
        values = "()"
    out = "out" if operation["gives_image"] else "None"
    order = "order" if operation["bands_meet"] and sources else '"rgb"'
    encoding = 'encoding or ""' if takes_encoding(operation) else '""'
    made = f'_call("{operation["name"]}", {given}, {values}, roi, {out}, {encoding}, {order})'
    gives = "Array" if operation["gives_image"] else GIVES[operation["instead"]]
    if operation["name"] in SHAPED:
        gives, shape = SHAPED[operation["name"]]
        made = shape.format(made)
    return gives, made


def function(operation):
    gives, made = body(operation)
    text = [f"def {name_of(operation)}({signature(operation)}) -> {gives}:"]
    lines = docstring(operation)
    text.append('    """' + lines[0])
    text += [("    " + line).rstrip() for line in lines[1:]]
    text.append('    """' if len(lines) > 1 else "")
    if len(lines) == 1:
        text[-2] += '"""'
        text.pop()
    text.append("    return " + made)
    return "\n".join(text)


def module(operations):
    functions = [function(o) for o in operations]
    names = ",\n    ".join(repr(name_of(o)) for o in operations)
    return HEAD + "\n__all__ = [\n    " + names + ",\n]\n\n\n" + "\n\n\n".join(functions) + "\n"


PIPELINE_HEAD = '''# The steps of pipelines. Written by generate.py; changes belong into the catalogue.
from __future__ import annotations

from typing import Any, Literal

from ._types import Array, Colors, Element, Kernel, Levels, Mask, Numbers, Palette, Picture, Points, Size, Table

class Pipeline:
    def __init__(self, fuse: Literal["exact", "all", "off"] = "exact") -> None: ...
    def then(self, operation: str, *pictures: str, **parameters: Any) -> Pipeline: ...
    def keep(self, name: str) -> Pipeline: ...
    def run(self, *pictures: Picture, out: Array | None = None) -> Any: ...
    def __call__(self, *pictures: Picture, out: Array | None = None) -> Any: ...
    def __len__(self) -> int: ...
'''

DASK_HEAD = '''# The operations on dask arrays. Written by generate.py; changes belong into the catalogue and into _blocks.py.
from __future__ import annotations

from os import PathLike
from typing import Any, Callable, Iterable, Literal

from ._pipeline import Pipeline
from ._types import Array, Colors, Element, Kernel, Levels, Mask, Numbers, Palette, Points, Size, Table

Path = str | PathLike[str]
Blocks = Any

def run(pipeline: Pipeline, *arrays: Blocks) -> Blocks: ...
def from_npy(path: Path, chunks: Any = 2048) -> Blocks: ...
def to_npy(array: Blocks, path: Path, *, progress: bool = False) -> None: ...
def batch(files: str | Iterable[Path], work: Callable[[Any], Any], into: Path, *, ending: str | None = None,
          reading: dict[str, Any] | None = None, **writing: Any) -> Any: ...
def cluster(workers: int | None = None, **settings: Any) -> Any: ...
def compute(collection: Any, *, progress: bool = True) -> Any: ...
'''


def step(operation):
    """A method of a pipeline: further pictures by their names, parameters by keyword."""
    parameters = ["self", "*pictures: str", *(argument(p) for p in operation["parameters"])]
    return f"    def {name_of(operation)}({', '.join(parameters)}) -> Pipeline: ..."


def on_blocks(operation):
    parts = [part for part in signature(operation).replace(": Picture", ": Blocks").split(", ")
             if not part.startswith(("roi: ", "out: "))]
    if parts[-1] == "*":
        parts.pop()
    return f"def {name_of(operation)}({', '.join(parts)}) -> Blocks: ..."


def files(operations):
    """What is written, by its name in the package."""
    return {
        "_operations.py": module(operations),
        "_pipeline.pyi": PIPELINE_HEAD + "\n".join(map(step, operations)) + "\n",
        "dask.pyi": DASK_HEAD + "\n".join(on_blocks(o) for o in operations if o["gives_image"]) + "\n",
    }


if __name__ == "__main__":
    sys.path.insert(0, sys.argv[1])
    import _native

    for name, text in files(_native.catalogue()).items():
        with open(os.path.join(sys.argv[2], name), "w", encoding="utf-8") as file:
            file.write(text)
