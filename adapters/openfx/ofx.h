// The OpenFX image effect interface, as far as the effects use it: records, suites of functions and
// the strings that name things. Functions that nobody here calls are slots.
#pragma once

#include <cstddef>

namespace ofx {

// Handles. What they point to is the host's.
using PropertySet = struct PropertySetRecord*;
using Effect = struct EffectRecord*;
using Clip = struct ClipRecord*;
using ParameterSet = struct ParameterSetRecord*;
using Parameter = struct ParameterRecord*;

using Status = int;
enum : Status {
    statusOk = 0,
    statusFailed = 1,
    statusErrUnknown = 3,
    statusErrMissingHostFeature = 4,
    statusErrExists = 6,
    statusErrMemory = 8,
    statusErrBadHandle = 9,
    statusErrBadIndex = 10,
    statusReplyDefault = 14,
    statusErrImageFormat = 1000
};

// Half open: x1 <= x < x2, y1 <= y < y2, and y runs up.
struct RectI {
    int x1, y1, x2, y2;

    bool operator==(const RectI&) const = default;
};
struct RectD {
    double x1, y1, x2, y2;
};

struct Host {
    PropertySet description;
    const void* (*fetchSuite)(PropertySet description, const char* name, int version);
};

struct Plugin {
    const char* api;
    int apiVersion;
    const char* identifier;
    unsigned major, minor;
    void (*setHost)(Host* host);
    Status (*mainEntry)(const char* action, const void* handle, PropertySet in, PropertySet out);
};

using Slot = void (*)();

struct PropertySuite {
    Slot setPointer;
    Status (*setString)(PropertySet set, const char* name, int index, const char* value);
    Status (*setDouble)(PropertySet set, const char* name, int index, double value);
    Status (*setInt)(PropertySet set, const char* name, int index, int value);
    Slot setMany[4];
    Status (*getPointer)(PropertySet set, const char* name, int index, void** value);
    Status (*getString)(PropertySet set, const char* name, int index, char** value);
    Status (*getDouble)(PropertySet set, const char* name, int index, double* value);
    Status (*getInt)(PropertySet set, const char* name, int index, int* value);
    Slot getMany[4], reset, getDimension;
};

struct EffectSuite {
    Status (*getPropertySet)(Effect effect, PropertySet* set);
    Status (*getParameterSet)(Effect effect, ParameterSet* set);
    Status (*defineClip)(Effect descriptor, const char* name, PropertySet* set);
    Status (*getClip)(Effect instance, const char* name, Clip* clip, PropertySet* set);
    Slot getClipPropertySet;
    Status (*getImage)(Clip clip, double time, const RectD* region, PropertySet* image);
    Status (*releaseImage)(PropertySet image);
    Status (*getRegionOfDefinition)(Clip clip, double time, RectD* region);
    int (*abort)(Effect instance);  // whether to stop
    Slot memory[4];
};

struct ParameterSuite {
    Status (*define)(ParameterSet set, const char* type, const char* name, PropertySet* properties);
    Status (*getParameter)(ParameterSet set, const char* name, Parameter* parameter,
                           PropertySet* properties);
    Slot getPropertySets[2], getValue;
    Status (*getValueAtTime)(Parameter parameter, double time, ...);
    Slot rest[12];
};

struct MultiThreadSuite {
    // Calls `work` on up to `count` threads, and returns when all calls have.
    Status (*multiThread)(void (*work)(unsigned index, unsigned count, void* argument),
                          unsigned count, void* argument);
    Status (*processors)(unsigned* count);
    Slot rest[7];
};

// On the hosts of 64 bits that there are.
static_assert(sizeof(void*) == 8 && sizeof(Slot) == 8 && sizeof(RectI) == 16);
static_assert(offsetof(Host, fetchSuite) == 8 && sizeof(Host) == 16);
static_assert(offsetof(Plugin, identifier) == 16 && offsetof(Plugin, major) == 24 &&
              offsetof(Plugin, minor) == 28 && offsetof(Plugin, setHost) == 32 &&
              offsetof(Plugin, mainEntry) == 40 && sizeof(Plugin) == 48);
template <class Suite, std::size_t functions>
constexpr bool has = sizeof(Suite) == functions * sizeof(Slot);
static_assert(has<PropertySuite, 18> && has<EffectSuite, 13> && has<ParameterSuite, 18> &&
              has<MultiThreadSuite, 9>);
static_assert(offsetof(PropertySuite, getPointer) == 8 * sizeof(Slot) &&
              offsetof(EffectSuite, getImage) == 5 * sizeof(Slot) &&
              offsetof(EffectSuite, abort) == 8 * sizeof(Slot) &&
              offsetof(ParameterSuite, getValueAtTime) == 5 * sizeof(Slot));

// Names, as the interface has them; some differ from what one would guess.
inline constexpr const char* pluginApi = "OfxImageEffectPluginAPI";

namespace suite {
inline constexpr const char* property = "OfxPropertySuite";
inline constexpr const char* effect = "OfxImageEffectSuite";
inline constexpr const char* parameter = "OfxParameterSuite";
inline constexpr const char* multiThread = "OfxMultiThreadSuite";
}  // namespace suite

namespace action {
inline constexpr const char* load = "OfxActionLoad";
inline constexpr const char* unload = "OfxActionUnload";
inline constexpr const char* describe = "OfxActionDescribe";
inline constexpr const char* describeInContext = "OfxImageEffectActionDescribeInContext";
inline constexpr const char* createInstance = "OfxActionCreateInstance";
inline constexpr const char* destroyInstance = "OfxActionDestroyInstance";
inline constexpr const char* getClipPreferences = "OfxImageEffectActionGetClipPreferences";
inline constexpr const char* getRegionsOfInterest = "OfxImageEffectActionGetRegionsOfInterest";
inline constexpr const char* beginSequence = "OfxImageEffectActionBeginSequenceRender";
inline constexpr const char* render = "OfxImageEffectActionRender";
inline constexpr const char* endSequence = "OfxImageEffectActionEndSequenceRender";
}  // namespace action

namespace property {
inline constexpr const char* label = "OfxPropLabel";
inline constexpr const char* time = "OfxPropTime";
inline constexpr const char* window = "OfxImageEffectPropRenderWindow";
inline constexpr const char* tiles = "OfxImageEffectPropSupportsTiles";
inline constexpr const char* temporalAccess = "OfxImageEffectPropTemporalClipAccess";
inline constexpr const char* contexts = "OfxImageEffectPropSupportedContexts";
inline constexpr const char* depths = "OfxImageEffectPropSupportedPixelDepths";
inline constexpr const char* supportedComponents = "OfxImageEffectPropSupportedComponents";
inline constexpr const char* data = "OfxImagePropData";
inline constexpr const char* bounds = "OfxImagePropBounds";
inline constexpr const char* region = "OfxImagePropRegionOfDefinition";
inline constexpr const char* rowBytes = "OfxImagePropRowBytes";
inline constexpr const char* depth = "OfxImageEffectPropPixelDepth";
inline constexpr const char* components = "OfxImageEffectPropComponents";
inline constexpr const char* premultiplication = "OfxImageEffectPropPreMultiplication";
inline constexpr const char* pixelAspect = "OfxImagePropPixelAspectRatio";
inline constexpr const char* sourceRegionOfInterest = "OfxImageClipPropRoI_Source";
}  // namespace property

inline constexpr const char* sourceClip = "Source";
inline constexpr const char* outputClip = "Output";
inline constexpr const char* rgba = "OfxImageComponentRGBA";
inline constexpr const char* rgb = "OfxImageComponentRGB";
inline constexpr const char* depthByte = "OfxBitDepthByte";
inline constexpr const char* depthShort = "OfxBitDepthShort";
inline constexpr const char* depthFloat = "OfxBitDepthFloat";
inline constexpr const char* opaque = "OfxImageOpaque";
inline constexpr const char* premultiplied = "OfxImageAlphaPremultiplied";
inline constexpr const char* unpremultiplied = "OfxImageAlphaUnPremultiplied";

}  // namespace ofx
