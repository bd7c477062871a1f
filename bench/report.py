#!/usr/bin/env python3
"""Writes docs/benchmarks.md and its pictures from what was measured into a folder by scripts/bench.sh.

    bench/report.py FOLDER [DATE]
"""

import datetime
import json
import math
import re
import statistics
import sys
from pathlib import Path

from PIL import Image, ImageDraw, ImageFont

ROOT = Path(__file__).resolve().parent.parent
PICTURES = ROOT / "docs" / "pictures"
LARGE, SMALL = 2048, 512
LAYOUTS = {"padded": "rows with a gap", "apart": "pixels with a gap", "rectangles": "16 rectangles"}
PEERS = {"opencv": "OpenCV", "leptonica": "Leptonica", "cv::": "OpenCV ", "pix": "Leptonica pix"}
LIBRARIES = ("OpenCV", "Leptonica", "libvips", "Pillow")
SECTIONS = [
    ("Arithmetic, constants and logic", r"add|subtract|multiply|divide|max|min|and|or(const)?\d|xor|not|absolute|squeeze"),
    ("Copies, tables and conversions", r"copy|setvalue|lookup|rescale|threshold|convert|blend|bandCombine"),
    ("Colour", r"colorconvert|blackgeneration"),
    ("Filters", r"convolve|edge_detect|dilate|erode"),
    ("Geometry and warps", r"affine|rotate|scale|translate|tablewarp|transpose|subsample"),
    ("Quantisers", r"ordereddither|nearestcolor|errordiffusion|chooseColormap"),
    ("Measuring, fills and paint", r"extrema|histogram|fill|softfill|paint"),
    ("Others", r""),
]


def lines_of(path):
    return [json.loads(line) for line in path.read_text().splitlines()] if path.exists() else []


def layout_of(name):
    word = name.rsplit(" ", 1)[-1]
    return word if word in LAYOUTS else None


class Row:
    """What was measured of one row at the two sizes, beside its best peer."""

    def __init__(self, name):
        self.name = name
        self.at = {}

    def add(self, measured):
        self.at[measured["side"]] = dict(measured, peers=[])
        if measured["peer"]:
            self.at[measured["side"]]["peers"].append((measured["peerTime"], named(measured["peer"])))

    def ratio(self, side):
        """How many times as fast as the best peer; None without one."""
        at = self.at.get(side)
        return min(at["peers"])[0] / at["orv"] if at and at["peers"] else None

    def beside_libraries(self, side):
        """The same for the best library; copies of memory are no peers."""
        times = [time for time, peer in self.at[side]["peers"] if peer.startswith(LIBRARIES)] if side in self.at else []
        return min(times) / self.at[side]["orv"] if times else None

    def copy(self, side):
        at = self.at.get(side)
        return at["copy"] / at["orv"] if at else None

    def peer(self):
        at = self.at.get(LARGE) or self.at[SMALL]
        return min(at["peers"])[1] if at["peers"] else ""

    def goals(self):
        at = self.at.get(LARGE) or self.at[SMALL]
        default = 1.0 if at["peers"] and not layout_of(self.name) else 0.0
        return at["goal"] or default, at["copyGoal"]

    def missed(self):
        """Sizes and goals that are not reached; one in a hundred is the noise of the clock."""
        peer, copy = self.goals()
        wrong = [f"{goal:g} of {what} at {side}" for side in (LARGE, SMALL) for what, goal, got in
                 (("the peer", peer if side == LARGE else min(peer, 1.0), self.ratio(side)), ("memcpy", copy, self.copy(side)))
                 if goal and got is not None and got < goal * 0.99]
        return wrong


def named(peer):
    for word, name in PEERS.items():
        if peer.lower().startswith(word):
            return name + peer[len(word):]
    return peer


def read_rows(folder):
    rows = {}
    for side in (LARGE, SMALL):
        for measured in lines_of(folder / f"rows-{side}.json"):
            rows.setdefault(measured["name"], Row(measured["name"])).add(measured)
    for path in sorted(folder.glob("peers-*.json")):
        for measured in lines_of(path):
            row = rows.get(measured["row"]) or next(
                (r for name, r in rows.items() if name.startswith(measured["row"] + " ") and not layout_of(name)), None)
            if row is not None and measured["side"] in row.at:
                row.at[measured["side"]]["peers"].append((measured["peerTime"], measured["peer"]))
    return sorted(rows.values(), key=lambda row: [int(part) if part.isdigit() else part for part in re.split(r"(\d+)", row.name)])


def read_limits():
    """NAME: what was found to stand in the way."""
    limits = {}
    for line in (ROOT / "bench" / "limits.txt").read_text().splitlines():
        if line and not line.startswith("#"):
            name, limit = line.split(":", 1)
            limits[name.strip()] = limit.strip()
    return limits


def limit_of(limits, row):
    """A layout is bounded by something else than the dense row whose name its own begins with."""
    if layout_of(row.name):
        return limits.get(row.name, "")
    return limits.get(row.name) or next((limits[name] for name in limits if row.name.startswith(name + " ")), "")


def shown(value, goal=0.0):
    if value is None:
        return ""
    text = f"{value:.2f}" if value < 10 else f"{value:.0f}"
    return f"**{text}**" if goal and value < goal * 0.99 else text


def time_shown(row, side):
    return f"{row.at[side]['orv']:.3f}" if side in row.at else ""


def section_of(row):
    return next(title for title, pattern in SECTIONS if re.match(pattern, row.name))


def table(rows, limits):
    lines = ["| | 2048 | peer | memcpy | 512 | peer | memcpy | the peer | goals | limit where one is missed |",
             "|---|--:|--:|--:|--:|--:|--:|---|---|---|"]
    for row in rows:
        peer, copy = row.goals()
        cells = []
        for side in (LARGE, SMALL):
            cells += [time_shown(row, side), shown(row.ratio(side), peer if side == LARGE else min(peer, 1.0)),
                      shown(row.copy(side), copy)]
        goals = ", ".join(([f"{peer:g} of the peer"] if peer else []) + ([f"{copy:g} of memcpy"] if copy else []))
        missed = limit_of(limits, row) or "not yet found" if row.missed() else ""
        lines.append("| " + " | ".join([row.name, *cells, row.peer(), goals, missed]) + " |")
    return "\n".join(lines)


def layouts(rows, limits):
    lines = ["| | pictures | at 2048 | at 512 | goal | limit where it is missed |", "|---|---|--:|--:|--:|---|"]
    for row in rows:
        goal = row.goals()[0]
        name, word = row.name.rsplit(" ", 1)
        missed = limit_of(limits, row) or "not yet found" if row.missed() else ""
        lines.append(f"| {name} | {LAYOUTS[word]} | {shown(row.ratio(LARGE), goal)} | {shown(row.ratio(SMALL), goal)} | "
                     f"{f'{goal:.2f}' if goal else ''} | {missed} |")
    return "\n".join(lines)


def summary(rows, besides):
    lines = ["| beside | rows | as fast or faster | median | least | most |", "|---|--:|--:|--:|--:|--:|"]
    for library in LIBRARIES:
        for side in (LARGE, SMALL):
            ratios = [time / row.at[side]["orv"] for row in rows if side in row.at
                      for time, peer in row.at[side]["peers"] if peer.startswith(library)]
            if ratios:
                lines.append(f"| {library}, {side} x {side} | {len(ratios)} | {sum(r >= 0.99 for r in ratios)} | "
                             f"{statistics.median(ratios):.1f} | {min(ratios):.2f} | {max(ratios):.0f} |")
    for side in (LARGE, SMALL):
        ratios = [ratio for row in rows if (ratio := row.beside_libraries(side)) is not None]
        lines.append(f"| the best peer of each, {side} x {side} | {len(ratios)} | {sum(r >= 0.99 for r in ratios)} | "
                     f"{statistics.median(ratios):.1f} | {min(ratios):.2f} | {max(ratios):.0f} |")
    missed = sum(bool(row.missed()) for row in rows + besides)
    return "\n".join(lines), f"{len(rows) + len(besides)} rows; {missed} miss a goal."


# Pictures. -----------------------------------------------------------------------------------------------------------


def font(size):
    try:
        return ImageFont.truetype("DejaVuSans.ttf", size)
    except OSError:
        return ImageFont.load_default()


def bars(rows, path):
    """A bar for each function that has a peer, on a scale of powers."""
    best = {}
    for row in rows:
        ratio = row.beside_libraries(LARGE)
        if ratio is not None:
            best.setdefault(row.name.split(" ")[0], []).append(ratio)
    worst = sorted(((min(ratios), function) for function, ratios in best.items()), reverse=True)
    if not worst:
        return
    line, left, width = 15, 190, 760
    image = Image.new("RGB", (width, line * len(worst) + 60), "white")
    draw, small = ImageDraw.Draw(image), font(11)
    low, high = math.log10(0.5), math.log10(max(worst[0][0], 10) * 1.2)

    def x(ratio):
        return left + (math.log10(max(ratio, 0.5)) - low) / (high - low) * (width - left - 60)

    draw.text((10, 8), "times as fast as the best peer, 2048 x 2048 (the least of a function's rows)", "black", font(13))
    for tick in (0.5, 1, 2, 5, 10, 20, 50, 100):
        if x(tick) < width - 50:
            draw.line((x(tick), 32, x(tick), image.height - 20), "black" if tick == 1 else "#dddddd")
            draw.text((x(tick) - 6, image.height - 18), f"{tick:g}", "black", small)
    for i, (ratio, function) in enumerate(worst):
        y = 34 + line * i
        draw.rectangle((x(1), y + 2, x(ratio), y + line - 3) if ratio >= 1 else (x(ratio), y + 2, x(1), y + line - 3),
                       "#2f7d4f" if ratio >= 0.99 else "#b5452c")
        draw.text((left - 8 - draw.textlength(function, small), y), function, "black", small)
        draw.text((max(x(ratio), x(1)) + 5, y), f"{ratio:.1f}" if ratio >= 2 else f"{ratio:.2f}", "#555555", small)
    image.quantize(32).save(path, optimize=True)


COLOURS = ["#1f77b4", "#d62728", "#2ca02c", "#9467bd", "#ff7f0e", "#8c564b", "#17becf", "#e377c2", "#7f7f7f", "#bcbd22"]


def curves(families, sides, path):
    """Cost of a pixel by the size of pictures, a line for each family."""
    width, left, top, bottom, right = 860, 60, 40, 40, 210
    height = max(520, top + bottom + 12 * (len(families) + 4))
    image = Image.new("RGB", (width, height), "white")
    draw, small = ImageDraw.Draw(image), font(11)
    costs = [cost for family in families.values() for cost in family.values()]
    low, high = math.log10(min(costs) / 1.3), math.log10(max(costs) * 1.3)

    def place(side, cost):
        return (left + (math.log2(side) - math.log2(sides[0])) / (math.log2(sides[-1]) - math.log2(sides[0])) *
                (width - left - right), top + (high - math.log10(cost)) / (high - low) * (height - top - bottom))

    draw.text((10, 8), "nanoseconds a pixel, by the side of the picture", "black", font(13))
    for side in sides:
        draw.line((place(side, 10**low), place(side, 10**high)), "#dddddd")
        draw.text((place(side, 10**low)[0] - 14, height - bottom + 6), str(side), "black", small)
    for power in range(math.ceil(low), math.floor(high) + 1):
        draw.line((place(sides[0], 10**power), place(sides[-1], 10**power)), "#dddddd")
        draw.text((8, place(sides[0], 10**power)[1] - 7), f"{10.0**power:g}", "black", small)
    free = top
    for i, (name, family) in enumerate(sorted(families.items(), key=lambda item: -list(item[1].values())[-1])):
        points = [place(side, cost) for side, cost in sorted(family.items())]
        colour = COLOURS[i % len(COLOURS)]
        draw.line(points, colour, 2)
        at = max(points[-1][1] - 7, free)
        free = at + 12
        draw.line((points[-1], (width - right + 12, at + 7)), "#cccccc")
        draw.text((width - right + 15, at), name, colour, small)
    image.quantize(64).save(path, optimize=True)


# The page. -----------------------------------------------------------------------------------------------------------


def own_growth(family, moved):
    """From LARGE pictures up, what grows beside a loop that reads and writes as many bytes."""
    if not moved or LARGE not in family:
        return None
    return max(cost - (moved[side] - moved[LARGE]) for side, cost in family.items() if side >= LARGE) / family[LARGE]


def scaling(folder):
    families, copies, moved = {}, {}, {}
    for path in folder.glob("scale-*.json"):
        for measured in lines_of(path):
            pixels = measured["side"] ** 2
            families.setdefault(measured["name"], {})[measured["side"]] = measured["orv"] * 1e6 / pixels
            moved.setdefault(measured["name"], {})[measured["side"]] = measured.get("stream", measured["copy"]) * 1e6 / pixels
            if measured["name"] == "copy8":
                copies[measured["side"]] = measured["copy"] * 1e6 / pixels
    if not families:
        return ""
    sides = sorted({side for family in families.values() for side in family})
    curves({**families, "memcpy of a byte": copies} if copies else families, sides, PICTURES / "benchmarks-scale.png")
    lines = ["| nanoseconds a pixel | " + " | ".join(map(str, sides)) + " | most over least | from 2048 up | less memory |",
             "|---|" + "--:|" * (len(sides) + 3)]
    for name, family in {**families, **({"memcpy of a byte": copies} if copies else {})}.items():
        costs = [family.get(side) for side in sides]
        known = [cost for cost in costs if cost]
        large = [cost for side, cost in family.items() if side >= LARGE]
        spread = max(large) / min(large) if large else float("nan")
        lines.append(f"| {name} | " + " | ".join(f"{cost:.3f}" if cost else "" for cost in costs) +
                     f" | {max(known) / min(known):.2f} | {shown(spread)} | {shown(own_growth(family, moved.get(name)))} |")
    return "\n".join(lines)


def costs(folder):
    lines = ["| build | file | code and constants | room for tables | opened in | memory when opened |",
             "|---|--:|--:|--:|--:|--:|"]
    for line in (folder / "modules.txt").read_text().splitlines():
        build, size, text, data, bss, opened, resident = line.split()
        lines.append(f"| {build} | {int(size) / 1e6:.2f} MB | {int(text) / 1e6:.2f} MB | {(int(data) + int(bss)) / 1e6:.1f} MB | "
                     f"{float(opened):.1f} ms | {int(resident) / 1e6:.1f} MB |")
    kept = {}
    for line in (folder / "retained.txt").read_text().splitlines():
        name, amount = line.rsplit(None, 1)
        function = name.split(" ")[0]
        kept[function] = kept.get(function, 0) + max(int(amount), 0)
    held = sorted(((amount, name) for name, amount in kept.items() if amount >= 20000), reverse=True)
    caches = ["| function | kept after its first call |", "|---|--:|"]
    caches += [f"| {name} | {amount / 1e3:.0f} kB |" for amount, name in held]
    total = sum(kept.values())
    return "\n".join(lines), "\n".join(caches), total


def compose(folder, date):
    everything = read_rows(folder)
    rows = [row for row in everything if not layout_of(row.name)]
    besides = [row for row in everything if layout_of(row.name)]
    limits = read_limits()
    machine = (folder / "machine.txt").read_text().strip()
    beside_peers, counted = summary(rows, besides)
    PICTURES.mkdir(exist_ok=True)
    bars(rows, PICTURES / "benchmarks.png")
    grown = scaling(folder)
    modules, caches, kept = costs(folder)
    uncovered = (folder / "uncovered.txt").read_text().split()
    parts = [f"""# Benchmarks

Written by `scripts/bench.sh` on {date}.

{machine}

Each row is a function of the module, called through the host library on one thread, beside its peers and beside `memcpy` of
the bytes that it reads and writes; the fastest run of a twentieth of a second (in memory of a fifth) counts; short ones take
place twice in a row, so that each finds its own pictures in the caches. OpenCV and Leptonica run in turns with it in one process;
libvips and Pillow in processes of their own. Numbers are times as fast as the best peer (above 1, orv is faster) and shares of
memcpy's speed; times are milliseconds. 2048 x 2048 bytes lie in memory, 512 x 512 in cache. What misses its goal is bold; numbers
near a goal move by some per cent from run to run, by more on a machine that others use at the same time.

The peers do not always do the same work: results of orv are defined to the last bit, and where a peer rounds, clamps or treats
borders in another way it was given the nearest call that it has.

## In short

{beside_peers}

{counted}

![times as fast as the best peer](pictures/benchmarks.png)
"""]
    for title, _ in SECTIONS:
        group = [row for row in rows if section_of(row) == title]
        if group:
            parts.append(f"## {title}\n\n{table(group, limits)}\n")
    parts.append(f"""## Pictures that are no dense block

The function on dense pictures over the same on others: 1 is as fast as dense. A region of 16 rectangles has no goal: its rows are
a quarter as long, and begin anywhere in a line of the caches, where dense pictures of many functions are a single row.

{layouts(besides, limits)}
""")
    if grown:
        parts.append(f"""## From 256 x 256 to 16384 x 16384

![nanoseconds a pixel by the size of pictures](pictures/benchmarks-scale.png)

{grown}

Functions that do little for a byte follow memcpy, whose own cost is in the last line, out of the caches. The last column takes off
what a loop grows by that reads and writes as many bytes as the function, in order, and does nothing else: memory takes twice as
long for a byte beyond the caches as in them, and the more so where a line is read before it is overwritten. Of sides above 4096
the better of two runs counts. What turns a picture reads or writes across its rows, and is the more so bound by memory's latency:
asking for the lines of the next tile ahead, of the source or of both, does not change it.
""")
    parts.append(f"""## What the module costs

{modules}

Tables have their room in the module, which costs nothing before they are made, or are taken from the heap. What a function's first
call leaves behind, by the pages written to, {kept / 1e6:.1f} MB if all of them are called; those of 20 kB and more:

{caches}
""")
    parts.append("## What is not measured\n\n" + (
        "Functions without a row: " + ", ".join(f"`{name}`" for name in uncovered) + ".\n" if uncovered
        else "Every registered function has a row.\n"))
    (ROOT / "docs" / "benchmarks.md").write_text("\n".join(parts))
    return beside_peers


def put(path, text):
    """Replaces what stands between the two marks of a page."""
    page = path.read_text()
    marked = re.compile(r"(<!-- ratios -->\n).*?(<!-- end of ratios -->)", re.DOTALL)
    if not marked.search(page):
        sys.exit(f"{path} has no place for the ratios")
    path.write_text(marked.sub(lambda m: f"{m[1]}\n{text}\n\n{m[2]}", page))


if __name__ == "__main__":
    day = sys.argv[2] if len(sys.argv) > 2 else datetime.date.today().isoformat()
    ratios = compose(Path(sys.argv[1]), day)
    put(ROOT / "README.md", f"How many times as fast as its peers ([all figures](docs/benchmarks.md), {day}):\n\n" + ratios)
