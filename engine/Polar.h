// The plug-in's engine.
#pragma once

#include "engine/VexFilterEngine.h"
#include "engine/mapping.h"
#include "engine/renderPath.h"
#include "host/Parameters.h"
#include "pixels/sampler.h"

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
        return render(bestRenderPath(), params->mode, instance);
    }

    // The same by a path of this processor; the result does not depend on it. Adds to `redone`,
    // where given, the pixels that the path left to the plain one.
    static QzLong render(RenderPath path, QzULong mode, const VexFilterInstance& instance,
                         std::int64_t* redone = nullptr) {
        return mode == 0 ? render<PolarToRectangular>(path, instance, redone)
                         : render<RectangularToPolar>(path, instance, redone);
    }

  private:
    template <class Mapping>
    static QzLong render(RenderPath path, const VexFilterInstance& instance, std::int64_t* redone) {
        const Frame frame(instance);
        Mapping mapping(frame);
        if (!mapping.allocate()) return statusFailed;
        if (frame.region.width > 0 && frame.region.height > 0) {
            mapping.fill();
            if (!renderInBatches(path, Buffer::bitmapType, instance, mapping, redone))
                renderRows(instance, frame, mapping);
        }
        mapping.release();
        return statusDone;
    }

    template <class Mapping>
    static void renderRows(const VexFilterInstance& instance, const Frame& frame,
                           const Mapping& mapping) {
        const Buffer input(*instance.InputBitmap);
        const Buffer output(*instance.OutputBitmap);
        const QzLong bilinear = instance.SamplingWord != 1;
        const QzRectT<QzLong> bounds = frame.source;  // a copy that no write can alias
        double v = frame.firstRow;
        for (QzLong j = 0; j < frame.region.height; ++j, v += frame.rowStep) {
            typename Mapping::Row row(mapping, v);
            Pixel* out = output.at(output.index(frame.region.x, std::int64_t{frame.region.y} + j));
            for (QzLong i = 0; i < frame.region.width; ++i, ++out) {
                const Position source = row.next();
                get_bilinear_color_trans_T(source.x, source.y, input, bounds, out, bilinear);
            }
        }
    }

    Parameters* params;
};
