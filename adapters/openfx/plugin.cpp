// The binary's two exports and the effects behind them.

#include <new>

#include "adapters/openfx/describe.h"
#include "adapters/openfx/parameters.h"
#include "adapters/openfx/render.h"
#include "library/polar.h"

namespace ofx {

namespace {

// Projects keep identifiers and the number of the major version: neither changes, ever.
constexpr Identity identities[] = {
    {"org.libpolar.PolarToRectangular", "Polar to Rectangular",
     "Unwraps a round picture around its centre: columns of the result are angles, rows distances "
     "from the centre."},
    {"org.libpolar.RectangularToPolar", "Rectangular to Polar",
     "Wraps a picture around its centre: its columns become angles, its rows distances from the "
     "centre. A panorama becomes a little planet."}};
static_assert(POLAR_UNWRAP == 0 && POLAR_WRAP == 1);

// An opaque picture gets an alpha: the result does not reach everywhere.
Status tellPreferences(const Suites& suites, Effect instance, const Properties& out) {
    Clip clip = nullptr;
    PropertySet set = nullptr;
    if (suites.effects->getClip(instance, sourceClip, &clip, &set) != statusOk)
        return statusReplyDefault;
    const Properties source(suites, set);
    if (source.text(property::premultiplication) != opaque ||
        source.text(property::components) == rgb)
        return statusReplyDefault;
    out.set(property::premultiplication, unpremultiplied);
    return statusOk;
}

// Any pixel may come from anywhere.
Status tellInterest(const Suites& suites, Effect instance, const Properties& in,
                    const Properties& out) {
    constexpr double most = 0x7FFFFFFF;
    Clip clip = nullptr;
    PropertySet set = nullptr;
    RectD all{};
    if (suites.effects->getRegionOfDefinition == nullptr ||
        suites.effects->getClip(instance, sourceClip, &clip, &set) != statusOk ||
        suites.effects->getRegionOfDefinition(clip, in.number(property::time).value_or(0), &all) !=
            statusOk ||
        !(all.x1 > -most && all.y1 > -most && all.x2 < most && all.y2 < most))
        return statusReplyDefault;
    int index = 0;
    for (const double side : {all.x1, all.y1, all.x2, all.y2})
        out.set(property::sourceRegionOfInterest, side, index++);
    return statusOk;
}

Status act(int direction, std::string_view name, Effect effect, PropertySet in, PropertySet out) {
    if (name == action::load) return fetchSuites() ? statusOk : statusErrMissingHostFeature;
    if (name == action::unload) return statusOk;
    if (effect == nullptr) return statusErrBadHandle;
    const Suites all = suites();
    const Properties arguments(all, in), answers(all, out);
    if (name == action::getClipPreferences) return tellPreferences(all, effect, answers);
    if (name == action::getRegionsOfInterest) return tellInterest(all, effect, arguments, answers);
    if (name == action::describe)
        describe(all, effect, identities[direction]);
    else if (name == action::describeInContext)
        describeInContext(all, effect);
    else if (name == action::render)
        render(all, effect, arguments, direction);
    else if (name != action::createInstance && name != action::destroyInstance &&
             name != action::beginSequence && name != action::endSequence)
        return statusReplyDefault;
    return statusOk;
}

template <int direction>
Status mainEntry(const char* action, const void* handle, PropertySet in, PropertySet out) {
    try {
        auto* const effect = static_cast<Effect>(const_cast<void*>(handle));
        return act(direction, action != nullptr ? action : "", effect, in, out);
    } catch (const Failure& failure) {
        return failure.status;
    } catch (const std::bad_alloc&) {
        return statusErrMemory;
    } catch (...) {
        return statusFailed;
    }
}

template <int direction>
Plugin plugin{
    pluginApi,           1, identities[direction].identifier, 1, POLAR_PLUGIN_MINOR, setHost,
    mainEntry<direction>};

}  // namespace

}  // namespace ofx

extern "C" int OfxGetNumberOfPlugins() { return 2; }

extern "C" ofx::Plugin* OfxGetPlugin(int index) {
    if (index == 0) return &ofx::plugin<POLAR_UNWRAP>;
    return index == 1 ? &ofx::plugin<POLAR_WRAP> : nullptr;
}
