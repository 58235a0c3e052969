#include "adapters/openfx/parameters.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <iterator>

namespace ofx {

namespace {

using adapters::Warp;

struct Range {
    double least, most;
};

struct Number {
    const char *name, *label, *hint;
    double standard;
    Range range, shown;
    void (*set)(Warp& warp, double value);
};

struct Choice {
    const char *name, *label, *hint;
    std::initializer_list<const char*> options;  // the first one is the default
    void (*set)(Warp& warp, int place);
};

// Projects keep names, labels of options and their places. None of these changes, ever; new options
// go to the end.
constexpr Number numbers[] = {
    {"amount",
     "Amount",
     "How far the picture is bent: every pixel moves on a straight line from its own place, at 0, "
     "to where it belongs, at 1.",
     1,
     {0, 1},
     {0, 1},
     [](Warp& warp, double value) { warp.amount = value; }},
    {"angle",
     "Angle",
     "Where the first column of the rectangular picture lies, in degrees clockwise from straight "
     "up. More than a turn is fine.",
     0,
     {-1e6, 1e6},
     {-360, 360},
     [](Warp& warp, double value) { warp.angle = std::fmod(value, 360) / 360; }},
    {"centreX",
     "Centre X",
     "The centre of the round picture, as a fraction of the picture's width from its left.",
     0.5,
     {-10, 10},
     {0, 1},
     [](Warp& warp, double value) { warp.centreX = value; }},
    {"centreY",
     "Centre Y",
     "The centre of the round picture, as a fraction of the picture's height from its bottom.",
     0.5,
     {-10, 10},
     {0, 1},
     [](Warp& warp, double value) { warp.centreY = 1 - value; }},
    {"radius",
     "Radius",
     "How far the rectangular picture reaches from the centre. At 1 the ellipse or circle is the "
     "largest that fits into the picture around its middle.",
     1,
     {0.001, 100},
     {0.001, 2},
     [](Warp& warp, double value) { warp.radius = value; }},
    {"innerRadius",
     "Inner radius",
     "How far from the centre the rectangular picture begins, as a fraction of the radius.",
     0,
     {0, 0.999},
     {0, 0.999},
     [](Warp& warp, double value) { warp.inner = value; }},
};

constexpr Choice choices[] = {
    {"direction",
     "Direction",
     "Which way the columns of the rectangular picture go around, from left to right. Automatic "
     "mirrors nothing: counterclockwise where the ground is at the top, clockwise where it is "
     "at the bottom.",
     {"Automatic", "Clockwise", "Counterclockwise"},
     [](Warp& warp, int place) { warp.turn = static_cast<adapters::Turn>(place); }},
    {"ground",
     "Ground",
     "Which side of the rectangular picture lies at the centre of the round one.",
     {"Top", "Bottom"},
     [](Warp& warp, int place) { warp.groundBottom = place == 1; }},
    {"shape",
     "Shape",
     "Ellipse follows the shape of the picture. Circle looks round, whatever the shape of the "
     "picture and of its pixels.",
     {"Ellipse", "Circle"},
     [](Warp& warp, int place) { warp.circle = place == 1; }},
    {"sampling",
     "Sampling",
     "Bilinear mixes four pixels, Nearest copies one, Area averages all that a pixel of the "
     "result covers.",
     {"Bilinear", "Nearest", "Area"},
     [](Warp& warp, int place) { warp.sampling = place; }},
};

static_assert(POLAR_BILINEAR == 0 && POLAR_NEAREST == 1 && POLAR_AREA == 2);

PropertySet define(const Suites& suites, ParameterSet set, const char* type, const char* name) {
    PropertySet properties = nullptr;
    const Status status = suites.parameters->define(set, type, name, &properties);
    if (status != statusOk && status != statusErrExists) throw Failure{status};
    return properties;
}

void define(const Suites& suites, ParameterSet set, const Number& number) {
    const Properties properties(suites, define(suites, set, "OfxParamTypeDouble", number.name));
    properties.set(property::label, number.label);
    properties.set("OfxParamPropHint", number.hint);
    properties.set("OfxParamPropDoubleType", "OfxParamDoubleTypePlain");
    properties.set("OfxParamPropDefault", number.standard);
    properties.set("OfxParamPropMin", number.range.least);
    properties.set("OfxParamPropMax", number.range.most);
    properties.set("OfxParamPropDisplayMin", number.shown.least);
    properties.set("OfxParamPropDisplayMax", number.shown.most);
    properties.set("OfxParamPropAnimates", 1);
}

void define(const Suites& suites, ParameterSet set, const Choice& choice) {
    const Properties properties(suites, define(suites, set, "OfxParamTypeChoice", choice.name));
    properties.set(property::label, choice.label);
    properties.set("OfxParamPropHint", choice.hint);
    int place = 0;
    for (const char* const option : choice.options)
        properties.set("OfxParamPropChoiceOption", option, place++);
    properties.set("OfxParamPropDefault", 0);
    properties.set("OfxParamPropAnimates", 0);
}

template <class Value>
Value valueAt(const Suites& suites, ParameterSet set, const char* name, double time, Value normal) {
    Parameter parameter = nullptr;
    Value value = normal;
    const bool isTold =
        suites.parameters->getParameter(set, name, &parameter, nullptr) == statusOk &&
        suites.parameters->getValueAtTime(parameter, time, &value) == statusOk;
    return isTold ? value : normal;
}

ParameterSet parametersOf(const Suites& suites, Effect effect) {
    ParameterSet set = nullptr;
    const Status status = suites.effects->getParameterSet(effect, &set);
    if (status != statusOk) throw Failure{status};
    return set;
}

}  // namespace

void defineParameters(const Suites& suites, Effect descriptor) {
    ParameterSet const set = parametersOf(suites, descriptor);
    for (const Number& number : numbers) define(suites, set, number);
    for (const Choice& choice : choices) define(suites, set, choice);
}

Warp warpAt(const Suites& suites, Effect instance, double time) {
    ParameterSet const set = parametersOf(suites, instance);
    Warp warp;
    for (const Number& number : numbers) {
        const double value = valueAt(suites, set, number.name, time, number.standard);
        number.set(warp, std::isnan(value)
                             ? number.standard
                             : std::clamp(value, number.range.least, number.range.most));
    }
    for (const Choice& choice : choices) {
        const int place = valueAt(suites, set, choice.name, time, 0);
        choice.set(warp, place > 0 && place < std::ssize(choice.options) ? place : 0);
    }
    return warp;
}

}  // namespace ofx
