// From the host's record to the render core.
#pragma once

#include <cstdint>

#include "host/VexFilterInstance.h"
#include "render/Geometry.h"

// Renders the instance's output region, from bitmaps of the format with that code (a QzBitmapType)
// and so many bytes in a pixel. Asks the host's memory service for the tables and returns them:
// sine and cosine, or the squared offsets. statusDone, also where the region is empty;
// statusFailed, and nothing written, where a table cannot be had or the bytes that it was asked for
// in, a 32-bit count, are fewer than would be written. What the memory service throws goes on to
// the caller.
QzLong renderRecord(const VexFilterInstance& instance, unsigned format, std::uint32_t pixelBytes,
                    polar::Mapping mapping);
