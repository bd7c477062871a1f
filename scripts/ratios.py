#!/usr/bin/env python3
"""Writes the measured ratios into docs/speed.md and README.md, from what orvbench printed.

    build/bench/bin/orvbench | scripts/ratios.py "MACHINE" [DATE]
"""

import datetime
import pathlib
import re
import statistics
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LINE = re.compile(r"^(?P<name>.{22}) +(?P<orv>[\d.]+) ms  memcpy +[\d.]+ ms +(?P<copy>[\d.]+)"
                  r"(?:   (?P<peer>\S+) +(?P<peers>[\d.]+) ms +(?P<ratio>[\d.]+))?")
PEERS = {"opencv": "OpenCV", "leptonica": "Leptonica"}


def rows_of(text):
    return [match.groupdict() for match in map(LINE.match, text.splitlines()) if match]


def peer_name(row):
    return PEERS.get(row["peer"].lower(), row["peer"])


def whole_table(rows):
    lines = ["| operation | orv | peer | | times as fast | beside memcpy |", "|---|---:|---|---:|---:|---:|"]
    for row in rows:
        beside = f"{peer_name(row)} | {row['peers']} ms | {row['ratio']}" if row["peer"] else "| |"
        lines.append(f"| {row['name'].strip()} | {row['orv']} ms | {beside} | {row['copy']} |")
    return "\n".join(lines)


def summary(rows):
    lines = ["| beside | operations | as fast or faster | median | least | most |", "|---|---:|---:|---:|---:|---:|"]
    for peer in sorted({peer_name(row) for row in rows if row["peer"]}):
        ratios = [float(row["ratio"]) for row in rows if row["peer"] and peer_name(row) == peer]
        lines.append(f"| {peer} | {len(ratios)} | {sum(r >= 1 for r in ratios)} | {statistics.median(ratios):.1f} | "
                     f"{min(ratios):.2f} | {max(ratios):.0f} |")
    return "\n".join(lines)


def put(path, text):
    """Replaces what stands between the two marks of a page."""
    page = path.read_text()
    marked = re.compile(r"(<!-- ratios -->\n).*?(<!-- end of ratios -->)", re.DOTALL)
    if not marked.search(page):
        sys.exit(f"{path} has no place for the ratios")
    path.write_text(marked.sub(lambda m: f"{m[1]}\n{text}\n\n{m[2]}", page))


if __name__ == "__main__":
    measured = rows_of(sys.stdin.read())
    if not measured:
        sys.exit("no lines of orvbench came")
    date = sys.argv[2] if len(sys.argv) > 2 else datetime.date.today().isoformat()
    said = (f"Measured on {sys.argv[1]}, {date}, each operation and its peer in one process, one thread, on 2048 x 2048 "
            "pixels: the time of the peer over that of orv (above 1, orv is faster).")
    put(ROOT / "docs" / "speed.md", said + "\n\n" + whole_table(measured))
    put(ROOT / "README.md", said + "\n\n" + summary(measured))
