#include "engine/renderPath.h"

#if defined(__x86_64__) && defined(__LP64__)

#include <cpuid.h>

#include <algorithm>
#include <atomic>
#include <cfenv>
#include <cmath>
#include <limits>
#include <optional>

#include "engine/BatchJob.h"
#include "pixels/QzBuffer.h"
#include "pixels/sampler.h"

namespace {

// The bytes of a rectangle of pixels.
struct Bytes {
    std::uintptr_t begin, end;

    bool overlap(const Bytes& other) const { return begin < other.end && other.begin < end; }
};

// Nothing where they do not lie in one piece of the address space.
template <class Buffer>
std::optional<Bytes> bytesOf(const Buffer& buffer, std::int64_t left, std::int64_t top,
                             std::int64_t right, std::int64_t bottom) {
    constexpr double most = 0x1p46;  // pixels; nothing overflows below
    const double pitch = std::abs(static_cast<double>(buffer.rowLength()));
    const auto farthest = static_cast<double>(std::max(std::abs(top), std::abs(bottom)));
    if (pitch * farthest > most) return std::nullopt;
    const std::int64_t first = buffer.index(0, top), last = buffer.index(0, bottom - 1);
    const auto begin = reinterpret_cast<std::uintptr_t>(buffer.at(std::min(first, last) + left));
    const auto end = reinterpret_cast<std::uintptr_t>(buffer.at(std::max(first, last) + right));
    if (begin > end) return std::nullopt;
    return Bytes{begin, end};
}

PolarToRectangular::Row rowAt(const PolarToRectangular& mapping, double v, QzLong column,
                              double /*offset*/) {
    return {mapping, v, column};
}
RectangularToPolar::Row rowAt(const RectangularToPolar& mapping, double v, QzLong column,
                              double offset) {
    return {mapping, v, column, offset};
}

template <class Mapping>
struct Context {
    const VexFilterInstance& instance;
    const Mapping& mapping;
};

template <class Buffer, class Mapping>
void renderPixel(const BatchJob& job, double v, QzLong column, double offset, void* out) {
    const auto& context = *static_cast<const Context<Mapping>*>(job.context);
    const Position at = rowAt(context.mapping, v, column, offset).next();
    get_bilinear_color_trans_T(at.x, at.y, Buffer(*context.instance.InputBitmap),
                               context.instance.SourceRect,
                               static_cast<typename Buffer::Pixel*>(out), job.bilinear);
}

// What a job shares between the directions; nothing where batches must not run: where the two
// bitmaps share memory or rows of the output do, so that the order of reading and writing shows, or
// where a batch could not read four pixels.
template <class Buffer, class Mapping>
std::optional<BatchJob> makeJob(const Context<Mapping>& context) {
    const Buffer input(*context.instance.InputBitmap), output(*context.instance.OutputBitmap);
    const Frame& frame = context.mapping.frame();
    const QzInside inside(frame.source);
    if (inside.right() - inside.left() < 2 || inside.bottom() - inside.top() < 2)
        return std::nullopt;
    const auto& region = frame.region;
    const auto read = bytesOf(input, inside.left(), inside.top(), inside.right(), inside.bottom());
    const auto written = bytesOf(output, region.x, region.y, std::int64_t{region.x} + region.width,
                                 std::int64_t{region.y} + region.height);
    if (!read || !written || read->overlap(*written)) return std::nullopt;
    if (region.height > 1 && std::abs(std::int64_t{output.rowLength()}) < region.width)
        return std::nullopt;

    BatchJob job{};
    job.bilinear = context.instance.SamplingWord != 1;
    job.format = Buffer::bitmapType;
    job.input = reinterpret_cast<std::uintptr_t>(input.at(0));
    job.inputRowLength = input.rowLength();
    job.left = inside.left();
    job.top = inside.top();
    job.lastColumn = inside.right() - 1;
    job.lastRow = inside.bottom() - 1;
    job.output = reinterpret_cast<unsigned char*>(output.at(output.index(region.x, region.y)));
    job.outputRowBytes =
        std::int64_t{output.rowLength()} * std::int64_t{sizeof(typename Buffer::Pixel)};
    job.width = region.width;
    job.height = region.height;
    const SourceScale scale(frame.source);
    job.scaleX = scale.width;
    job.scaleY = scale.height;
    job.originX = scale.x;
    job.originY = scale.y;
    job.firstRow = frame.firstRow;
    job.rowStep = frame.rowStep;
    job.renderPixel = renderPixel<Buffer, Mapping>;
    job.context = &context;
    return job;
}

void addMapping(BatchJob& job, const PolarToRectangular& mapping) {
    job.unwraps = true;
    job.first = mapping.sine();
    job.second = mapping.cosine();
}

void addMapping(BatchJob& job, const RectangularToPolar& mapping) {
    job.scaleX -= 1.0;
    job.first = mapping.squares();
    job.firstOffset = mapping.firstOffset();
    job.offsetStep = mapping.frame().columnStep;
    // The angle, half a turn added and so below 8; its fraction of a turn; that times the span; and
    // that moved to the source: errors so far, and the roundings of two such computations.
    constexpr double ulp = std::numeric_limits<double>::epsilon();
    const double span = job.scaleX, reach = std::abs(job.originX) + span;
    job.columnError = 1.01 * (span * (0.16 * (arctangentError + 4 * ulp) + 2 * ulp) + reach * ulp);
    job.mixedError = 4 * job.columnError + 0x1p-44;
    job.gainLimit = 0x1p-11 / job.mixedError;
}

template <class Mapping>
bool render(RenderPath path, unsigned code, const VexFilterInstance& instance,
            const Mapping& mapping, std::int64_t* redone) {
    if (path == RenderPath::plain) return false;
    const Context<Mapping> context{instance, mapping};
    std::optional<BatchJob> job;
    visitFormat(code, [&]<class Buffer>() { job = makeJob<Buffer>(context); });
    if (!job) return false;
    addMapping(*job, mapping);
    // Lanes whose result is not used divide by zero; a host may have the processor trap that.
    std::fenv_t environment;
    std::feholdexcept(&environment);
    const std::int64_t count =
        path == RenderPath::avx512 ? renderBatchesAvx512(*job) : renderBatchesAvx2(*job);
    std::fesetenv(&environment);
    if (redone != nullptr) *redone += count;
    return true;
}

// Which registers the system saves, a bit for each kind.
std::uint64_t savedRegisters() {
    std::uint32_t low = 0, high = 0;
    asm("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return std::uint64_t{high} << 32 | low;
}

// The compiler's own check would run when the module is loaded.
RenderPath askProcessor() {
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
    const auto has = [](std::uint64_t word, std::uint64_t bits) { return (word & bits) == bits; };
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0) return RenderPath::plain;
    if (!has(ecx, bit_FMA | bit_OSXSAVE | bit_AVX)) return RenderPath::plain;
    const std::uint64_t saved = savedRegisters();
    if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) == 0) return RenderPath::plain;
    constexpr std::uint64_t ymm = 0x06, zmm = 0xE6;
    if (!has(saved, ymm) || !has(ebx, bit_AVX2)) return RenderPath::plain;
    constexpr unsigned avx512 = bit_AVX512F | bit_AVX512DQ | bit_AVX512BW | bit_AVX512VL;
    return has(saved, zmm) && has(ebx, avx512) ? RenderPath::avx512 : RenderPath::avx2;
}

}  // namespace

RenderPath bestRenderPath() {
    // Asking takes some ten microseconds under a hypervisor, as much as rendering a small tile.
    static std::atomic<int> known;  // 0 as long as nobody has asked, else one more than the path
    int path = known.load(std::memory_order_relaxed);
    if (path == 0) {
        path = static_cast<int>(askProcessor()) + 1;
        known.store(path, std::memory_order_relaxed);
    }
    return static_cast<RenderPath>(path - 1);
}

bool renderInBatches(RenderPath path, unsigned code, const VexFilterInstance& instance,
                     const PolarToRectangular& mapping, std::int64_t* redone) {
    return render(path, code, instance, mapping, redone);
}

bool renderInBatches(RenderPath path, unsigned code, const VexFilterInstance& instance,
                     const RectangularToPolar& mapping, std::int64_t* redone) {
    return render(path, code, instance, mapping, redone);
}

void approximateArctangents(RenderPath path, const double* y, const double* x, double* angles) {
    if (path == RenderPath::plain) return;
    (path == RenderPath::avx512 ? arctangentsAvx512 : arctangentsAvx2)(y, x, angles);
}

#else

RenderPath bestRenderPath() { return RenderPath::plain; }

bool renderInBatches(RenderPath, unsigned, const VexFilterInstance&, const PolarToRectangular&,
                     std::int64_t*) {
    return false;
}

bool renderInBatches(RenderPath, unsigned, const VexFilterInstance&, const RectangularToPolar&,
                     std::int64_t*) {
    return false;
}

void approximateArctangents(RenderPath, const double*, const double*, double*) {}

#endif
