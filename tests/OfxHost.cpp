#include "tests/OfxHost.h"

#include <cstdarg>
#include <stdexcept>
#include <thread>

namespace {

using namespace ofx;

// Throws what no plug-in may let through; also where the interface allows no such call.
void note(const std::string& call, bool isAllowed = true) {
    OfxHost::calls().push_back(call);
    if (!isAllowed) throw std::logic_error("not now: " + call);
    if (--OfxHost::manners().callsLeft < 0) throw std::runtime_error("a host's own failure");
}

template <class Record, class Key>
auto* find(Record& record, const Key& name) {
    const auto found = record.find(name);
    return found != record.end() ? &found->second : nullptr;
}

template <class Kept, class Given>
Status set(PropertySet set, const char* name, int index, Given value) {
    note(std::string("set ") + name);
    auto& values = set->values[name];
    const bool isOther = !values.empty() && !std::holds_alternative<Kept>(values[0]);
    if (isOther || OfxHost::manners().missing.contains(name)) return statusErrUnknown;
    values.resize(std::max(values.size(), std::size_t(index) + 1), Kept());
    values[std::size_t(index)] = Kept(value);
    return statusOk;
}

template <class Kept, class Asked>
Status get(PropertySet set, const char* name, int index, Asked* value) {
    note(std::string("get ") + name);
    auto* const values = find(set->values, name);
    if (values == nullptr || OfxHost::manners().missing.contains(name)) return statusErrUnknown;
    if (std::size_t(index) >= values->size()) return statusErrBadIndex;
    auto* const kept = std::get_if<Kept>(&(*values)[std::size_t(index)]);
    if (kept == nullptr) return statusErrUnknown;
    if constexpr (std::is_same_v<Kept, std::string>)
        *value = kept->data();
    else
        *value = *kept;
    return statusOk;
}

Status defineClip(Effect effect, const char* name, PropertySet* set) {
    note(std::string("define ") + name, effect->action == action::describeInContext);
    *set = &effect->clips[name].properties;
    return statusOk;
}

Status getClip(Effect effect, const char* name, Clip* clip, PropertySet* set) {
    note(std::string("clip ") + name, effect->action.find("Describe") == std::string::npos);
    *clip = find(effect->clips, name);
    if (*clip == nullptr) return statusErrBadHandle;
    *set = &(*clip)->properties;
    return statusOk;
}

Status getImage(Clip clip, double, const RectD* region, PropertySet* image) {
    note("image", region == nullptr);
    if (!clip->hasImage) return statusFailed;
    ++clip->held;
    *image = new PropertySetRecord(clip->image);
    (*image)->values["test.clip"] = {static_cast<void*>(clip)};
    return statusOk;
}

Status releaseImage(PropertySet image) {
    --static_cast<Clip>(image->at<void*>("test.clip"))->held;
    delete image;
    return statusOk;
}

Status defineParameter(ParameterSet set, const char* type, const char* name, PropertySet* made) {
    const bool isChoice = type == std::string("OfxParamTypeChoice"), isNew = !find(set->all, name);
    note(std::string("define ") + name, isChoice || type == std::string("OfxParamTypeDouble"));
    auto& values = (*made = &set->all[name].properties)->values;
    for (const char* const limit : {"Default", "Min", "Max", "DisplayMin", "DisplayMax"})
        values[std::string("OfxParamProp") + limit] = {0.0};
    if (isChoice) values["OfxParamPropDefault"] = {0};
    return isNew ? statusOk : statusErrExists;
}

Status getParameter(ParameterSet set, const char* name, Parameter* parameter, PropertySet*) {
    note(std::string("parameter ") + name);
    *parameter = find(set->all, name);
    return *parameter != nullptr ? statusOk : statusErrUnknown;
}

Status getValueAtTime(Parameter parameter, double time, ...) {
    note("value");
    if (!OfxHost::manners().tellsValues) return statusOk;
    va_list values;
    va_start(values, time);
    if (const int* const place = std::get_if<int>(&parameter->value))
        *va_arg(values, int*) = *place;
    else
        *va_arg(values, double*) = std::get<double>(parameter->value);
    va_end(values);
    return statusOk;
}

Status multiThread(void (*work)(unsigned, unsigned, void*), unsigned count, void* argument) {
    note("threads");
    const auto manner = OfxHost::manners().threads;
    if (manner == OfxManners::nested) return statusErrExists;
    if (manner == OfxManners::inTurn)
        for (unsigned i = 0; i < 2 * count; ++i) work(0, 1, argument);
    std::vector<std::jthread> threads;
    for (unsigned i = 0; i < count + 2 && manner == OfxManners::real; ++i)  // more than asked for
        threads.emplace_back(work, i, count, argument);
    return statusOk;
}

// Hands something out.
template <auto member, class Record, class Value>
Status give(Record* record, Value* value) {
    *value = &(record->*member);
    return statusOk;
}

const PropertySuite properties{{},
                               set<std::string, const char*>,
                               set<double, double>,
                               set<int, int>,
                               {},
                               get<void*, void*>,
                               get<std::string, char*>,
                               get<double, double>,
                               get<int, int>,
                               {},
                               {},
                               {}};
const EffectSuite effects{
    give<&EffectRecord::properties>,
    give<&EffectRecord::parameters>,
    defineClip,
    getClip,
    {},
    getImage,
    releaseImage,
    [](Clip clip, double, RectD* region) { return *region = clip->region, Status(statusOk); },
    [](Effect effect) { return int(--effect->pollsLeft < 0); },
    {}};
const ParameterSuite parameters{defineParameter, getParameter, {}, {}, getValueAtTime, {}};
const MultiThreadSuite threads{
    multiThread,
    [](unsigned* count) { return *count = OfxHost::manners().processors, Status(statusOk); },
    {}};

const void* fetchSuite(PropertySet, const char* name, int version) {
    static constexpr Slot empty[18] = {};
    static const std::map<std::string, const void*> suites{{suite::property, &properties},
                                                           {suite::effect, &effects},
                                                           {suite::parameter, &parameters},
                                                           {suite::multiThread, &threads}};
    const auto* const suite = find(suites, name);
    if (version != 1 || suite == nullptr || OfxHost::manners().missing.contains(name))
        return nullptr;
    return OfxHost::manners().hasEmptySuites ? empty : *suite;
}

Host host{nullptr, fetchSuite};

}  // namespace

Status OfxHost::load() {
    plugin.setHost(&host);
    return plugin.mainEntry(action::load, nullptr, nullptr, nullptr);
}

Status OfxHost::call(const char* action, EffectRecord* effect, PropertySetRecord* in,
                     PropertySetRecord* out) {
    if (effect != nullptr && action != nullptr) effect->action = action;
    return plugin.mainEntry(action, effect, in, out);
}

EffectRecord OfxHost::describe() {
    EffectRecord effect;
    for (const char* const action : {action::describe, action::describeInContext})
        if (call(action, &effect) != statusOk) throw std::logic_error(action);
    for (auto& [name, parameter] : effect.parameters.all) {
        const auto& standard = parameter.properties.values["OfxParamPropDefault"].at(0);
        if (const int* const place = std::get_if<int>(&standard))
            parameter.value = *place;
        else
            parameter.value = std::get<double>(standard);
    }
    return effect;
}
