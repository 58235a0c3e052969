"""Bends pictures between polar and rectangular, exactly, on all cores.

Pictures are numpy arrays of shape (height, width), (height, width, 1), (height, width, 3) or
(height, width, 4), the fourth channel being alpha, or stacks of them of shape (n, height, width,
channels); of type uint8, uint16 or float32. A result has the input's type and channels.

Pixels lie at whole coordinates: (0, 0) is the first pixel of the first row, (1, 0) the one right of
it. The centre of a picture w pixels wide and h high is (w / 2, h / 2).

Any thread may call at any time; other threads of Python go on meanwhile, and Ctrl-C ends a call.
"""
from ._core import version as _version
from ._warp import unwrap, wrap

__all__ = ["unwrap", "wrap"]
__version__ = _version()
