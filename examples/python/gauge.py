#!/usr/bin/python3
"""Reads a pressure gauge: its scale becomes a straight strip, in which the needle is a dark column.

    gauge.py FIGURE
"""
import sys

import matplotlib
import numpy as np

import polarwarp

matplotlib.use("agg")
from matplotlib import pyplot  # after the backend is chosen

FIRST, SWEEP = -135, 270  # degrees, clockwise from up, from 0 to 10 bar
TRUE = 6.4


def photograph():
    """A dial, 170 pixels to the rim: grey, 8 bits. Matplotlib counts from edges of pixels."""
    figure = pyplot.figure(figsize=(4, 4), dpi=100)
    dial = figure.add_axes((0, 0, 1, 1), xlim=(0, 400), ylim=(400, 0))
    dial.set_axis_off()
    dial.add_patch(pyplot.Circle((205, 198), 175, facecolor="0.95", edgecolor="0.3", linewidth=8))
    for value in np.linspace(0, 10, 51):
        along = np.radians(FIRST + SWEEP * value / 10)
        x, y = np.sin(along), -np.cos(along)
        reach = np.array([140 if value % 1 == 0 else 150, 160])
        dial.plot(205 + reach * x, 198 + reach * y, color="0.4", linewidth=1)
        if value % 1 == 0:
            dial.text(205 + 122 * x, 198 + 122 * y, f"{value:g}", ha="center", va="center")
    along = np.radians(FIRST + SWEEP * TRUE / 10)
    ends = np.array([-25, 105])
    dial.plot(205 + ends * np.sin(along), 198 - ends * np.cos(along), color="black", linewidth=4)
    figure.canvas.draw()
    picture = np.asarray(figure.canvas.buffer_rgba())[..., 0].copy()
    pyplot.close(figure)
    return picture


def main(path):
    picture = photograph()
    strip = polarwarp.unwrap(picture, center=(204.5, 197.5), radius=170, inner_radius=60,
                             angle=FIRST, arc=SWEEP, direction="cw", ground="bottom",
                             size=(1000, 110), sampling="area")
    dark = 255.0 - strip[70:].mean(axis=0)  # of the rows nearest the centre
    dark[dark < 0.5 * dark.max()] = 0
    value = 10 * np.average(np.arange(dark.size), weights=dark) / dark.size
    if abs(value - TRUE) > 0.01:
        sys.exit(f"gauge: {value:.2f} bar was read instead of {TRUE}")
    figure, (left, right) = pyplot.subplots(1, 2, figsize=(9, 2.6), dpi=90, width_ratios=(1, 2.6))
    left.imshow(picture, cmap="gray", vmin=0, vmax=255)
    left.set_axis_off()
    right.imshow(strip, cmap="gray", vmin=0, vmax=255, extent=(0, 10, 60, 170), aspect="auto")
    right.axvline(value, color="C3", linewidth=1)
    right.set(title=f"{value:.2f} bar", xlabel="bar", ylabel="pixels from the centre")
    figure.tight_layout()
    figure.savefig(path)


if __name__ == "__main__":
    main(sys.argv[1])
