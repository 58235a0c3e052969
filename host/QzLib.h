// The host's support library. C++11 and later.
//
// The host loads the library before it loads any plug-in; plug-ins import these four functions from
// it. All may be called from any thread, and all may throw: C linkage fixes names, not behaviour.
#pragma once

#include "pixels/QzBitmap.h"

// On Windows an address of a function is that of the library's own only where it is imported by
// name; elsewhere it is that of a stub in each file.
#if !defined(_WIN32)
#define QZLIB_API
#elif defined(QZLIB_BUILD)
#define QZLIB_API __declspec(dllexport)
#else
#define QZLIB_API __declspec(dllimport)
#endif

extern "C" {

// A block of `size` bytes, fit for any fundamental type; the caller owns it and returns it through
// FreeMemQz. Null when memory is out. No flags are defined; pass 0.
QZLIB_API void* AllocMemQz(QzULong size, QzULong flags);

// Takes back a block of AllocMemQz. Null is allowed and does nothing.
QZLIB_API void FreeMemQz(void* block);

// A bitmap of `width` x `height` pixels, all components zero; the caller owns it and returns it
// through FreeBitmapQz. `name` is a label for the host's own lists, or null. Null when a size is
// not positive, the format is unknown, the pixels do not fit the address space or memory is out.
QZLIB_API QzBitmap* AllocBitmapQz(QzLong width, QzLong height, QzBitmapType type, char* name);

// Takes back a bitmap of AllocBitmapQz with its pixels. Null is allowed and does nothing.
QZLIB_API void FreeBitmapQz(QzBitmap* bitmap);

}  // extern "C"
