// The host's support library. C++11 and later.
//
// The host loads the library before it loads any plug-in; plug-ins import these four functions from
// it. All may be called from any thread, and all may throw: C linkage fixes names, not behaviour.
#pragma once

#include "pixels/QzBitmap.h"

extern "C" {

// A block of `size` bytes, fit for any fundamental type; the caller owns it and returns it through
// FreeMemQz. Null when memory is out. No flags are defined; pass 0.
void* AllocMemQz(QzULong size, QzULong flags);

// Takes back a block of AllocMemQz. Null is allowed and does nothing.
void FreeMemQz(void* block);

// A bitmap of `width` x `height` pixels, all components zero; the caller owns it and returns it
// through FreeBitmapQz. `name` is a label for the host's own lists, or null. Null when a size is
// not positive, the format is unknown, the pixels do not fit the address space or memory is out.
QzBitmap* AllocBitmapQz(QzLong width, QzLong height, QzBitmapType type, char* name);

// Takes back a bitmap of AllocBitmapQz with its pixels. Null is allowed and does nothing.
void FreeBitmapQz(QzBitmap* bitmap);

}  // extern "C"
