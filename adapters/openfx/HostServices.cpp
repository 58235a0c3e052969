#include "adapters/openfx/HostServices.h"

#include <algorithm>
#include <atomic>

namespace ofx {

namespace {

// All effects of this binary have the same host. Each of these holds the same value whenever it is
// stored again.
std::atomic<const Host*> theHost;
std::atomic<const PropertySuite*> theProperties;
std::atomic<const EffectSuite*> theEffects;
std::atomic<const ParameterSuite*> theParameters;
std::atomic<const MultiThreadSuite*> theThreads;

template <class Suite>
const Suite* fetch(const Host& host, const char* name) {
    return static_cast<const Suite*>(host.fetchSuite(host.description, name, 1));
}

template <class... Functions>
bool areAllThere(Functions... functions) {
    return (... && (functions != nullptr));
}

}  // namespace

void setHost(Host* host) { theHost = host; }

bool fetchSuites() {
    const Host* const host = theHost;
    if (host == nullptr || host->fetchSuite == nullptr) return false;
    const auto* const p = fetch<PropertySuite>(*host, suite::property);
    const auto* const e = fetch<EffectSuite>(*host, suite::effect);
    const auto* const a = fetch<ParameterSuite>(*host, suite::parameter);
    const auto* const t = fetch<MultiThreadSuite>(*host, suite::multiThread);
    if (p == nullptr || e == nullptr || a == nullptr ||
        !areAllThere(p->setString, p->setDouble, p->setInt, p->getPointer, p->getString,
                     p->getDouble, p->getInt) ||
        !areAllThere(e->getPropertySet, e->getParameterSet, e->defineClip, e->getClip, e->getImage,
                     e->releaseImage) ||
        !areAllThere(a->define, a->getParameter, a->getValueAtTime))
        return false;
    const bool hasThreads = t != nullptr && areAllThere(t->multiThread, t->processors);
    theThreads = hasThreads ? t : nullptr;
    theParameters = a;
    theEffects = e;
    theProperties = p;
    return true;
}

Suites suites() {
    const Suites all{theProperties, theEffects, theParameters, theThreads};
    if (all.properties == nullptr) throw Failure{statusFailed};
    return all;
}

ClipImage::ClipImage(const Suites& suites, Effect instance, const char* clip, double time)
    : suites_(suites), properties_(suites, nullptr) {
    Clip handle = nullptr;
    if (suites.effects->getClip(instance, clip, &handle, &clip_) != statusOk || handle == nullptr)
        return;
    if (suites.effects->getImage(handle, time, nullptr, &image_) != statusOk) image_ = nullptr;
    properties_ = Properties(suites, image_);
}

ClipImage::~ClipImage() {
    if (image_ != nullptr) suites_.effects->releaseImage(image_);
}

std::string_view ClipImage::text(const char* name) const {
    const std::string_view own = properties_.text(name);
    return own.empty() ? Properties(suites_, clip_).text(name) : own;
}

std::optional<double> ClipImage::number(const char* name) const {
    const auto own = properties_.number(name);
    return own ? own : Properties(suites_, clip_).number(name);
}

unsigned HostThreads::most() const {
    unsigned count = 1;
    if (suite_ == nullptr || suite_->processors(&count) != statusOk) return 1;
    return std::clamp(count, 1U, 1024U);
}

void HostThreads::run(unsigned count, void (*work)(void* task, unsigned thread), void* task) const {
    // Hosts' own numbers of threads are not to be relied on.
    struct Shared {
        void (*work)(void* task, unsigned thread);
        void* task;
        unsigned count;
        std::atomic<unsigned> next = 0;
    } shared{work, task, count};
    const auto onHostThread = [](unsigned, unsigned, void* argument) {
        auto& all = *static_cast<Shared*>(argument);
        const unsigned thread = all.next++;
        if (thread < all.count) all.work(all.task, thread);
    };
    if (count > 1 && suite_ != nullptr) suite_->multiThread(onHostThread, count, &shared);
    work(task, 0);  // what the host has left, be it all
}

}  // namespace ofx
