#include "tests/anyLife.h"

#include <algorithm>
#include <limits>
#include <random>

#include "pixels/sampler.h"
#include "tests/TestHost.h"
#include "tests/reference.h"

namespace {

// Decisions out of bytes; zeros once they are used up.
class Decisions {
  public:
    explicit Decisions(std::span<const unsigned char> bytes) : bytes_(bytes) {}

    bool left() const { return !bytes_.empty(); }
    unsigned char byte() {
        if (bytes_.empty()) return 0;
        const unsigned char first = bytes_.front();
        bytes_ = bytes_.subspan(1);
        return first;
    }
    // One of low to high, at most 256 of them.
    QzLong between(QzLong low, QzLong high) { return low + byte() % (high - low + 1); }
    // A word; often near 0, sometimes near the ends of 32 bits.
    QzLong word() {
        constexpr QzLong most = std::numeric_limits<QzLong>::max();
        switch (byte() % 8) {
            case 0:
                return most - byte();
            case 1:
                return -most - 1 + byte();
            case 2:
                return static_cast<QzLong>(byte() << 23 ^ byte() << 15 ^ byte() << 7 ^ byte());
            default:
                return between(-40, 40);
        }
    }
    // A rectangle anywhere, small, or with a size that is not positive.
    QzRect rectangle() {
        QzRect rectangle{word(), word(), between(1, 40), between(1, 40)};
        if (byte() % 8 == 0) {
            rectangle.width = std::min<QzLong>(word(), 0);
            rectangle.height = word();
            if (byte() % 2 == 0) std::swap(rectangle.width, rectangle.height);
        }
        return rectangle;
    }
    // Some of the coming calls of the support library.
    std::set<std::size_t> calls() {
        std::set<std::size_t> some;
        const unsigned bits = byte() & byte();
        for (std::size_t call = 0; call < 8; ++call)
            if (bits >> call & 1) some.insert(call);
        return some;
    }

  private:
    std::span<const unsigned char> bytes_;
};

template <class Buffer>
class Life {
  public:
    Life(Decisions decisions, VexHandler entryPoint)
        : decide_(decisions), instance_(decide_.between(-1, 2), 0x5A, entryPoint) {}

    void live() {
        while (decide_.left()) {
            qzlib_.calls.clear();
            qzlib_.failing = decide_.calls();
            request(decide_.byte() % 8);
            qzlib_.throwing.clear();
        }
        cleanUp();
        require(qzlib_.held.empty(), "all memory comes back");
    }

  private:
    void request(int choice) {
        VexFilterInstance& record = instance_.record;
        switch (choice) {
            case 0:
                return require(instance_.entry(1) == 1, "info answers 1");
            case 1:
                return cleanUp();
            case 2:
                return finish();
            case 3:
                require(instance_.entry(QzULong{4} + decide_.byte()) == 1, "unknown answers 1");
                if (!isSetUp_) return;
                record.QuerySelector = decide_.byte();
                record.QueryResult = &answer_;
                return require(instance_.execute(14) == 1, "queries answer 1");
            default:
                break;
        }
        if (!isSetUp_) {
            isSetUp_ = instance_.entry(2) == 1;
        } else if (!isPrepared_) {
            QzBitmap format{};
            format.bitmapType = Buffer::bitmapType;
            if (choice == 4) format.bitmapType = decide_.byte();
            record.OutputBitmap = &format;
            isPrepared_ = instance_.execute(10) == 1;
            require(isPrepared_ == (record.Engine != nullptr), "prepared means an engine");
            if (format.bitmapType != Buffer::bitmapType) finish();
        } else {
            render();
        }
    }

    void render() {
        const QzRect source = decide_.rectangle(), region = decide_.rectangle();
        const QzRect image{std::max<QzLong>(source.x, 0), std::max<QzLong>(source.y, 0),
                           source.width, source.height};
        const QzLong padding = decide_.between(0, 3);
        const bool atEnd = decide_.byte() % 2 == 0;
        TestBitmap<Buffer> input(image, padding, atEnd), output(region, padding, atEnd),
            expected(region, padding, atEnd);
        fill(input.memory);
        VexFilterInstance& record = instance_.record;
        record.InputBitmap = &input.record;
        record.OutputBitmap = &output.record;
        record.SourceRect = source;
        record.OutputRegion = region;
        record.SamplingWord = decide_.between(0, 2);
        const QzULong modes[] = {0, 1, 0, 1, 77};
        record.Params->mode = modes[decide_.byte() % 5];
        qzlib_.throwing = decide_.calls();
        if (apply()) sample(input, expected);
        require(output == expected, "a render is what the sampler gives");
    }

    // Components of any value, or all either nothing or full.
    void fill(const GuardedMemory& memory) {
        using Component = typename Buffer::Pixel::Component;
        const bool any = decide_.byte() % 2 == 0;
        std::uint32_t state = decide_.byte();
        const auto component = [&] {
            state = state * 1664525u + 1013904223u;
            const double part = any ? state / 4294967295.0 : state >> 31;
            if constexpr (std::is_same_v<Component, float>)
                return static_cast<float>(part);
            else
                return static_cast<Component>(part * Buffer::Pixel::maxValue);
        };
        for (auto* at = memory.begin(); at < memory.end(); at += sizeof(typename Buffer::Pixel))
            reinterpret_cast<typename Buffer::Pixel*>(at)->store(
                {component(), component(), component(), component()});
    }

    // Whether the region was written.
    bool apply() {
        try {
            return instance_.execute(11) == 1;
        } catch (const TestQzLib::Fault& fault) {
            std::erase_if(qzlib_.held, [&](const auto& block) {
                return block.first != instance_.record.Params &&
                       block.first != instance_.record.Engine;
            });
            return fault.what() == std::string("FreeMemQz") &&
                   std::none_of(qzlib_.calls.begin(), qzlib_.calls.end(), [](const auto& call) {
                       return call.function == "AllocMemQz" && call.block == nullptr;
                   });
        }
    }

    void sample(TestBitmap<Buffer>& input, TestBitmap<Buffer>& output) {
        const VexFilterInstance& record = instance_.record;
        const QzRect& region = record.OutputRegion;
        if (region.width <= 0 || region.height <= 0) return;
        const auto points = sourcePositions(record.Params->mode == 0, record.SourceRect, region);
        auto point = points.begin();
        for (std::int64_t j = 0; j < region.height; ++j)
            for (std::int64_t i = 0; i < region.width; ++i, ++point)
                get_bilinear_color_trans_T(
                    point->x, point->y, Buffer(input.record), record.SourceRect,
                    &output.at(region.x + i, region.y + j), record.SamplingWord != 1);
    }

    void finish() {
        if (isPrepared_) require(instance_.execute(12) == 1, "finished answers 1");
        isPrepared_ = false;
    }
    void cleanUp() {
        finish();
        if (isSetUp_) require(instance_.entry(3) == 1, "cleanup answers 1");
        isSetUp_ = false;
    }

    Decisions decide_;
    TestInstance instance_;
    TestQzLib& qzlib_ = instance_.qzlib;
    QzLong answer_ = 0;
    bool isSetUp_ = false;
    bool isPrepared_ = false;
};

}  // namespace

void anyLife(std::span<const unsigned char> bytes, VexHandler entryPoint) {
    Decisions decisions(bytes);
    visitFormat(static_cast<unsigned>(decisions.between(1, 5)),
                [&]<class Buffer>() { Life<Buffer>(decisions, entryPoint).live(); });
}

void anyLife(unsigned seed, unsigned code, VexHandler entryPoint) {
    std::mt19937 random(seed);
    std::vector<unsigned char> bytes(160);
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
    bytes.front() = static_cast<unsigned char>(code - 1);
    anyLife(bytes, entryPoint);
}
