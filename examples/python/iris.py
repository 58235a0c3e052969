#!/usr/bin/python3
"""Flattens an iris between the pupil and the white, whatever the pupil's size: the usual first step
of telling people apart by their eyes.

    iris.py FIGURE
"""
import sys

import matplotlib
import numpy as np

import polarwarp

matplotlib.use("agg")
from matplotlib import pyplot  # after the backend is chosen

CENTER, LIMBUS = (228.5, 171), 130  # pixels
STRIP = (720, 120)


def fibres():
    """What the strip of this iris should look like: colours that vary along the columns."""
    noise = np.random.default_rng(3).normal(size=(STRIP[0] // 2, 24)) / 7
    wide = np.repeat(np.repeat(noise.T, 5, axis=0), 2, axis=1)
    wide = sum(np.roll(wide, shift, axis=(0, 1)) for shift in range(-3, 4)) / 2
    tone = np.clip(0.55 + wide - 0.3 * np.linspace(1, 0, STRIP[1])[:, np.newaxis] ** 4, 0, 1)
    return (tone[..., np.newaxis] * (90, 160, 190)).astype(np.uint8)


def photograph(pupil):
    """An eye whose pupil is that large, looking straight at us."""
    eye = polarwarp.wrap(fibres(), size=(460, 340), center=CENTER, radius=LIMBUS,
                         inner_radius=pupil, cyclic=True, background=(0.93, 0.9, 0.88))
    y, x = np.mgrid[:340, :460]
    eye[np.hypot(x - CENTER[0], y - CENTER[1]) < pupil + 1] = 10
    lid = np.abs(y - CENTER[1]) > 150 - 0.0025 * (x - CENTER[0]) ** 2
    eye[lid] = (205, 165, 145)
    return eye


def main(path):
    figure, axes = pyplot.subplots(2, 2, figsize=(9, 4), dpi=90, width_ratios=(1, 2.2))
    strips = []
    for (left, right), pupil in zip(axes, (35, 60)):
        eye = photograph(pupil)
        strip = polarwarp.unwrap(eye, center=CENTER, radius=LIMBUS, inner_radius=pupil, size=STRIP)
        strips.append(strip.astype(float))
        left.imshow(eye)
        right.imshow(strip, aspect="auto", extent=(0, 360, 1, 0))
        left.set_axis_off()
        right.set(xlabel="degrees", ylabel="pupil to white")
    lower = [strip[20:100, 300:420].mean(axis=2).ravel() for strip in strips]
    likeness = np.corrcoef(*lower)[0, 1]
    if likeness < 0.9:
        sys.exit(f"iris: the two strips of one eye correlate by {likeness:.2f} only")
    axes[0, 1].set_title(f"one iris, two pupils: the strips correlate by {likeness:.2f}")
    figure.tight_layout()
    figure.savefig(path)


if __name__ == "__main__":
    main(sys.argv[1])
