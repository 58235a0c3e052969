// A small OpenFX host. Handles are its records, every call is noted, and its manners can be
// spoiled.
#pragma once

#include <climits>
#include <map>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "adapters/openfx/ofx.h"
#include "tests/ofThisThread.h"

namespace ofx {

struct PropertySetRecord {
    std::map<std::string, std::vector<std::variant<int, double, std::string, void*>>> values;

    template <class Kept>
    Kept at(const std::string& name, std::size_t index = 0) const {
        return std::get<Kept>(values.at(name).at(index));
    }
};
struct ParameterRecord {
    PropertySetRecord properties;
    std::variant<int, double> value;  // a choice's place, or a number
};
struct ParameterSetRecord {
    std::map<std::string, ParameterRecord> all;
};
struct ClipRecord {
    PropertySetRecord properties, image;
    bool hasImage = true;
    RectD region{};
    int held = 0;
};
struct EffectRecord {
    PropertySetRecord properties;
    ParameterSetRecord parameters;
    std::map<std::string, ClipRecord> clips;
    std::string action;       // the one that goes on
    int pollsLeft = INT_MAX;  // before it is aborted
};

}  // namespace ofx

// Of the host on this thread.
struct OfxManners {
    // Runs more at once than it is asked for, refuses, says that it has and has not, calls one
    // after the other and says that each is the first.
    enum Threads { real, nested, idle, inTurn } threads = real;
    unsigned processors = 2;
    std::set<std::string> missing;  // suites and properties
    bool hasEmptySuites = false;    // all of whose functions are null
    bool tellsValues = true;        // of parameters
    int callsLeft = INT_MAX;        // before one throws
};

struct OfxHost {
    explicit OfxHost(ofx::Plugin& effect) : plugin(effect) {}

    ofx::Status load();
    ofx::Status call(const char* action, ofx::EffectRecord* effect,
                     ofx::PropertySetRecord* in = nullptr, ofx::PropertySetRecord* out = nullptr);
    // The effect as a filter, its parameters at their defaults. Throws std::logic_error.
    ofx::EffectRecord describe();

    static OfxManners& manners() { return ofThisThread<OfxManners>(); }
    static std::vector<std::string>& calls() { return ofThisThread<std::vector<std::string>>(); }
    ofx::Plugin& plugin;
};
