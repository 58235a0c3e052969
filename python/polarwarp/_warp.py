"""The two warps."""
import math
from typing import Any, Literal, Optional, TypeVar, Union

import numpy as np
from numpy.typing import NDArray

from . import _arguments as arguments
from ._core import is_direct, render

Pixel = TypeVar("Pixel", np.uint8, np.uint16, np.float32)
Pair = tuple[float, float]
Box = tuple[int, int, int, int]
Colour = Union[str, float, tuple[float, float, float]]
Direction = Literal["ccw", "cw"]
Scale = Literal["linear", "log", "sqrt", "square"]
Ground = Literal["top", "bottom"]
Sampling = Literal["bilinear", "nearest", "area"]
Alpha = Literal["straight", "premultiplied", "opaque"]


def unwrap(image: NDArray[Pixel], *, size: Optional[tuple[int, int]] = None,
           center: Optional[Pair] = None, radius: Optional[Union[float, Pair]] = None,
           inner_radius: float = 0.0, circle: bool = False, angle: float = 0.0, arc: float = 360.0,
           direction: Optional[Direction] = None, scale: Scale = "linear", amount: float = 1.0,
           ground: Ground = "top", source: Optional[Box] = None, region: Optional[Box] = None,
           sampling: Sampling = "bilinear", alpha: Alpha = "straight",
           background: Optional[Colour] = None, threads: int = 0,
           out: Optional[NDArray[Pixel]] = None) -> NDArray[Pixel]:
    """Make a panorama of a round picture.

    A column of the result is an angle, a row a distance from the centre.

    Parameters
    ----------
    image : ndarray
        The round picture, of shape (height, width) or (height, width, channels) with 1, 3 or 4
        channels, or a stack, (n, height, width, channels); uint8, uint16 or float32. Any strides;
        it is copied only where pixels of a row are not side by side.
    size : (int, int), optional
        Width and height of the panorama in pixels. As the input; with `radius`, the circumference
        of which `arc` is a part by the difference of the radii.
    center : (float, float), optional
        x and y of the centre in pixels; whole numbers fall on pixels. Half the width and height.
    radius : float or (float, float), optional
        Where the row after the last one lies, in pixels; two radii, along x and y, for an ellipse.
        Half the width and height.
    inner_radius : float, optional
        Where the first row lies, in pixels, along the horizontal axis of an ellipse.
    circle : bool, optional
        Without `radius`: the largest circle instead of the inscribed ellipse.
    angle : float, optional
        Where the first column lies, in degrees: 0 is up, 90 is right.
    arc : float, optional
        How far the columns reach, in degrees, above 0 to 360.
    direction : {"ccw", "cw"}, optional
        Which way the columns go; counterclockwise, but with ``ground="bottom"`` clockwise.
    scale : {"linear", "log", "sqrt", "square"}, optional
        What rows are proportional to: the distance from the centre, its logarithm (then
        `inner_radius` is above 0), its root, or its square, which gives all rows the same area.
    amount : float, optional
        0 to 1: how far every pixel has moved from its own place to where the warp takes it.
    ground : {"top", "bottom"}, optional
        Which row of the panorama lies at the centre, the first or the last one.
    source : (int, int, int, int), optional
        Width, height, x and y, in pixels, of the part of `image` that is the round picture, from
        whose corner `center` counts. It may reach outside, where there is nothing to see.
    region : (int, int, int, int), optional
        Width, height, x and y, in pixels, of the part of the panorama to render.
    sampling : {"bilinear", "nearest", "area"}, optional
        Mix four pixels weighted by their alpha, copy the nearest one, or take the mean of the area
        that a pixel of the result covers.
    alpha : {"straight", "premultiplied", "opaque"}, optional
        What the fourth of four channels says: colour is as if the pixel were opaque, is multiplied
        by alpha, or alpha says nothing and is full in the result.
    background : float or (float, float, float) or str, optional
        What pictures without alpha show where there is nothing to see, 1.0 being the brightest;
        "#rrggbb", "black" and "white" are understood. 0.
    threads : int, optional
        Threads to use at most, to 1024; 0 is one for each processor. Pixels do not depend on it.
    out : ndarray, optional
        Where to write the result: a writable array of its shape and type, of any strides.

    Returns
    -------
    ndarray
        The panorama, with the type and the channels of `image`; `out` where that is given.

    Raises
    ------
    TypeError, ValueError
        Where an argument is not what is accepted, with its value and what is.

    Examples
    --------
    The ring of a donut, 10 to 30 pixels from its centre, becomes a strip:

    >>> import numpy as np
    >>> y, x = np.mgrid[:64, :64] - 32
    >>> donut = np.where(abs(np.hypot(x, y) - 20) <= 10, 200, 0).astype(np.uint8)
    >>> strip = unwrap(donut, radius=30, inner_radius=10)
    >>> strip.shape
    (20, 188)
    >>> int(strip[2:-2].min())
    200
    """
    return _warp(wraps=False, cyclic=False, **locals())


def wrap(image: NDArray[Pixel], *, size: Optional[tuple[int, int]] = None,
         center: Optional[Pair] = None, radius: Optional[Union[float, Pair]] = None,
         inner_radius: float = 0.0, circle: bool = False, angle: float = 0.0, arc: float = 360.0,
         direction: Optional[Direction] = None, cyclic: bool = False, scale: Scale = "linear",
         amount: float = 1.0, ground: Ground = "top", source: Optional[Box] = None,
         region: Optional[Box] = None, sampling: Sampling = "bilinear", alpha: Alpha = "straight",
         background: Optional[Colour] = None, threads: int = 0,
         out: Optional[NDArray[Pixel]] = None) -> NDArray[Pixel]:
    """Make a round picture of a panorama.

    The reverse of `unwrap`: a column of the input is an angle, a row a distance from the centre.

    Parameters
    ----------
    image : ndarray
        The panorama; shapes and types as for `unwrap`.
    size : (int, int), optional
        Width and height of the round picture in pixels. As the input.
    center : (float, float), optional
        x and y of the centre in pixels of the round picture. Half its width and height.
    radius : float or (float, float), optional
        Where the row after the last one lies, in pixels; two radii for an ellipse. Half the round
        picture's width and height.
    inner_radius, circle, angle, arc, direction, scale, ground : optional
        As for `unwrap`: pixels, degrees and words say the same.
    cyclic : bool, optional
        Whether the first column follows the last one, as it does in what `unwrap` makes, of which
        this is then the exact reverse. Else the last column lies where `arc` ends.
    amount : float, optional
        0 to 1: how far every pixel has moved from its own place to where the warp takes it.
    source : (int, int, int, int), optional
        Width, height, x and y, in pixels, of the part of `image` that is the panorama.
    region : (int, int, int, int), optional
        Width, height, x and y, in pixels, of the part of the round picture to render.
    sampling, alpha, background, threads : optional
        As for `unwrap`.
    out : ndarray, optional
        Where to write the result: a writable array of its shape and type, of any strides.

    Returns
    -------
    ndarray
        The round picture, with the type and the channels of `image`; `out` where that is given.

    Raises
    ------
    TypeError, ValueError
        Where an argument is not what is accepted, with its value and what is.

    Examples
    --------
    Rows become rings; what lies outside of them is 0, or `background`:

    >>> import numpy as np
    >>> rows = np.repeat(np.array([[50], [100], [150]], np.uint8), 90, axis=1)
    >>> disc = wrap(rows, size=(61, 61), center=(30, 30), radius=30, sampling="nearest",
    ...             cyclic=True)
    >>> [int(disc[30, 30 + distance]) for distance in (2, 12, 22, 30)]
    [50, 100, 150, 0]
    """
    return _warp(wraps=True, **locals())


def _circumference(rx: float, ry: float) -> float:
    # Gauss's means: each step doubles the digits.
    a, b = max(rx, ry), min(rx, ry)
    weight, total = 0.5, a * a
    for _ in range(60):
        total -= weight * (a * a - b * b)
        a, b, weight = (a + b) / 2, math.sqrt(a * b), weight * 2
    return 2 * math.pi * total / a


def _panorama(rx: float, ry: float, inner: float, turns: float) -> tuple[int, int]:
    """Width and height of one that keeps the size of what lies at the rim."""
    width = max(1, math.floor(_circumference(rx, ry) * turns + 0.5))
    height = max(1, math.floor(max(rx, ry) * (1 - inner) + 0.5))
    if width * height > arguments.MOST_PIXELS:
        raise ValueError(f"radius {rx, ry} makes a panorama of {width} by {height} pixels; a size "
                         f"of at most {arguments.MOST_PIXELS} is accepted")
    return width, height


def _circle(round_picture: tuple[int, int], center: Any, radius: Any, inner_radius: Any,
            circle: bool, angle: Any, arc: Any) -> tuple[float, ...]:
    half = round_picture[0] / 2, round_picture[1] / 2
    x, y = half if center is None else arguments.point("center", center)
    if radius is not None:
        if circle:
            raise ValueError(f"circle is True and radius is {radius!r}; one of them is accepted")
        rx, ry = arguments.radii("radius", radius)
    else:
        rx, ry = (min(half), min(half)) if circle else half
    inner = arguments.number("inner_radius", inner_radius, 0, math.nextafter(rx, 0),
                             f"0 to below the radius, which is {rx:.12g}, is accepted") / rx
    start = arguments.number("angle", angle, -arguments.LARGEST, arguments.LARGEST,
                             "a finite number of degrees is accepted")
    turns = arguments.number("arc", arc, 1e-30, 360, "above 0 to 360 degrees is accepted") / 360
    # Whole turns are taken off in degrees, where that is exact.
    return x, y, rx, ry, inner, math.fmod(start, 360) / 360, turns


def _warp(*, wraps: bool, image: Any, size: Any, center: Any, radius: Any, inner_radius: Any,
          circle: Any, angle: Any, arc: Any, direction: Any, cyclic: Any, scale: Any, amount: Any,
          ground: Any, source: Any, region: Any, sampling: Any, alpha: Any, background: Any,
          threads: Any, out: Any) -> NDArray[Any]:
    image = np.asarray(image)
    pictures = arguments.pictures("image", image)
    height, width, channels = pictures.shape[1:]
    from_bottom = arguments.choice("ground", ground, ("top", "bottom")) == 1
    part = arguments.source("source", source, width, height)
    whole = (part.width, part.height) if size is None else arguments.size("size", size)
    place = _circle(whole if wraps else (part.width, part.height), center, radius, inner_radius,
                    arguments.flag("circle", circle), angle, arc)
    if size is None and radius is not None and not wraps:
        whole = _panorama(place[2], place[3], place[4], place[6])
    rendered = arguments.region("region", region, *whole)
    rows = arguments.choice("scale", scale, ("linear", "log", "sqrt", "square"))
    if rows == 1 and place[4] == 0:
        raise ValueError(f'inner_radius is {inner_radius!r}; above 0 is accepted with scale "log"')
    coverage = arguments.choice("alpha", alpha, ("straight", "premultiplied", "opaque"))
    options: dict[str, Any] = dict(
        wraps=wraps, circle=place, scale=rows, alpha=coverage,
        clockwise=from_bottom if direction is None
        else arguments.choice("direction", direction, ("ccw", "cw")) == 1,
        cyclic=arguments.flag("cyclic", cyclic), ground_bottom=from_bottom,
        amount=arguments.number("amount", amount, 0, 1, "0 to 1 is accepted"),
        sampling=arguments.choice("sampling", sampling, ("bilinear", "nearest", "area")),
        background=arguments.background("background", background, channels,
                                        channels < 4 or coverage == 2),
        threads=arguments.integer("threads", threads, 0, 1024, "0 to 1024 is accepted"))

    shape = list(image.shape)
    axis = 0 if image.ndim < 4 else 1
    shape[axis:axis + 2] = rendered.height, rendered.width
    result = arguments.output("out", out, tuple(shape), image.dtype)
    results = arguments.pictures("out", result)
    if not is_direct(pictures) or (out is not None and np.may_share_memory(pictures, results)):
        pictures = pictures.copy()
    target = results if is_direct(results) else np.empty_like(results, order="C")

    render(pictures, target, source=(part.x, part.y, part.width, part.height),
           whole=(rendered.x, rendered.y, *whole), **options)
    if target is not results:
        results[...] = target
    return result
