// The plug-in's own names for the host's services, exported beside its entry. C++11 and later.
#pragma once

#include "pixels/QzBitmap.h"

extern "C" {

// AllocMemQz(size, flags), unchanged. `size` in bytes; null when memory is out; may throw.
void* fi_AllocMem(QzULong size, unsigned int flags);

// FreeMemQz(block), null included; may throw.
void fi_FreeMem(void* block);

// AllocBitmapQz(width, height, type, null): the label is dropped on purpose.
QzBitmap* fi_AllocBitmap(QzLong width, QzLong height, QzBitmapType type, char* name);

// FreeBitmapQz(bitmap).
void fi_FreeBitmap(QzBitmap* bitmap);

}  // extern "C"
