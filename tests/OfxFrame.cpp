#include "tests/OfxFrame.h"

namespace {

using ofx::RectI;

int widthOf(const RectI& rect) { return rect.x2 - rect.x1; }
int heightOf(const RectI& rect) { return rect.y2 - rect.y1; }

RectI common(const RectI& a, const RectI& b) {
    const RectI both{std::max(a.x1, b.x1), std::max(a.y1, b.y1), std::min(a.x2, b.x2),
                     std::min(a.y2, b.y2)};
    return both.x1 < both.x2 && both.y1 < both.y2 ? both : RectI{a.x1, a.y1, a.x1, a.y1};
}

std::vector<std::variant<int, double, std::string, void*>> four(const RectI& r) {
    return {r.x1, r.y1, r.x2, r.y2};
}

void describe(const TestImage& image, const RectI& bounds, const OfxFrame::Shape& shape,
              ofx::ClipRecord& clip) {
    const char* const depths[] = {"OfxBitDepthByte", "OfxBitDepthShort", "", "OfxBitDepthFloat"};
    const char* const states[] = {"OfxImageAlphaUnPremultiplied", "OfxImageAlphaPremultiplied",
                                  "OfxImageOpaque", "nonsense"};
    auto& values = clip.image.values;
    values["OfxImagePropData"] = {image.image.pixels};
    values["OfxImagePropBounds"] = four(bounds);
    values["OfxImagePropRegionOfDefinition"] = four(shape.region);
    values["OfxImagePropRowBytes"] = {int(image.image.row_bytes)};
    values["OfxImageEffectPropPixelDepth"] = {depths[image.componentBytes - 1]};
    values["OfxImageEffectPropComponents"] = {image.channels == 3 ? ofx::rgb : ofx::rgba};
    values["OfxImageEffectPropPreMultiplication"] = {states[shape.alpha]};
    values["OfxImageEffectPropRenderScale"] = {3.0, 0.25};  // wrong in many hosts
    clip.properties.values = values;
    clip.region = {0, 0, widthOf(shape.region) / 2.0, heightOf(shape.region) / 2.0};
}

// Writes what the interface calls white.
void makeOpaque(const TestImage& image) {
    const float one = 1;
    const bool isFloat = image.componentBytes == sizeof one;
    for (int y = 0; y < image.image.height; ++y)
        for (auto* at = image.row(y); at < image.row(y) + image.rowBytes; at += image.pixelBytes) {
            auto* const alpha = at + 3 * image.componentBytes;
            std::memset(alpha, 0xFF, image.componentBytes);
            if (isFloat) std::memcpy(alpha, &one, sizeof one);
        }
}

}  // namespace

OfxFrame::OfxFrame(ofx::EffectRecord effect, const Shape& s)
    : shape(s),
      input(s.format, widthOf(s.inside), heightOf(s.inside), 0, s.padding, s.isNegative),
      output(s.format, widthOf(s.outside), heightOf(s.outside), 0, s.padding, !s.isNegative),
      instance(std::move(effect)) {
    input.fill(unsigned(s.format));
    describe(input, s.inside, s, instance.clips["Source"]);
    describe(output, s.outside, s, instance.clips["Output"]);
    arguments.values["OfxPropTime"] = {1.0};
    arguments.values["OfxImageEffectPropRenderWindow"] = four(s.window);
}

void OfxFrame::requireResult(const polar_options* given, bool isGroundBottom) const {
    const RectI &region = shape.region, &inside = shape.inside, &outside = shape.outside;
    const RectI window = common(shape.window, outside), part = common(window, region);
    const int format = shape.format, alpha = shape.alpha;
    const TestImage wanted(format, widthOf(outside), heightOf(outside), 0, shape.padding,
                           !shape.isNegative);
    const auto pixel = [&](const TestImage& image, int x, int y) {
        return image.row(y - outside.y1) + (x - outside.x1) * std::ptrdiff_t(image.pixelBytes);
    };
    for (int y = window.y1; y < window.y2; ++y) {
        const int bytes = widthOf(window) * int(input.pixelBytes);
        auto* const to = pixel(wanted, window.x1, y);
        std::fill_n(to, bytes, '\0');
        if (given == nullptr) std::copy_n(pixel(output, window.x1, y), bytes, to);
    }
    if (given != nullptr && widthOf(part) > 0) {
        polar_options options = *given;
        const bool wraps = options.direction == POLAR_WRAP;
        const int state = alpha == POLAR_PREMULTIPLIED ? POLAR_PREMULTIPLIED : POLAR_STRAIGHT;
        if (alpha == POLAR_OPAQUE && input.channels == 4) makeOpaque(input);
        // Rows that run down, or up from the ground.
        const bool fromBelow = wraps && isGroundBottom, toAbove = !wraps && isGroundBottom;
        const polar_image& in = input.image;
        const std::ptrdiff_t distance = wanted.image.row_bytes;
        const polar_image from{input.row(fromBelow ? 0 : in.height - 1), in.width, in.height,
                               fromBelow ? in.row_bytes : -in.row_bytes, format,   state};
        const polar_image to{pixel(wanted, part.x1, toAbove ? part.y1 : part.y2 - 1),
                             widthOf(part),
                             heightOf(part),
                             toAbove ? distance : -distance,
                             format,
                             state};
        const polar_rect source{region.x1 - inside.x1,
                                fromBelow ? region.y1 - inside.y1 : inside.y2 - region.y2,
                                widthOf(region), heightOf(region)};
        const polar_rect whole{part.x1 - region.x1,
                               toAbove ? part.y1 - region.y1 : region.y2 - part.y2, source.width,
                               source.height};
        options.source = &source;
        options.whole = &whole;
        require(polar_render(&from, &to, &options) == POLAR_OK, "the library renders");
    }
    require(std::ranges::equal(output.memory, wanted.memory), "memory is as it must be");
}

namespace {

struct Life {
    void live() {
        OfxHost::manners() = {};
        require(host.load() == ofx::statusOk, "loads");
        const ofx::EffectRecord described = host.describe();
        while (draw.left()) {
            spoil();
            request(described);
            OfxHost::manners() = {};
        }
        OfxHost::calls().clear();
    }

    void spoil() {
        auto& manners = OfxHost::manners();
        manners.threads = static_cast<OfxManners::Threads>(draw.upTo(4));
        manners.processors = draw.of({2U, 1U, 0U, 3U});
        if (isSpoilt = draw.upTo(3) == 0; !isSpoilt) return;
        manners.missing.insert(
            draw.of({"OfxImagePropRegionOfDefinition", "OfxImagePropBounds", "OfxImagePropData",
                     "OfxImageEffectPropPixelDepth", "OfxPropTime", "OfxImagePropRowBytes",
                     "OfxImageEffectSuite"}));
        manners.hasEmptySuites = draw.upTo(8) == 0;
        if (draw.upTo(2) == 0) manners.callsLeft = int(draw.upTo(60));
    }

    void request(const ofx::EffectRecord& described) {
        const QzLong choice = draw.upTo(8);
        if (choice == 0) return expect(host.load());
        if (choice > 2) return render(described);
        ofx::EffectRecord effect;
        const char* const names[] = {ofx::action::describe,
                                     ofx::action::describeInContext,
                                     "OfxActionPurgeCaches",
                                     "OfxActionUnload",
                                     "",
                                     nullptr};
        expect(host.call(names[draw.upTo(6)], choice == 1 ? &effect : nullptr));
    }

    void expect(ofx::Status status) const {
        require((status >= 0 && status <= 14) || status == ofx::statusErrImageFormat, "a status");
    }

    // Near a corner, not empty unless it `mayBeEmpty`.
    RectI anyRect(const RectI& near, bool mayBeEmpty) {
        const auto beside = [&](std::int64_t at) {
            return int(
                std::clamp<std::int64_t>(at + draw.upTo(24) - 12, INT_MIN + 80, INT_MAX - 80));
        };
        const int x = beside(near.x1), y = beside(near.y1);
        const int least = mayBeEmpty && draw.upTo(8) == 0 ? -3 : 1;
        return {x, y, x + least + int(draw.upTo(60)), y + least + int(draw.upTo(60))};
    }

    void render(const ofx::EffectRecord& described) {
        const int at = draw.of({0, 0, 0, 0, -1000, INT_MAX - 500, INT_MIN + 20});
        OfxFrame::Shape shape{draw.of({1, 4, 5, 19, 20, 21}), int(draw.upTo(4)), {}, {}, {}, {}};
        shape.inside = anyRect({at, at, at, at}, false);
        shape.region = draw.upTo(2) == 0 ? shape.inside : anyRect(shape.inside, true);
        shape.outside = draw.upTo(2) == 0 ? shape.inside : anyRect(shape.region, false);
        shape.window = draw.upTo(2) == 0 ? shape.outside : anyRect(shape.outside, true);
        shape.padding = draw.upTo(9);
        shape.isNegative = draw.upTo(2) == 0;
        OfxFrame frame(described, shape);
        const bool isAnything = draw.upTo(2) == 0;
        for (auto& [name, parameter] : frame.instance.parameters.all)
            if (isAnything && std::holds_alternative<int>(parameter.value))
                parameter.value = int(draw.upTo(5)) - 1;
            else if (isAnything)
                parameter.value = draw.of({0.0, 1.0, 0.5, 2.0, -3.0, 1e9, double(NAN)});
        const bool isTurned = !isAnything && draw.upTo(2) == 0;
        if (isTurned)  // and counterclockwise, as the library goes
            for (const auto& [name, place] : {std::pair("ground", 1), {"direction", 2}})
                frame.instance.parameters.all.at(name).value = place;
        auto& clips = frame.instance.clips;
        if (draw.upTo(16) == 0) clips["Source"].hasImage = false;
        const ofx::Status status = frame.render(host);
        expect(status);
        require(clips["Source"].held == 0 && clips["Output"].held == 0, "images are given back");
        const bool isEmpty = widthOf(shape.region) <= 0 || heightOf(shape.region) <= 0;
        polar_options options{};
        options.direction = direction;
        const bool isKnown = !isSpoilt && !isAnything && !isEmpty && clips["Source"].hasImage;
        require(!isKnown || status == ofx::statusOk, "a frame is rendered");
        frame.requireResult(isKnown ? &options : nullptr, isTurned);
    }

    Draw draw;
    OfxHost host;
    int direction;
    bool isSpoilt = false;
};

}  // namespace

void anyOfxLife(std::span<const unsigned char> bytes, ofx::Plugin& effect, int direction) {
    Life{Draw(bytes), OfxHost(effect), direction}.live();
}
