"""Nothing that a caller passes does worse than an error. Worth most with a sanitizer."""
import numpy as np
import pytest
from hypothesis import HealthCheck, assume, given, settings
from hypothesis import strategies as st
from numpy.lib.stride_tricks import as_strided

import polarwarp
from polarwarp import _core

settings.register_profile("polarwarp", max_examples=400, deadline=None, derandomize=True,
                          database=None, suppress_health_check=list(HealthCheck))
settings.load_profile("polarwarp")

TYPES = st.sampled_from([np.uint8, np.uint16, np.float32] * 3 +
                        [np.float64, bool, ">u2", "c8", "U2"])
LENGTHS = st.integers(0, 40) | st.integers(1, 40)
SHAPES = st.one_of(
    st.tuples(LENGTHS, LENGTHS), st.tuples(LENGTHS, LENGTHS, st.sampled_from([1, 3, 4])),
    st.tuples(st.integers(0, 4), LENGTHS, LENGTHS, st.sampled_from([1, 3, 4])),
    st.lists(LENGTHS, max_size=3).map(tuple))


STEPS = st.sampled_from([1, 1, 1, 2, -1, -2, 0])


@st.composite
def arrays(draw, types=TYPES, shapes=SHAPES, direct=st.booleans()):
    """Any view of any memory: steps of either sign, swapped axes, rows over and over. Where it is
    `direct`, pixels of a row are side by side."""
    dtype, shape, is_direct = np.dtype(draw(types)), draw(shapes), draw(direct)
    steps = [draw(STEPS) for _ in shape]
    if is_direct:
        steps[-2:] = [1] * len(steps[-2:])
    memory = np.frombuffer(np.random.default_rng(len(shape)).bytes(
        int(np.prod([max(1, abs(step)) * length for step, length in zip(steps, shape)],
                    dtype=int)) * dtype.itemsize + dtype.itemsize), np.uint8).copy()
    whole = memory[:memory.size - dtype.itemsize].view(dtype).reshape(
        [max(1, abs(step)) * length for step, length in zip(steps, shape)])
    view = whole[tuple(np.s_[::step or 1] for step in steps)]
    view = as_strided(view, shape, [stride if step else 0 for stride, step in
                                    zip(view.strides, steps)])
    return view if is_direct else view.transpose(draw(st.permutations(range(len(shape)))))


ODD = st.sampled_from([None, "", "ab", b"1", True, 1j, [], {}, object(), np.array(3.0),
                       np.arange(3), float("nan"), float("inf"), -float("inf"), 2**31, -2**31, 2**63,
                       10**400, 5e-324, 1.7e308, -1, 0])
NUMBERS = st.floats(-60, 60) | ODD | st.integers(-60, 60)
PIXELS = st.integers(1, 60) | st.integers(-60, 60) | ODD
# None between the two: such sizes are in order, but would take the machine's memory.
RADII = st.floats(1, 60) | st.floats(1e7, 1e300) | ODD


def tuples(of, count):
    return st.tuples(*[of] * count) | st.lists(of, max_size=5) | of | st.none()


ARGUMENTS = {
    "size": tuples(PIXELS, 2), "center": tuples(NUMBERS, 2), "radius": RADII | tuples(RADII, 2),
    "inner_radius": st.floats(0, 20) | NUMBERS, "circle": st.booleans() | ODD,
    "angle": NUMBERS, "arc": st.floats(0, 360) | NUMBERS,
    "direction": st.sampled_from(["ccw", "cw"]) | ODD,
    "scale": st.sampled_from(["linear", "log", "sqrt", "square"]) | ODD,
    "amount": st.floats(0, 1) | NUMBERS, "ground": st.sampled_from(["top", "bottom"]) | ODD,
    "source": tuples(PIXELS, 4), "region": tuples(PIXELS, 4),
    "sampling": st.sampled_from(["bilinear", "nearest", "area"]) | ODD,
    "alpha": st.sampled_from(["straight", "premultiplied", "opaque"]) | ODD,
    "background": st.sampled_from(["#123456", "white"]) | tuples(NUMBERS, 3),
    "threads": st.integers(0, 3) | ODD, "out": arrays() | ODD, "cyclic": st.booleans() | ODD}


def is_huge(result_of):
    """Whether an argument asks for more memory than a test may take, as it is free to."""
    size = result_of.get("size")
    return isinstance(size, (tuple, list)) and any(
        isinstance(length, int) and 10**5 < length < 2**31 for length in size)


@given(arrays(), st.booleans(), st.data())
def test_any_call(image, wraps, data):
    names = data.draw(st.lists(st.sampled_from(sorted(ARGUMENTS)), unique=True, max_size=6))
    arguments = {name: data.draw(ARGUMENTS[name]) for name in names}
    assume(not is_huge(arguments))
    warp = polarwarp.wrap if wraps else polarwarp.unwrap
    before = np.array(image)  # as it is, unless `out` is the same memory
    try:
        result = warp(image, **arguments)
    except (TypeError, ValueError) as error:
        assert any(text in str(error) for text in ("accepted", "rows of the output", "cyclic"))
        return
    assert result.dtype == image.dtype and result.shape[2:] in (image.shape[2:], image.shape[2:4])
    same = {name: value for name, value in arguments.items() if name not in ("out", "threads")}
    assert result.tobytes() == warp(before, **same, threads=3).tobytes()


@st.composite
def pairs(draw):
    """Two arrays that mostly suit each other."""
    like = [st.just(draw(st.sampled_from([np.uint8, np.uint16, np.float32]))),
            st.tuples(st.just(draw(st.integers(0, 4))), LENGTHS, LENGTHS,
                      st.just(draw(st.sampled_from([1, 3, 4]))))]
    first, second = (draw(arrays(*like, st.just(True)) if draw(st.integers(0, 9)) else arrays())
                     for _ in range(2))
    return first, second


SMALL = st.integers(-3, 5) | st.sampled_from([-2**31, 2**31 - 1])
REALS = st.floats(0.5, 40) | st.floats()


@given(pairs(), st.data())
def test_any_call_of_the_compiled_part(both, data):
    some = data.draw(st.booleans())  # with options of any kind, or with most of them in order
    choice = SMALL if some else st.integers(0, 1)
    boxes = st.tuples(SMALL, SMALL, *[SMALL if some else st.integers(1, 40)] * 2)
    parts = st.floats(0, 0.9) | st.floats() if some else st.floats(0.1, 0.9)
    try:
        _core.render(*both, wraps=data.draw(st.booleans()), sampling=data.draw(choice),
                     alpha=data.draw(choice), threads=data.draw(st.integers(-1 if some else 0, 3)),
                     source=data.draw(boxes), whole=data.draw(boxes),
                     circle=data.draw(st.tuples(*[REALS] * 4, parts, REALS, parts)),
                     clockwise=data.draw(st.booleans()), scale=data.draw(choice),
                     cyclic=data.draw(st.booleans()), amount=data.draw(parts),
                     background=data.draw(st.tuples(*[REALS] * 3)))
    except (TypeError, ValueError, BufferError) as error:
        assert str(error)
