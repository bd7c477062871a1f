#!/usr/bin/env python3
"""Lines of the device module with a branch that the suite does not take, or that it does not reach, as text:
    FILE:LINE taken/all source
from a JSON trace of gcovr."""

import json
import sys
from pathlib import Path


def main() -> None:
    trace = json.loads(Path(sys.argv[1]).read_text())
    for file in sorted(trace["files"], key=lambda f: f["file"]):
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
            print(f"{file['file']}:{number} {what} {source[number - 1].strip()}")


if __name__ == "__main__":
    main()
