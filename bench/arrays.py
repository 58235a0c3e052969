#!/usr/bin/python3
"""polarwarp beside the library itself, cv2.warpPolar and skimage.transform.warp_polar, in turns.

    arrays.py LIBPOLAR [SIZE...]

Prints a table in Markdown: medians of nanoseconds per pixel, on one thread of the thread's time and
on all of the wall's, and how many times as long others take. Everybody makes a new array for the
result, with their defaults; the library is called through ctypes with records made before. skimage,
which takes seconds, has fewer turns, and no wraps.
"""
import ctypes
import statistics
import sys
import time

import cv2
import numpy as np
import skimage.transform

import polarwarp

TURNS, SLOW_TURNS = 15, 2
FORMATS = {(1, np.uint8): 16, (3, np.uint8): 19, (4, np.uint8): 1,
           (1, np.float32): 18, (3, np.float32): 21, (4, np.float32): 5}


class Image(ctypes.Structure):
    _fields_ = [("pixels", ctypes.c_void_p), ("width", ctypes.c_int32),
                ("height", ctypes.c_int32), ("row_bytes", ctypes.c_ssize_t),
                ("format", ctypes.c_int32), ("alpha", ctypes.c_int32)]


class Circle(ctypes.Structure):
    _fields_ = [(name, ctypes.c_double) for name in
                ("x", "y", "rx", "ry", "inner", "start", "turns")] + [("clockwise", ctypes.c_int32)]


class Options(ctypes.Structure):
    _fields_ = [("size", ctypes.c_size_t), ("direction", ctypes.c_int32),
                ("sampling", ctypes.c_int32), ("threads", ctypes.c_int32),
                ("background", ctypes.c_float * 3), ("source", ctypes.c_void_p),
                ("whole", ctypes.c_void_p), ("circle", ctypes.POINTER(Circle)),
                ("progress", ctypes.c_void_p), ("user", ctypes.c_void_p), ("scale", ctypes.c_int32),
                ("cyclic", ctypes.c_int32), ("amount", ctypes.c_void_p),
                ("ground_bottom", ctypes.c_int32)]


def library_call(library, image, wraps, threads):
    size, channels = image.shape[0], 1 if image.ndim == 2 else image.shape[2]
    given = Image(image.ctypes.data, size, size, 0, FORMATS[channels, image.dtype.type], 0)
    options = Options(ctypes.sizeof(Options), int(wraps), 0, threads, cyclic=int(wraps),
                      circle=ctypes.pointer(Circle(*[size / 2] * 4, 0, 0, 1, 0)))

    def call():
        result = np.empty_like(image)
        made = Image(result.ctypes.data, size, size, 0, given.format, 0)
        if library.polar_render(ctypes.byref(given), ctypes.byref(made), ctypes.byref(options)):
            raise RuntimeError("polar_render")
        return result
    return call


def contenders(library, image, wraps, threads):
    size = image.shape[0]
    half, flags = size / 2, cv2.INTER_LINEAR | (cv2.WARP_INVERSE_MAP if wraps else 0)
    warp = polarwarp.wrap if wraps else polarwarp.unwrap
    cyclic = {"cyclic": True} if wraps else {}
    yield "polarwarp", lambda: warp(image, threads=threads, **cyclic)
    yield "libpolar", library_call(library, image, wraps, threads)
    yield "cv2", lambda: cv2.warpPolar(image, (size, size), (half, half), half, flags)
    if not wraps and threads == 1:
        axis = None if image.ndim == 2 else -1
        yield "skimage", lambda: skimage.transform.warp_polar(
            image, radius=half, output_shape=(size, size), channel_axis=axis)


def medians(calls, pixels, clock):
    times = {name: [] for name, _ in calls}
    for turn in range(TURNS + 1):
        for name, call in calls:
            is_slow = name == "skimage"
            if is_slow and turn >= SLOW_TURNS:
                continue
            repeats = 1 if is_slow else max(1, 2**20 // pixels)
            if not is_slow:
                call()  # others leave more or less memory at hand
            start = clock()
            for _ in range(repeats):
                call()
            if turn > 0:  # all have warmed up
                times[name].append((clock() - start) / repeats / pixels * 1e9)
    return {name: statistics.median(each) for name, each in times.items()}


def main(path, sizes):
    library = ctypes.CDLL(path)
    print(f"numpy {np.__version__}, OpenCV {cv2.__version__}, scikit-image {skimage.__version__}, "
          f"polarwarp {polarwarp.__version__}; medians of {TURNS}, skimage of {SLOW_TURNS - 1}\n")
    print("| size | case | threads | polarwarp | libpolar | cv2 | skimage |")
    print("|---|---|---|---|---|---|---|")
    noise = np.random.default_rng(1)
    for size in sizes:
        for (channels, dtype) in FORMATS:
            shape = (size, size) if channels == 1 else (size, size, channels)
            most = 1 if dtype == np.float32 else 255
            image = (noise.random(shape, np.float32) * most).astype(dtype)
            for wraps in (False, True):
                for threads in (1, 0):
                    cv2.setNumThreads(threads or -1)
                    found = medians(list(contenders(library, image, wraps, threads)), size * size,
                                    time.thread_time if threads == 1 else time.perf_counter)
                    own = found.pop("polarwarp")
                    cells = [f"{found[name]:.2f} ({found[name] / own:.2f})" if name in found else ""
                             for name in ("libpolar", "cv2", "skimage")]
                    case = f"{'wrap' if wraps else 'unwrap'} {dtype.__name__} x {channels}"
                    print(f"| {size} | {case} | {threads or 'all'} | {own:.2f}", *cells, sep=" | ",
                          end=" |\n", flush=True)


if __name__ == "__main__":
    main(sys.argv[1], [int(size) for size in sys.argv[2:]] or [512, 2880])
