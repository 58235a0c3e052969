#include "engine/renderRecord.h"

#include <algorithm>

#include "engine/VexFilterEngine.h"
#include "render/Plan.h"

namespace {

// The tables of a render in the host's memory. They are released by hand: a destructor that throws
// would end the process, but what the memory service throws must reach the host.
class HostTables {
  public:
    explicit HostTables(const VexFilterInstance& instance, polar::Mapping mapping)
        : mapping_(mapping), region_(instance.OutputRegion), source_(instance.SourceRect) {}

    // Whether all that would be written fits the bytes that are asked for. Negative counts wrap
    // around, and the host answers them as it likes: such tables are never filled.
    bool suffice() const {
        if (region_.width <= 0 || region_.height <= 0) return true;  // nothing would be
        return static_cast<std::uint64_t>(region_.width) * sizeof(double) <= bytes();
    }

    // False, and nothing held, where memory is out.
    bool allocate() {
        tables_.first = allocateOne();
        if (mapping_ == polar::Mapping::wrap) return tables_.first != nullptr;
        tables_.second = allocateOne();
        if (tables_.first != nullptr && tables_.second != nullptr) return true;
        fi_FreeMem(tables_.first);
        fi_FreeMem(tables_.second);
        return false;
    }

    void release() {
        if (mapping_ == polar::Mapping::unwrap) fi_FreeMem(tables_.second);
        fi_FreeMem(tables_.first);
    }

    const polar::Tables& get() const { return tables_; }

  private:
    QzULong bytes() const {
        // The region may be wider than the source, though hosts have no reason to ask for that.
        const QzLong entries = mapping_ == polar::Mapping::unwrap
                                   ? region_.width
                                   : std::max(source_.width, region_.width);
        return static_cast<QzULong>(entries) * sizeof(double);
    }
    double* allocateOne() const { return static_cast<double*>(fi_AllocMem(bytes(), 0)); }

    polar::Mapping mapping_;
    const polar::Rect &region_, &source_;
    polar::Tables tables_{};
};

polar::Image imageOf(const QzBitmap& bitmap, std::uint32_t pixelBytes) {
    return {bitmap.pixels, std::int64_t{bitmap.rowLength} * pixelBytes};
}

}  // namespace

QzLong renderRecord(const VexFilterInstance& instance, unsigned format, std::uint32_t pixelBytes,
                    polar::Mapping mapping) {
    HostTables tables(instance, mapping);
    if (!tables.suffice() || !tables.allocate()) return statusFailed;
    const auto geometry =
        polar::fromRectangles(mapping, instance.SourceRect, instance.OutputRegion);
    if (!geometry.isEmpty()) {
        const auto sampling =
            instance.SamplingWord == 1 ? polar::Sampling::nearest : polar::Sampling::bilinear;
        polar::Plan(format, geometry, imageOf(*instance.InputBitmap, pixelBytes),
                    imageOf(*instance.OutputBitmap, pixelBytes), sampling, tables.get())
            .render(0, geometry.region.height);
    }
    tables.release();
    return statusDone;
}
