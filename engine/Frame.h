// The geometry that both directions of a render share.
#pragma once

#include "host/VexFilterInstance.h"

// Output columns and rows count in fractions of the source rectangle: 0 at its left or top edge, 1
// one pixel past its right or bottom edge. A later column or row has the first one's fraction
// advanced by one step for each; multiplying the step would round differently.
struct Frame {
    explicit Frame(const VexFilterInstance& instance)
        : source(instance.SourceRect),
          region(instance.OutputRegion),
          columnStep(1.0 / source.width),
          rowStep(1.0 / source.height),
          firstColumn(columnStep * difference(region.x, source.x)),
          firstRow(rowStep * difference(region.y, source.y)) {}

    QzRectT<QzLong> source;  // in pixels of the input bitmap
    QzRectT<QzLong> region;  // in pixels of the output bitmap
    double columnStep;       // infinite where the source has no width
    double rowStep;          // infinite where the source has no height
    double firstColumn;
    double firstRow;

  private:
    // The subtraction of the host's 32-bit words, which wraps around.
    static QzLong difference(QzLong a, QzLong b) {
        return static_cast<QzLong>(static_cast<QzULong>(a) - static_cast<QzULong>(b));
    }
};
