#!/usr/bin/env python3
"""Lines of the device module with a branch that the suite does not take, or that it does not reach:
    untaken.py TRACE [REASONS]
TRACE is a JSON trace of gcovr. Without REASONS the lines are printed as FILE:LINE taken/all source. REASONS lists lines with why
they are not taken: under a line that begins with "# " and gives the reason, lines of the form FILE: source. Printed then are
lines that are neither taken nor listed, and listed ones that are taken or gone; the exit status is 1 where there are any of the
first kind."""

import json
import sys
from pathlib import Path
from typing import Iterator, NamedTuple


class Line(NamedTuple):
    file: str
    number: int
    taken: str
    source: str

    @property
    def key(self) -> str:
        return f"{self.file}: {' '.join(self.source.split())}"


def untaken(trace: Path) -> Iterator[Line]:
    for file in sorted(json.loads(trace.read_text())["files"], key=lambda f: f["file"]):
        source = Path(file["file"]).read_text().splitlines()
        for line in file["lines"]:
            if line.get("gcovr/noncode"):
                continue
            branches = line["branches"]
            taken = sum(1 for b in branches if b["count"] > 0)
            if line["count"] > 0 and taken == len(branches):
                continue
            number = line["line_number"]
            what = f"{taken}/{len(branches)}" if line["count"] > 0 else "never"
            yield Line(file["file"], number, what, source[number - 1].strip())


def listed(reasons: Path) -> set[str]:
    lines = (line.strip() for line in reasons.read_text().splitlines())
    return {" ".join(line.split()) for line in lines if line and not line.startswith("#")}


def main() -> int:
    lines = list(untaken(Path(sys.argv[1])))
    if len(sys.argv) == 2:
        for line in lines:
            print(f"{line.file}:{line.number} {line.taken} {line.source}")
        return 0
    known = listed(Path(sys.argv[2]))
    found = {line.key for line in lines}
    unknown = [line for line in lines if line.key not in known]
    for line in unknown:
        print(f"without a reason: {line.file}:{line.number} {line.taken} {line.source}")
    for key in sorted(known - found):
        print(f"listed, but taken or gone: {key}")
    print(f"{len(lines)} lines have a branch that is not taken; {len(unknown)} of them without a reason")
    return 1 if unknown else 0


if __name__ == "__main__":
    sys.exit(main())
