#include "adapters/openfx/describe.h"

#include <string>

#include "adapters/openfx/parameters.h"

namespace ofx {

namespace {

void defineClip(const Suites& suites, Effect descriptor, const char* name) {
    PropertySet set = nullptr;
    const Status status = suites.effects->defineClip(descriptor, name, &set);
    if (status != statusOk && status != statusErrExists) throw Failure{status};
    const Properties clip(suites, set);
    clip.set(property::supportedComponents, rgba, 0);
    clip.set(property::supportedComponents, rgb, 1);
    clip.set(property::tiles, 0);
    clip.set(property::temporalAccess, 0);
    clip.set("OfxImageClipPropFieldExtraction", "OfxFieldDoubled");
}

}  // namespace

void describe(const Suites& suites, Effect descriptor, const Identity& identity) {
    PropertySet set = nullptr;
    const Status status = suites.effects->getPropertySet(descriptor, &set);
    if (status != statusOk) throw Failure{status};
    const Properties effect(suites, set);
    for (const char* const label : {property::label, "OfxPropShortLabel", "OfxPropLongLabel"})
        effect.set(label, identity.label);
    effect.set("OfxPropPluginDescription", identity.description);
    effect.set("OfxPropVersionLabel", POLAR_VERSION);
    effect.set("OfxPropIcon", (std::string(identity.identifier) + ".png").c_str(), 1);
    effect.set("OfxImageEffectPluginPropGrouping", "Distort");
    effect.set(property::contexts, "OfxImageEffectContextFilter", 0);
    effect.set(property::contexts, "OfxImageEffectContextGeneral", 1);
    effect.set(property::depths, depthByte, 0);
    effect.set(property::depths, depthShort, 1);
    effect.set(property::depths, depthFloat, 2);
    effect.set("OfxImageEffectPluginRenderThreadSafety", "OfxImageEffectRenderFullySafe");
    effect.set("OfxImageEffectPropSupportsMultiResolution", 1);
    effect.set("OfxImageEffectPropNoSpatialAwareness", "false");
    effect.set("OfxImageEffectPropCPURenderSupported", "true");
    // A frame is one render: positions advance by repeated addition, so parts would differ from the
    // whole in their last bits.
    for (const char* const no :
         {property::tiles, "OfxImageEffectPluginPropHostFrameThreading",
          "OfxImageEffectPluginPropSingleInstance", property::temporalAccess,
          "OfxImageEffectPluginPropFieldRenderTwiceAlways", "OfxImageEffectPropMultipleClipDepths",
          "OfxImageEffectPropSupportsMultipleClipPARs"})
        effect.set(no, 0);
}

void describeInContext(const Suites& suites, Effect descriptor) {
    defineClip(suites, descriptor, sourceClip);
    defineClip(suites, descriptor, outputClip);
    defineParameters(suites, descriptor);
}

}  // namespace ofx
