#!/usr/bin/python3
"""Unrolls the donut that a camera sees in a mirror above it, which looks all around at once.

    donut.py FIGURE
"""
import sys
from pathlib import Path

import matplotlib
import numpy as np

import polarwarp

matplotlib.use("agg")
from matplotlib import image, pyplot  # after the backend is chosen

MIRROR = dict(center=(287.5, 309.25), radius=262, inner_radius=70)  # pixels


def photograph():
    """Float, RGB; made of a panorama."""
    panorama = image.imread(Path(__file__).parent.parent / "panorama.png")[..., :3]
    return polarwarp.wrap(np.ascontiguousarray(panorama, np.float32), size=(600, 600),
                          ground="bottom", cyclic=True, sampling="area", background=0.08, **MIRROR)


def main(path):
    donut = photograph()
    panorama = polarwarp.unwrap(donut, ground="bottom", sampling="area", **MIRROR)
    # The whole circumference by the whole difference of the radii: no size was asked for.
    assert panorama.shape == (192, 1646, 3)
    figure, (left, right) = pyplot.subplots(1, 2, figsize=(9, 2.4), dpi=90, width_ratios=(1, 3))
    left.imshow(donut)
    left.plot(*MIRROR["center"], "w+")
    right.imshow(panorama, aspect="auto", extent=(0, 360, 70, 262))
    left.set_axis_off()
    right.set(xlabel="degrees", ylabel="pixels from the centre")
    figure.tight_layout()
    figure.savefig(path)


if __name__ == "__main__":
    main(sys.argv[1])
