#!/usr/bin/python3
"""Draws what a pixel costs at each size, as SVG, from the tables that renderBench prints."""
import math
import re
import sys

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams.update({"svg.fonttype": "none", "svg.hashsalt": "polar", "font.size": 9})
from matplotlib import pyplot  # after the backend is chosen

STYLES = {"RGBA8": "-", "RGBA16": "--", "float": ":"}
MARKS = {"RGBA8": "o", "RGBA16": "s", "float": "^"}


def read_tables(lines):
    """{instruction set: {case: [(square root of the pixels, ns per pixel), ...]}}"""
    tables, side, columns = {}, None, []
    for line in lines:
        title = re.match(r"(\d+)x(\d+), ns/pixel:$", line)
        if title:
            side = math.prod(map(int, title.groups())) ** 0.5
        elif side is not None and line.startswith("|"):
            name, *cells = [cell.strip() for cell in line.strip().strip("|").split("|")]
            if name == "case":
                columns = cells
            elif len(cells) == len(columns) and not name.startswith("-"):
                for column, cell in zip(columns, cells):
                    if cell:
                        rows = tables.setdefault(column, {}).setdefault(name, [])
                        rows.append((side, float(cell.split()[0])))
        elif line.strip():
            side, columns = None, []  # other tables may follow
    return tables


def draw(tables):
    copies = tables.pop("memcpy")
    figure, panels = pyplot.subplots(2, 2, figsize=(9, 8), sharex=True, sharey=True)
    for panel, case in zip(panels.flat, ["unwrap bilinear", "wrap bilinear",
                                         "unwrap nearest", "wrap nearest"]):
        for form, style in STYLES.items():
            drawn = dict(linestyle=style, marker=MARKS[form], markersize=3, linewidth=1)
            for number, (name, rows) in enumerate(tables.items()):
                panel.plot(*zip(*rows[f"{case} {form}"]), color=f"C{number}",
                           label=f"{name} {form}", **drawn)
            panel.plot(*zip(*copies[f"{case} {form}"]), color="0.6", label=f"memcpy {form}",
                       **drawn)
        panel.set(title=case, xscale="log", yscale="log")
        panel.grid(alpha=0.3, linewidth=0.5)
    ticks = [256, 1000, 2880, 8192]
    panel.set_xticks(ticks, [str(tick) for tick in ticks])
    panel.set_yticks([0.1, 1, 10, 100], ["0.1", "1", "10", "100"])
    panel.minorticks_off()
    figure.supxlabel("square root of the number of pixels")
    figure.supylabel("ns/pixel, one thread")
    figure.tight_layout(rect=(0, 0, 1, 0.89))
    # In rows of one instruction set.
    handles, labels = panel.get_legend_handles_labels()
    figure.legend(handles, labels, ncols=len(STYLES), loc="upper center")
    return figure


if __name__ == "__main__":
    found = read_tables(sys.stdin)
    if not found.keys() - {"memcpy"}:
        sys.exit("chart: no table of an instruction set to be read")
    draw(found).savefig(sys.stdout.buffer, format="svg", metadata={"Date": None})
