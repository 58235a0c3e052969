// The plug-in's engine.
#pragma once

#include "engine/VexFilterEngine.h"
#include "engine/renderRecord.h"
#include "host/Parameters.h"

// Renders either direction for bitmaps of one format.
template <class Buffer, class Pixel>
class Polar final : public VexFilterEngine {
  public:
    // `instanceParams` stays the instance's; its mode is read anew by every render.
    explicit Polar(Parameters* instanceParams) : params(instanceParams) {}

    // Writes every pixel of the output region once and no other; rows from top to bottom and
    // columns from left to right where the bitmaps share memory, so that the order shows.
    // statusFailed, and nothing written, where the tables cannot be had.
    QzLong Render(const VexFilterInstance& instance) override {
        const auto mapping = params->mode == 0 ? polar::Mapping::unwrap : polar::Mapping::wrap;
        return renderRecord(instance, Buffer::bitmapType, Pixel::pixelBytes, mapping);
    }

  private:
    Parameters* params;
};
