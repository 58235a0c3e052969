// The functions that hosts of frei0r call. Only parameters change an instance, and nothing else is
// kept: frames of several instances, or bands of one, may be rendered at once.
#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstring>
#include <iterator>
#include <new>

#include "adapters/Warp.h"
#include "adapters/frei0r/Effect.h"

extern "C" {
#include <frei0r.h>
}

namespace {

using adapters::Warp;

// Which of three choices a slider is at.
int third(double value) { return static_cast<int>(std::lround(std::clamp(value, 0.0, 1.0) * 2)); }

struct Parameter {
    const char* name;
    int type;
    double standard;
    void (*set)(Warp& warp, double value);
    const char* explanation;
};

// Their names, their order and what their values mean are fixed for ever: projects and command
// lines have one or the other. Hosts move sliders from 0 to 1, and interpolate between any values.
constexpr Parameter parameters[] = {
    {"Sampling", F0R_PARAM_DOUBLE, 0,
     [](Warp& warp, double value) { warp.sampling = third(value); },
     "0: bilinear, 0.5: nearest, 1: area"},
    {"Amount", F0R_PARAM_DOUBLE, 1,
     [](Warp& warp, double value) { warp.amount = std::clamp(value, 0.0, 1.0); },
     "From 0, the picture itself, to 1, all of the effect"},
    {"Angle", F0R_PARAM_DOUBLE, 0.5,
     [](Warp& warp, double value) { warp.angle = value * 10 - 5; },  // exact for tenths
     "Where the panorama begins, clockwise: 0.5 is straight up, each 0.1 more a whole turn"},
    {"Direction", F0R_PARAM_DOUBLE, 0,
     [](Warp& warp, double value) { warp.turn = static_cast<adapters::Turn>(third(value)); },
     "The panorama's columns go 0: as mirrors nothing, 0.5: clockwise, 1: counterclockwise"},
    {"GroundBottom", F0R_PARAM_BOOL, 0,
     [](Warp& warp, double value) { warp.groundBottom = value >= 0.5; },
     "The panorama's last row lies in the centre, else its first one"},
    {"Circle", F0R_PARAM_BOOL, 0, [](Warp& warp, double value) { warp.circle = value >= 0.5; },
     "A circle, else an ellipse of the picture's shape"},
    {"CentreX", F0R_PARAM_DOUBLE, 0.5, [](Warp& warp, double value) { warp.centreX = value; },
     "The centre, from the picture's left, 0, to its right, 1"},
    {"CentreY", F0R_PARAM_DOUBLE, 0.5, [](Warp& warp, double value) { warp.centreY = value; },
     "The centre, from the picture's top, 0, to its bottom, 1"},
    {"Radius", F0R_PARAM_DOUBLE, 0.25,
     [](Warp& warp, double value) { warp.radius = std::max(value * 4, 0.001); },
     "0.25: as far as the picture's sides; 0.5: twice as far, 1: four times"},
    {"InnerRadius", F0R_PARAM_DOUBLE, 0,
     [](Warp& warp, double value) { warp.inner = std::clamp(value, 0.0, 0.999); },
     "The hole in the centre, as a part of the radius"},
};
constexpr int parameterCount = std::size(parameters);

struct Instance {
    unsigned width, height;
    double values[parameterCount];
};

bool isParameter(int index) { return index >= 0 && index < parameterCount; }

Warp warpOf(const Instance& instance) {
    Warp warp;
    warp.direction = adapters::effect.direction;
    for (int i = 0; i < parameterCount; ++i) parameters[i].set(warp, instance.values[i]);
    return warp;
}

polar_image frameOf(const Instance& instance, void* pixels) {
    return {pixels,
            static_cast<std::int32_t>(instance.width),
            static_cast<std::int32_t>(instance.height),
            0,
            POLAR_RGBA8,
            POLAR_STRAIGHT};
}

}  // namespace

// Any number of times; some hosts take 0 for a failure.
int f0r_init(void) { return 1; }

void f0r_deinit(void) {}

// Also before f0r_init.
void f0r_get_plugin_info(f0r_plugin_info_t* info) {
    *info = {adapters::effect.name,
             "The Polar developers",
             F0R_PLUGIN_TYPE_FILTER,
             F0R_COLOR_MODEL_RGBA8888,
             FREI0R_MAJOR_VERSION,
             POLAR_MAJOR,
             POLAR_MINOR,
             parameterCount,
             adapters::effect.explanation};
}

void f0r_get_param_info(f0r_param_info_t* info, int param_index) {
    if (!isParameter(param_index)) return;
    const Parameter& parameter = parameters[param_index];
    *info = {parameter.name, parameter.type, parameter.explanation};
}

f0r_instance_t f0r_construct(unsigned width, unsigned height) {
    auto* const instance = new (std::nothrow) Instance{width, height, {}};
    if (instance != nullptr)
        std::transform(std::begin(parameters), std::end(parameters), instance->values,
                       [](const Parameter& parameter) { return parameter.standard; });
    return instance;
}

void f0r_destruct(f0r_instance_t instance) { delete static_cast<Instance*>(instance); }

void f0r_set_param_value(f0r_instance_t instance, f0r_param_t param, int param_index) {
    if (!isParameter(param_index)) return;
    double number = 0;
    std::memcpy(&number, param, sizeof number);
    if (std::isfinite(number)) static_cast<Instance*>(instance)->values[param_index] = number;
}

void f0r_get_param_value(f0r_instance_t instance, f0r_param_t param, int param_index) {
    if (isParameter(param_index))
        std::memcpy(param, &static_cast<Instance*>(instance)->values[param_index], sizeof(double));
}

void f0r_update(f0r_instance_t instance, double, const std::uint32_t* inframe,
                std::uint32_t* outframe) {
    const Instance& own = *static_cast<Instance*>(instance);
    // The library reads it only.
    const polar_image input = frameOf(own, const_cast<std::uint32_t*>(inframe));
    const polar_image output = frameOf(own, outframe);
    const adapters::Call call(warpOf(own), input, output);
    // On all processors: most hosts have one thread for all their filters.
    const int status = polar_render(&call.input, &call.output, &call.options);
    // Nothing tells a host of failure. A frame rendered in place stays as it is.
    if (status != POLAR_OK && status != POLAR_OVERLAP && status != POLAR_BAD_SIZE)
        std::memset(outframe, 0, std::size_t{own.width} * own.height * 4);
}
