#!/usr/bin/env python3
"""Runs the cells of docs/python-tutorial.md in order and holds what they print and show against the page.

    scripts/python_tutorial.py [--write]        --write brings the page and its pictures up to date instead

A cell is a block of python; a block of text after it is what it prints, a picture after it what its last line shows.
"""

import ast
import contextlib
import io
import os
import re
import shutil
import sys
import tempfile
from pathlib import Path

import numpy as np

import orv

DOCS = Path(__file__).resolve().parent.parent / "docs"
PAGE = DOCS / "python-tutorial.md"
CELL = re.compile(r"```python\n(?P<code>.*?)```\n(?:\n```text\n(?P<text>.*?)```\n)?(?:\n!\[[^]]*\]\((?P<picture>[^)]+)\)\n)?", re.S)


def run(code, space):
    """What a cell prints, and the value of its last line where that is an expression."""
    tree = ast.parse(code)
    last = ast.Expression(tree.body.pop().value) if tree.body and isinstance(tree.body[-1], ast.Expr) else None
    printed = io.StringIO()
    with contextlib.redirect_stdout(printed):
        exec(compile(tree, str(PAGE), "exec"), space)
        value = eval(compile(last, str(PAGE), "eval"), space) if last else None
        if value is not None and not hasattr(value, "_repr_png_"):
            print(repr(value))
    return printed.getvalue(), value


def main(write):
    page = PAGE.read_text(encoding="utf-8")
    space = {"__name__": "tutorial"}
    wrong = []
    with tempfile.TemporaryDirectory() as folder:
        shutil.copy(DOCS / "pictures" / "python" / "chart.png", folder)
        os.chdir(folder)

        def told(cell):
            printed, value = run(cell["code"], space)
            if printed != (cell["text"] or ""):
                wrong.append(f"this cell prints something else:\n{cell['code']}\n{printed}")
            picture = value._repr_png_() if hasattr(value, "_repr_png_") else None
            if (picture is None) != (cell["picture"] is None):
                wrong.append(f"this cell shows a picture where the page has none, or none where it has one:\n{cell['code']}")
            elif picture is not None:
                kept = DOCS / cell["picture"]
                if write:
                    kept.write_bytes(picture)
                elif not np.array_equal(orv.read(kept), value.picture):
                    wrong.append(f"{cell['picture']} is not what this cell shows:\n{cell['code']}")
            if not write or not printed:
                return cell[0]
            text = f"\n```text\n{printed}```\n"
            tail = cell[0][cell[0].index("![") - 1 :] if cell["picture"] else ""
            return f"```python\n{cell['code']}```\n{text}{tail}"

        made = CELL.sub(told, page)
        os.chdir("/")
    if write:
        PAGE.write_text(made, encoding="utf-8")
        return 0
    for line in wrong:
        print(line, file=sys.stderr)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main("--write" in sys.argv[1:]))
