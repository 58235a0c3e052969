"""What callers say, checked: every error names the value and what is accepted."""
import itertools
import operator
from typing import Any, Callable, NamedTuple, Optional, Sequence

import numpy as np
from numpy.typing import NDArray

FARTHEST = 2.0**31  # pixels
MOST_PIXELS = 2**31  # of a result
LARGEST = float(np.finfo(np.float64).max)
CHANNELS = (1, 3, 4)
COLOURS = {"black": "#000000", "white": "#ffffff"}


class Rectangle(NamedTuple):
    """Columns x to x + width - 1 and rows y to y + height - 1."""

    width: int
    height: int
    x: int
    y: int


def _said(value: object) -> str:
    text = repr(value) if not isinstance(value, np.ndarray) else np.array2string(value, threshold=8)
    return text if len(text) <= 80 else text[:77] + "..."


def _wrong(kind: type[Exception], name: str, value: object, accepted: str) -> Exception:
    try:
        return kind(f"{name} is {_said(value)}; {accepted}")
    except ValueError:  # Python writes no number of thousands of digits
        return kind(f"{name} cannot be written; {accepted}")


def _convert(kind: Callable[[Any], Any], name: str, value: Any, accepted: str) -> Any:
    try:
        if isinstance(value, (bool, np.bool_, str, bytes, bytearray)):
            raise TypeError
        return kind(value)
    except (TypeError, ValueError):
        raise _wrong(TypeError, name, value, accepted) from None
    except OverflowError:
        raise _wrong(ValueError, name, value, accepted) from None


def _within(kind: Callable[[Any], Any], name: str, value: Any, least: float, most: float,
            accepted: str) -> Any:
    result = _convert(kind, name, value, accepted)
    if not least <= result <= most:  # neither is what is not a number
        raise _wrong(ValueError, name, value, accepted)
    return result


def number(name: str, value: Any, least: float, most: float, accepted: str) -> float:
    if type(value) is float and least <= value <= most:
        return value  # at once, as most are
    return float(_within(float, name, value, least, most, accepted))


def integer(name: str, value: Any, least: int, most: int, accepted: str) -> int:
    return int(_within(operator.index, name, value, least, most, accepted))


def flag(name: str, value: Any) -> bool:
    if not isinstance(value, (bool, np.bool_)):
        raise _wrong(TypeError, name, value, "True and False are accepted")
    return bool(value)


def choice(name: str, value: Any, words: Sequence[str]) -> int:
    """The place of a word among those that are accepted."""
    if isinstance(value, str) and value in words:
        return words.index(value)
    accepted = ", ".join(f'"{word}"' for word in words) + " are accepted"
    raise _wrong(ValueError if isinstance(value, str) else TypeError, name, value, accepted)


def _several(kind: Callable[[Any], Any], count: int, name: str, value: Any, least: float,
             most: float, accepted: str) -> tuple[Any, ...]:
    """So many numbers; errors name all of them."""
    try:
        if isinstance(value, (str, bytes, bytearray)):
            raise TypeError
        items = tuple(itertools.islice(value, count + 1))
    except TypeError:
        raise _wrong(TypeError, name, value, accepted) from None
    if len(items) != count:
        raise _wrong(ValueError, name, items, accepted)
    for item in items:
        try:
            _within(kind, name, item, least, most, accepted)
        except (TypeError, ValueError) as error:
            raise _wrong(type(error), name, items, accepted) from None
    return tuple(kind(item) for item in items)


def point(name: str, value: Any) -> tuple[float, float]:
    accepted = "two numbers of pixels (x, y), each -2147483648 to 2147483648, are accepted"
    x, y = _several(float, 2, name, value, -FARTHEST, FARTHEST, accepted)
    return x, y


def radii(name: str, value: Any) -> tuple[float, float]:
    accepted = "pixels, or (rx, ry) for an ellipse, each 1e-9 to 2147483648, is accepted"
    if np.iterable(value) and not isinstance(value, (str, bytes, bytearray)):
        x, y = _several(float, 2, name, value, 1e-9, FARTHEST, accepted)
    else:
        x = y = number(name, value, 1e-9, FARTHEST, accepted)
    return x, y


def size(name: str, value: Any) -> tuple[int, int]:
    accepted = "(width, height) in pixels, each 1 or more, at most 2147483648 in all, is accepted"
    width, height = _several(operator.index, 2, name, value, 1, MOST_PIXELS - 1, accepted)
    if width * height > MOST_PIXELS:
        raise _wrong(ValueError, name, value, accepted)
    return width, height


def _rectangle(name: str, value: Any, accepted: str) -> Rectangle:
    rectangle = Rectangle(*_several(operator.index, 4, name, value, -MOST_PIXELS, MOST_PIXELS - 1,
                                    accepted))
    if rectangle.width < 1 or rectangle.height < 1:
        raise _wrong(ValueError, name, value, accepted)
    return rectangle


def source(name: str, value: Any, width: int, height: int) -> Rectangle:
    if value is None:
        return Rectangle(width, height, 0, 0)
    accepted = (f"(width, height, x, y) in pixels that does not miss the picture, which is {width} "
                f"wide and {height} high, is accepted")
    found = _rectangle(name, value, accepted)
    ends = found.x + found.width, found.y + found.height
    if found.x >= width or found.y >= height or min(ends) <= 0 or max(ends) >= MOST_PIXELS:
        raise _wrong(ValueError, name, value, accepted)
    return found


def region(name: str, value: Any, width: int, height: int) -> Rectangle:
    if value is None:
        return Rectangle(width, height, 0, 0)
    accepted = (f"(width, height, x, y) in pixels of the result, which is {width} wide and "
                f"{height} high, is accepted")
    found = _rectangle(name, value, accepted)
    ends = found.x + found.width, found.y + found.height
    if min(found.x, found.y) < 0 or ends[0] > width or ends[1] > height:
        raise _wrong(ValueError, name, value, accepted)
    return found


def background(name: str, value: Any, channels: int, is_opaque: bool) -> tuple[float, float, float]:
    if value is None:
        return 0.0, 0.0, 0.0
    accepted = 'a number, three of them, "#rrggbb", "black" or "white" is accepted, 1 the brightest'
    if not is_opaque:
        raise _wrong(ValueError, name, value,
                     'None is accepted for pictures with alpha, unless alpha is "opaque"')
    if isinstance(value, str):
        try:
            digits = bytes.fromhex(COLOURS.get(value, value).removeprefix("#"))
        except ValueError:
            digits = b""
        if len(digits) != 3:
            raise _wrong(ValueError, name, value, accepted)
        value = tuple(digit / 255 for digit in digits)
    most = float(np.finfo(np.float32).max)
    if np.iterable(value):
        red, green, blue = _several(float, 3, name, value, -most, most, accepted)
    else:
        red = green = blue = number(name, value, -most, most, accepted)
    if channels == 1 and not red == green == blue:
        raise _wrong(ValueError, name, value, "one number is accepted for grey pictures")
    return red, green, blue


def pictures(name: str, array: NDArray[Any]) -> NDArray[Any]:
    """As a stack, (n, height, width, channels): a view."""
    if array.dtype.char not in "BHf" or not array.dtype.isnative:
        accepted = "uint8, uint16 and float32, in native byte order, are accepted"
        raise TypeError(f"{name} is of type {array.dtype!s}; {accepted}")
    stack = array
    if array.ndim == 2:
        stack = array[np.newaxis, :, :, np.newaxis]
    elif array.ndim == 3:
        stack = array[np.newaxis]
    shape = stack.shape
    if not (len(shape) == 4 and shape[3] in CHANNELS and 0 < shape[1] < MOST_PIXELS
            and 0 < shape[2] < MOST_PIXELS):
        raise ValueError(
            f"{name} is of shape {array.shape}; (height, width), (height, width, channels) and (n, "
            "height, width, channels), with 1, 3 or 4 channels and no side of 0, are accepted")
    return stack


def output(name: str, value: Optional[Any], shape: tuple[int, ...], dtype: np.dtype[Any]
           ) -> NDArray[Any]:
    """What is given, or a new array."""
    if value is None:
        return np.empty(shape, dtype)
    accepted = f"a writable numpy array of shape {shape} and type {dtype!s} is accepted"
    if not isinstance(value, np.ndarray):
        raise TypeError(f"{name} is of type {type(value).__name__}; {accepted}")
    if value.shape != shape or not value.flags.writeable:
        state = "" if value.flags.writeable else ", read-only"
        raise ValueError(f"{name} is of shape {value.shape}{state}; {accepted}")
    if value.dtype != dtype:
        raise TypeError(f"{name} is of type {value.dtype!s}; {accepted}")
    return value
