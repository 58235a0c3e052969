#!/usr/bin/python3
"""Counts the years of a tree: rings become lines, and their mean along the lines a profile.

    tree_rings.py FIGURE
"""
import sys

import matplotlib
import numpy as np

import polarwarp

matplotlib.use("agg")
from matplotlib import pyplot  # after the backend is chosen

CENTER = (236.5, 262.25)  # the pith, which is not the middle
YEARS = 23


def photograph():
    """A slice of a tree, 500 x 500 pixels, grey, 16 bits: light early wood, dark late wood."""
    chance = np.random.default_rng(11)
    ends = np.cumsum(chance.uniform(7, 12, YEARS))
    y, x = np.mgrid[:500, :500]
    angle = np.arctan2(y - CENTER[1], x - CENTER[0])
    reach = np.hypot(x - CENTER[0], y - CENTER[1]) * (1 + 0.01 * np.sin(3 * angle))
    year = np.searchsorted(ends, reach)
    starts = np.concatenate([[0], ends])
    widths = np.append(np.diff(starts), 1)
    done = (reach - starts[year]) / widths[year]  # of the year's growth
    tone = np.where(year < YEARS, 0.85 - 0.5 * done ** 3, 0.15)
    tone += chance.normal(0, 0.08, reach.shape)
    return (np.clip(tone, 0, 1) * 65535).astype(np.uint16), ends[-1]


def main(path):
    picture, bark = photograph()
    strip = polarwarp.unwrap(picture, center=CENTER, radius=bark + 8, sampling="area",
                             size=(900, round(4 * (bark + 8))))
    profile = np.convolve(strip.mean(axis=1), np.ones(5) / 5, "valid")
    # A year ends where dark wood is followed by light.
    step = profile[8:] - profile[:-8]
    around = np.lib.stride_tricks.sliding_window_view(np.pad(step, 12, "edge"), 25)
    is_end = (step > 0.1 * 65535) & (step == around.max(axis=1))
    ends = np.append(np.flatnonzero(is_end) + 4, round(4 * bark))
    if len(ends) != YEARS:
        sys.exit(f"tree_rings: {len(ends)} years were found instead of {YEARS}")
    figure, axes = pyplot.subplots(1, 3, figsize=(9, 3), dpi=90, width_ratios=(1.2, 1.6, 1))
    for axis, image in zip(axes, (picture, strip)):
        axis.imshow(image, cmap="copper", aspect="auto" if image is strip else "equal")
        axis.set_axis_off()
    axes[1].set_title("pith above, bark below")
    axes[2].plot(profile / 65535, np.arange(len(profile)) / 4, color="0.3", linewidth=0.8)
    axes[2].hlines(ends / 4, 0, 1, color="C3", linewidth=0.6)
    axes[2].set(title=f"{len(ends)} years", ylabel="pixels from the pith",
                ylim=(len(profile) / 4, 0))
    figure.tight_layout()
    figure.savefig(path)


if __name__ == "__main__":
    main(sys.argv[1])
