#!/usr/bin/python3
"""Compares pictures of polarwarp with those of OpenCV and scikit-image for the same geometry.

Prints the largest and the mean difference of each case, in levels of 8 bits; status 1 where pixels
away from edges are more than one level apart, 77 where neither peer is installed.

Away from edges means that all four pixels around a position, worked out here, are in the source:
what lies beside it is for each to say. OpenCV rounds positions to 1/32 of a pixel, so it is shown a
picture without detail, in which that stays below a level; scikit-image is shown noise.
"""
import sys

import numpy as np

import polarwarp

try:
    import cv2
except ImportError:
    cv2 = None
try:
    import skimage.transform
except ImportError:
    skimage = None

# width, height, centre, radius, inner radius where rows are logarithms
DISCS = [(400, 400, (200, 200), 200, 1.0), (480, 320, (231.5, 170.25), 140, 1.0),
         (301, 403, (120, 260.75), 260, 1.0), (1024, 768, (512, 384), 380.5, 1.0)]
FLATS = [(360, 120), (1000, 300)]  # angles by radii


def smooth(width, height, wavelength=64):
    """Waves along both axes; along the first one whole numbers of them, as columns may close."""
    y, x = np.mgrid[:height, :width]
    waves = max(1, width // wavelength)
    return np.stack([127 + 60 * np.sin(2 * np.pi * (waves * x / width + shift))
                     + 60 * np.cos(2 * np.pi * y / wavelength + shift)
                     for shift in (0, 1 / 3, 2 / 3)], axis=2).round().astype(np.uint8)


def noise(width, height):
    return np.random.default_rng(7).integers(0, 256, (height, width, 3), np.uint8)


def radius_of(part, radius, inner):
    """Of a part of all rows, from the first one's place to the last one's."""
    return radius * part if inner == 0 else inner * (radius / inner) ** part


def places_in_disc(flat, center, radius, inner):
    """x and y, in the round picture, of each pixel of its peers' panorama: rows are angles,
    clockwise from the right, columns are distances."""
    angles, radii = flat
    angle = 2 * np.pi * np.arange(angles)[:, np.newaxis] / angles
    reach = radius_of(np.arange(radii) / radii, radius, inner)
    return center[0] + reach * np.cos(angle), center[1] + reach * np.sin(angle)


def places_in_flat(size, flat, center, radius, inner):
    """Column (a distance) and row (an angle), in the peers' panorama, of each pixel of the disc."""
    y, x = np.mgrid[:size[1], :size[0]]
    x, y = x - center[0], y - center[1]
    with np.errstate(divide="ignore"):
        reach = np.hypot(x, y) / radius if inner == 0 else (
            np.log(np.hypot(x, y) / inner) / np.log(radius / inner))
    return reach * flat[1], np.arctan2(y, x) / (2 * np.pi) % 1 * flat[0]


def are_inside(x, y, width, height):
    # At the centre every angle is right; and what rounds to 1/32 may round across an edge.
    margin = 1 / 16
    return ((x >= margin) & (x <= width - 1 - margin)
            & (y >= margin) & (y <= height - 1 - margin))


def opencv(image, flat, center, radius, inner, wraps, size):
    if inner == 0:
        flags = cv2.INTER_LINEAR | (cv2.WARP_INVERSE_MAP if wraps else 0)
        return cv2.warpPolar(image, size if wraps else flat[::-1], center, radius, flags)
    # Its own logarithms are of the distance and one pixel more, which is another geometry.
    x, y = (places_in_flat(size, flat, center, radius, inner) if wraps
            else places_in_disc(flat, center, radius, inner))
    if wraps:  # the first angle once more after the last one
        image = np.concatenate([image, image[:1]])
    return cv2.remap(image, x.astype(np.float32), y.astype(np.float32), cv2.INTER_LINEAR)


def scikit_image(image, flat, center, radius, inner, wraps, size):
    if not wraps:
        return skimage.transform.warp_polar(
            image, center=center[::-1], radius=radius, output_shape=flat, channel_axis=-1,
            scaling="log" if inner else "linear", preserve_range=True)
    places = places_in_flat(size, flat, center, radius, inner)
    closed = np.concatenate([image, image[:1]])
    return np.stack([skimage.transform.warp(channel, np.stack(places[::-1]), order=1,
                                            preserve_range=True)
                     for channel in np.moveaxis(closed, 2, 0)], axis=2)


def ours(image, flat, center, radius, inner, wraps, size):
    """Peers' panoramas lie on their side."""
    given = dict(center=center, radius=radius, inner_radius=inner, angle=90, direction="cw",
                 scale="log" if inner else "linear")
    if wraps:
        return polarwarp.wrap(np.swapaxes(image, 0, 1), size=size, cyclic=True, **given)
    return np.swapaxes(polarwarp.unwrap(image, size=flat, **given), 0, 1)


def compare(name, peer, draw, wraps):
    worst = 0.0
    for width, height, center, radius, log_inner in DISCS:
        for flat in FLATS:
            for inner in (0, log_inner):
                size = (width, height)
                image = np.swapaxes(draw(*flat), 0, 1) if wraps else draw(*size)
                given = (flat, center, radius, inner, wraps, size)
                mine, other = ours(image, *given), peer(np.ascontiguousarray(image), *given)
                if wraps:
                    x, y = places_in_flat(size, flat, center, radius, inner)
                    known = are_inside(x, y + 1, flat[1], flat[0] + 3)  # angles close
                else:
                    known = are_inside(*places_in_disc(flat, center, radius, inner), width, height)
                off = np.abs(mine.astype(float) - other)[known]
                print(f"| {name} | {'wrap' if wraps else 'unwrap'} | {width}x{height} "
                      f"| {center[0]:g}, {center[1]:g} | {radius:g} "
                      f"| {'log' if inner else 'linear'} | {flat[0]}x{flat[1]} "
                      f"| {known.mean():.0%} | {off.max():.2f} | {off.mean():.3f} |")
                worst = max(worst, off.max() if off.size else 999)
    return worst


def main():
    peers = []
    if cv2 is not None:
        peers.append((f"OpenCV {cv2.__version__}", opencv, smooth))
    if skimage is not None:
        peers.append((f"scikit-image {skimage.__version__}", scikit_image, noise))
    if not peers:
        print("peers: neither OpenCV nor scikit-image is installed for this Python")
        return 77
    print("| peer | | disc | centre | radius | rows | panorama | compared | largest | mean |")
    print("|---|---|---|---|---|---|---|---|---|---|")
    worst = max(compare(*peer, wraps) for peer in peers for wraps in (False, True))
    print(f"largest difference: {worst:.2f} levels")
    return 0 if worst <= 1 else 1


if __name__ == "__main__":
    sys.exit(main())
