// A filter instance as its host holds it, request by request. One thread at a time.
#pragma once

#include "host/QzLib.h"
#include "host/VexFilterInstance.h"

namespace hosting {

using Rectangle = QzRectT<QzLong>;

struct Instance {
    // `handler` is a module's ENTRYPOINT1 and must stay loaded. The services are those of the
    // QzLib that this program links; every other byte that a host leaves alone holds `fill`.
    Instance(VexHandler handler, QzLong filterIndex, unsigned char fill = 0);
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;

    // What a render is asked for: `region` of `output` from `source` of `input`, two bitmaps of one
    // format, which must outlive it. A sampling of 1 is nearest, any other bilinear.
    void describe(QzBitmap& input, QzBitmap& output, const Rectangle& source,
                  const Rectangle& region, QzLong sampling);

    // Requests to the module's entry and to the handler that setup has installed; what they answer.
    QzLong entry(QzULong selector) { return entryPoint(&record, selector); }
    QzLong execute(QzULong selector) { return record.ExecuteHandler(&record, selector); }

    VexHandler entryPoint;
    VexFilterInstance record;
    FilterInfo services;
};

}  // namespace hosting
