"""Chains of operations."""

import inspect

from . import _native

_rows = {row["name"]: row for row in _native.catalogue()}


class Pipeline:
    """Steps that are recorded, and run by run() or by calling it:

        edges = orv.Pipeline().gray().keep("base").blur(sigma=4.0).subtract("@base")
        result = edges.run(picture)

    Operations are methods; their first picture is the result of the step before. Further pictures are named: "@2" is the
    second picture that run() is given, "@base" a result kept by keep("base"). Pipelines pickle.
    """

    def __init__(self, fuse="exact"):
        self._fuse = fuse
        self._steps = []

    def then(self, operation, *pictures, **parameters):
        """Adds a step by the name of its operation."""
        name = operation.replace("-", "_").rstrip("_")
        row = _rows.get(name)
        if row is None:
            raise _native.Error(f"there is no operation '{operation}'")
        known = [p["name"] for p in row["parameters"]]
        for given in parameters:
            if given not in known:
                raise _native.Error(f"{name}: there is no parameter '{given}' (known: {', '.join(known)})")
        values = tuple(parameters.get(p) for p in known)
        self._steps.append((name, values, list(pictures), ""))
        return self

    def keep(self, name):
        """Keeps the result of the step added last under a name."""
        if not self._steps:
            raise _native.Error("there is no step whose result could be kept")
        operation, values, pictures, _ = self._steps[-1]
        self._steps[-1] = (operation, values, pictures, name)
        return self

    def run(self, *pictures, out=None):
        return _native.run_pipeline(self._steps, pictures, self._fuse, out)

    __call__ = run

    def __len__(self):
        return len(self._steps)

    def __getattr__(self, name):
        if name.startswith("__") or name.rstrip("_") not in _rows:
            raise AttributeError(name)

        def step(*pictures, **parameters):
            return self.then(name, *pictures, **parameters)

        step.__doc__ = inspect.cleandoc(_rows[name.rstrip("_")]["help"])
        return step
