"""What the package does with arrays and arguments, and that pixels come from where they should."""
import os
import signal
import threading
import tracemalloc
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest

import polarwarp
from polarwarp._core import is_direct

SCALES = {
    "linear": (lambda r: r, lambda p: p), "log": (np.log, np.exp),
    "sqrt": (np.sqrt, np.square), "square": (np.square, np.sqrt)}
LAYOUTS = [
    {}, {"circle": True}, {"size": (31, 12)}, {"center": (22.5, 17)}, {"radius": 15},
    {"radius": (18, 12), "inner_radius": 5.5}, {"angle": 90}, {"angle": -810.5}, {"arc": 100},
    {"direction": "cw"}, {"direction": "cw", "angle": 30, "arc": 200}, {"ground": "bottom"},
    {"ground": "bottom", "direction": "ccw", "inner_radius": 3}, {"amount": 0.25},
    {"scale": "log", "inner_radius": 2}, {"scale": "sqrt"}, {"scale": "square", "inner_radius": 4},
    {"source": (40, 30, 3, 2)}, {"source": (30, 20, 5, 8), "ground": "bottom"},
    {"region": (20, 11, 7, 3)}, {"region": (20, 11, 7, 3), "ground": "bottom", "size": (33, 41)}]


def ramp(width, height):
    """Of three floats, the first two the pixel's own place: means of pixels are places."""
    picture = np.zeros((height, width, 3), np.float32)
    picture[..., 1], picture[..., 0] = np.mgrid[:height, :width]
    return picture


def layout(round_size, center=None, radius=None, inner_radius=0, circle=False, scale="linear", **_):
    half = np.array(round_size) / 2
    radii = np.full(2, radius) if np.isscalar(radius) else np.array(radius or half)
    if circle:
        radii[:] = half.min()
    to, back = SCALES[scale]
    with np.errstate(divide="ignore"):
        first, last = to(inner_radius / radii[0]), to(1.0)
    return (np.array(half if center is None else center), radii,
            lambda part: back(first + (last - first) * part),
            lambda distance: (to(distance) - first) / (last - first))


def places_in_disc(size, source, **given):
    """Of each pixel of a whole panorama, x and y in the input."""
    center, radii, distance, _ = layout(source[:2], **given)
    row, column = np.mgrid[:size[1], :size[0]]
    if given.get("ground") == "bottom":
        row = size[1] - 1 - row
    clockwise = given.get("direction", "cw" if given.get("ground") == "bottom" else "ccw") == "cw"
    degrees = given.get("arc", 360) * column / size[0] * (1 if clockwise else -1)
    angle = np.radians(degrees + given.get("angle", 0))
    reach = distance(row / size[1])
    return np.stack([center[0] + radii[0] * reach * np.sin(angle) + source[2],
                     center[1] - radii[1] * reach * np.cos(angle) + source[3]], axis=-1)


def places_in_panorama(size, source, **given):
    """Of each pixel of a whole disc, x and y in the input, and which pixels lie on it for sure."""
    center, radii, _, part = layout(size, **given)
    y, x = (np.mgrid[:size[1], :size[0]].T - center[::-1]).T / radii[::-1, np.newaxis, np.newaxis]
    bottom = given.get("ground") == "bottom"
    clockwise = given.get("direction", "cw" if bottom else "ccw") == "cw"
    degrees = (np.degrees(np.arctan2(x, -y)) - given.get("angle", 0)) * (1 if clockwise else -1)
    cyclic = given.get("cyclic", False)
    with np.errstate(divide="ignore", invalid="ignore"):
        row = part(np.hypot(x, y)) * source[1]
    column = degrees % 360 / given.get("arc", 360) * (source[0] - (not cyclic))
    inside = (row > 0.01) & (row < source[1] - 1.01) & (column > 0.01) & (column < source[0] - 1.01)
    if bottom:
        row = source[1] - 1 - row
    return np.stack([column + source[2], row + source[3]], axis=-1), inside


@pytest.mark.parametrize("given", LAYOUTS, ids=str)
@pytest.mark.parametrize("wraps", [False, True])
def test_pixels_come_from_where_the_layout_says(wraps, given):
    image = ramp(48, 36)
    source = given.get("source", (48, 36, 0, 0))
    for cyclic in ({}, {"cyclic": True}) if wraps else ({},):
        result = (polarwarp.wrap if wraps else polarwarp.unwrap)(image, **given, **cyclic)
        size = given.get("size", source[:2])
        if not wraps and "radius" in given:
            size = {15: (94, 15), (18, 12): (95, 13)}[given["radius"]]
        told = {**given, **cyclic, "size": size, "source": source}
        if wraps:
            places, known = places_in_panorama(**told)
        else:
            places = places_in_disc(**told)
            within = places - source[2:]
            known = np.all((within > 0.01) & (within < np.array(source[:2]) - 1.01), axis=-1)
        if "amount" in given:
            own = ramp(*size)[..., :2] * np.array(source[:2]) / size + source[2:]
            places = own + given["amount"] * (places - own)
        width, height, x, y = given.get("region", (*size, 0, 0))
        assert result.shape == (height, width, 3) and result.dtype == np.float32
        part = np.s_[y:y + height, x:x + width]
        assert known[part].mean() > 0.15
        off = np.abs(result[..., :2] - places[part])[known[part]]
        assert off.max() < 1e-4


TYPES = [np.uint8, np.uint16, np.float32]


def noise(shape, dtype, seed=1):
    most = 1 if dtype == np.float32 else np.iinfo(dtype).max
    return (np.random.default_rng(seed).random(shape) * most).astype(dtype)


@pytest.mark.parametrize("dtype", TYPES)
@pytest.mark.parametrize("shape", [(40, 50), (40, 50, 1), (40, 50, 3), (40, 50, 4), (5, 40, 50, 4),
                                   (2, 40, 50, 1), (0, 40, 50, 3)])
def test_every_shape_stride_and_output_gives_the_same_pixels(shape, dtype):
    image = noise(shape, dtype)
    expected = polarwarp.unwrap(image, size=(30, 20), angle=20, threads=1)
    axis = 1 if len(shape) == 4 else 0
    assert expected.dtype == dtype and expected.flags.c_contiguous
    assert expected.shape == (*shape[:axis], 20, 30, *shape[axis + 2:])
    if len(shape) == 4:  # pictures one by one
        for single, of in zip(image, expected):
            assert np.array_equal(polarwarp.unwrap(single, size=(30, 20), angle=20), of)
    wide = np.zeros((*shape[:-1], shape[-1] + 3), dtype)
    wide[..., :shape[-1]] = image
    views = [wide[..., :shape[-1]], np.asfortranarray(image),
             np.flip(np.flip(image, axis).copy(), axis),
             np.flip(np.flip(image, axis + 1).copy(), axis + 1),
             np.frombuffer(b"." + image.tobytes(), dtype, offset=1).reshape(shape)]
    for view in views:
        result = polarwarp.unwrap(view, size=(30, 20), angle=20, threads=3)
        assert np.array_equal(result, expected)
    room = np.zeros(tuple(2 * length for length in expected.shape), dtype)
    for step in (1, 2, -1):
        room[:] = 0
        out = room[tuple(np.s_[:length * step:step] if step > 0 else np.s_[length - 1::step]
                         for length in expected.shape)]
        assert polarwarp.unwrap(image, size=(30, 20), angle=20, out=out) is out
        assert np.array_equal(out, expected)
        out[...] = 0
        assert not room.any()  # and nothing beside it was written
    before = image.copy()  # an output that is the input itself
    assert np.array_equal(polarwarp.unwrap(image, out=image), polarwarp.unwrap(before))


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16])
def test_integers_are_rounded_floats_also_across_the_seam(dtype):
    image = noise((60, 90, 3), dtype)
    options = dict(size=(200, 200), radius=90, cyclic=True)
    off = polarwarp.wrap(image, **options) - polarwarp.wrap(image.astype(np.float32), **options)
    y, x = np.mgrid[:200, :200] - 100
    assert np.abs(off[np.hypot(x, y) < 90 * 59 / 60 - 0.01]).max() <= 0.51


def test_what_numpy_usually_makes_is_not_copied():
    image = noise((1000, 1000, 4), np.uint8)
    for view in (image, image[::-1], image[::2], image[100:, 50:-50]):
        out = np.empty_like(view, order="C")
        tracemalloc.start()
        polarwarp.unwrap(view, out=out)
        peak = tracemalloc.get_traced_memory()[1]
        tracemalloc.stop()
        assert peak < 100_000
    assert is_direct(np.moveaxis(np.stack([image[:500]] * 2, axis=1), 1, 0))
    assert is_direct(image[np.newaxis, ..., :1][:, :, :1])
    assert not is_direct(image[np.newaxis, :, ::-1])
    assert not is_direct(np.broadcast_to(image[:1], image.shape)[np.newaxis])


def test_alpha_and_background():
    colour, alpha = noise((32, 32, 3), np.float32), noise((32, 32, 1), np.float32, 2)
    options = dict(size=(40, 40), radius=15, cyclic=True)
    straight = polarwarp.wrap(np.concatenate([colour, alpha], axis=2), **options)
    multiplied = polarwarp.wrap(np.concatenate([colour * alpha, alpha], axis=2),
                                alpha="premultiplied", **options)
    assert np.allclose(straight[..., :3] * straight[..., 3:], multiplied[..., :3], atol=1e-6)
    assert np.allclose(straight[..., 3], multiplied[..., 3]) and straight[0, 0].tolist() == [0] * 4
    opaque = polarwarp.wrap(np.concatenate([colour, alpha], axis=2), alpha="opaque",
                            background=(0.25, 0.5, 0.75), **options)
    rgb = polarwarp.wrap(colour, background=(0.25, 0.5, 0.75), **options)
    assert np.array_equal(opaque[..., :3], rgb) and (opaque[..., 3] == 1).all()
    assert rgb[0, 0].tolist() == [0.25, 0.5, 0.75]
    assert not polarwarp.wrap(colour, **options)[0, 0].any()
    eight = (colour * 255).astype(np.uint8)
    assert polarwarp.wrap(eight, background="#336699", **options)[0, 0].tolist() == [51, 102, 153]
    assert polarwarp.wrap(eight[..., 0], background=1, **options)[0, 0] == 255


GREY = np.zeros((30, 40), np.uint8)
WRONG = [
    (dict(image=[[1, 2]]), TypeError, "int64; uint8, uint16 and float32"),
    (dict(image=GREY.astype(bool)), TypeError, "bool"),
    (dict(image=GREY.astype(float)), TypeError, "float64"),
    (dict(image=GREY.astype(">f4")), TypeError, "native byte order"),
    (dict(image=GREY[0]), ValueError, r"\(40,\)"), (dict(image=GREY[:0]), ValueError, r"\(0, 40\)"),
    (dict(image=np.zeros((2, 30, 40), np.uint8)), ValueError, r"\(2, 30, 40\).*1, 3 or 4 channels"),
    (dict(size=(10, 0)), ValueError, r"\(10, 0\).*1 or more"),
    (dict(size=5), TypeError, "size is 5"), (dict(size=(2.5, 3)), TypeError, r"\(2.5, 3\)"),
    (dict(size=(2**16, 2**16)), ValueError, "65536"),
    (dict(center=(1, float("nan"))), ValueError, "nan"), (dict(center="ab"), TypeError, "'ab'"),
    (dict(center=(1, 2, 3)), ValueError, r"\(1, 2, 3\)"),
    (dict(radius=0), ValueError, "radius is 0"),
    (dict(radius=10**400), ValueError, "radius"), (dict(radius=10**5000), ValueError, "radius"),
    (dict(radius=5, circle=True), ValueError, "one of them"),
    (dict(radius=1e6), ValueError, "6283185"),
    (dict(inner_radius=20), ValueError, "below the radius, which is 20"),
    (dict(scale="log"), ValueError, "inner_radius is 0"), (dict(scale="exp"), ValueError, '"sqrt"'),
    (dict(arc=0), ValueError, "arc is 0"), (dict(arc=361), ValueError, "361"),
    (dict(angle=float("inf")), ValueError, "inf"), (dict(angle=None), TypeError, "None"),
    (dict(direction="left"), ValueError, '"ccw"'), (dict(ground=1), TypeError, '"top", "bottom"'),
    (dict(amount=1.1), ValueError, "0 to 1"), (dict(amount=True), TypeError, "True"),
    (dict(circle=1), TypeError, "circle is 1"), (dict(threads=-1), ValueError, "0 to 1024"),
    (dict(source=(5, 5, 40, 0)), ValueError, "40 wide and 30 high"),
    (dict(source=(5, 5)), ValueError, "source"), (dict(region=(5, 5, 36, 0)), ValueError, "36"),
    (dict(alpha="none"), ValueError, '"premultiplied"'),
    (dict(sampling=["area"]), TypeError, "area"), (dict(background="red"), ValueError, "#rrggbb"),
    (dict(background=(1, 0, 1)), ValueError, "grey"),
    (dict(image=np.zeros((30, 40, 4), np.uint8), background=1), ValueError, "opaque"),
    (dict(out=GREY[:5]), ValueError, r"\(5, 40\).*\(30, 40\)"), (dict(out=[]), TypeError, "list"),
    (dict(out=np.zeros((30, 40), np.uint16)), TypeError, "uint16"),
    (dict(out=np.broadcast_to(GREY[:1], (30, 40))), ValueError, "read-only"),
    (dict(out=np.lib.stride_tricks.as_strided(np.zeros(99, np.uint8), (30, 40), (1, 1))),
     ValueError, "rows of the output"),
]


@pytest.mark.parametrize("given, kind, text", WRONG, ids=[case[2] for case in WRONG])
def test_errors_name_the_value_and_what_is_accepted(given, kind, text):
    given = dict(given)
    with pytest.raises(kind, match=text) as error:
        polarwarp.unwrap(given.pop("image", GREY), **given)
    assert len(str(error.value)) < 400


@pytest.mark.parametrize("threads", [1, 2])
def test_ctrl_c_ends_a_call_that_lets_other_threads_run(threads):
    # Minutes of work in little memory: one frame over and over. Only another thread can end it.
    frame = np.zeros((256, 256, 4), np.uint8)
    endless = np.broadcast_to(frame, (10**7, *frame.shape))
    out = np.lib.stride_tricks.as_strided(frame.copy(), endless.shape, endless.strides)
    interrupter = threading.Timer(0.1, os.kill, (os.getpid(), signal.SIGINT))
    with pytest.raises(KeyboardInterrupt):
        interrupter.start()
        polarwarp.unwrap(endless, out=out, threads=threads)
    assert not polarwarp.unwrap(frame).any()  # as ever afterwards


def test_threads_of_python_may_call_at_once():
    image = noise((300, 300, 3), np.uint16)
    expected = polarwarp.wrap(image)
    with ThreadPoolExecutor(4) as pool:
        for result in pool.map(lambda _: polarwarp.wrap(image, threads=2), range(12)):
            assert np.array_equal(result, expected)
