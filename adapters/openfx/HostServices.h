// What the host offers, as values and objects.
#pragma once

#include <optional>
#include <string_view>

#include "adapters/openfx/ofx.h"
#include "library/bands.h"

namespace ofx {

// Thrown by what cannot go on; the status is the action's answer.
struct Failure {
    Status status;
};

// The host's functions; the first three are there and whole, the last is null unless it is real.
struct Suites {
    const PropertySuite* properties;
    const EffectSuite* effects;
    const ParameterSuite* parameters;
    const MultiThreadSuite* threads;
};

// Remembers the host, and asks it for its suites. Both may happen again and again and on several
// threads at once. False where the host lacks a suite that is needed.
void setHost(Host* host);
bool fetchSuites();
// What was fetched. Throws Failure where nothing was.
Suites suites();

// A set of properties, some of which may be missing.
class Properties {
  public:
    Properties(const Suites& suites, PropertySet set) : suite_(suites.properties), set_(set) {}

    std::optional<int> integer(const char* name, int index = 0) const {
        return get(suite_->getInt, name, index);
    }
    std::optional<double> number(const char* name) const { return get(suite_->getDouble, name, 0); }
    void* pointer(const char* name) const {
        return get(suite_->getPointer, name, 0).value_or(nullptr);
    }
    // Empty where it is missing. The text is the host's.
    std::string_view text(const char* name) const {
        const char* const text = get(suite_->getString, name, 0).value_or(nullptr);
        return text != nullptr ? text : std::string_view();
    }
    std::optional<RectI> rectangle(const char* name) const {
        int sides[4];
        for (int i = 0; i < 4; ++i) {
            const auto side = integer(name, i);
            if (!side) return std::nullopt;
            sides[i] = *side;
        }
        return RectI{sides[0], sides[1], sides[2], sides[3]};
    }

    // Hosts know only the properties of their time: no answer counts.
    void set(const char* name, const char* value, int index = 0) const {
        if (set_ != nullptr) suite_->setString(set_, name, index, value);
    }
    void set(const char* name, double value, int index = 0) const {
        if (set_ != nullptr) suite_->setDouble(set_, name, index, value);
    }
    void set(const char* name, int value, int index = 0) const {
        if (set_ != nullptr) suite_->setInt(set_, name, index, value);
    }

  private:
    template <class Value>
    std::optional<Value> get(Status (*getter)(PropertySet, const char*, int, Value*),
                             const char* name, int index) const {
        Value value{};
        if (set_ == nullptr || getter(set_, name, index, &value) != statusOk) return std::nullopt;
        return value;
    }

    const PropertySuite* suite_;
    PropertySet set_;
};

// A clip's image at a time, for as long as the object lives. There may be none.
class ClipImage {
  public:
    ClipImage(const Suites& suites, Effect instance, const char* clip, double time);
    ~ClipImage();
    ClipImage(const ClipImage&) = delete;
    ClipImage& operator=(const ClipImage&) = delete;

    explicit operator bool() const { return image_ != nullptr; }
    const Properties& properties() const { return properties_; }
    // Of the image, and where that lacks it of the clip.
    std::string_view text(const char* name) const;
    std::optional<double> number(const char* name) const;

  private:
    const Suites& suites_;
    PropertySet clip_ = nullptr, image_ = nullptr;
    Properties properties_;
};

// The host's threads, or the caller's alone.
class HostThreads : public polar::Threads {
  public:
    explicit HostThreads(const MultiThreadSuite* suite) : suite_(suite) {}
    unsigned most() const override;
    void run(unsigned count, void (*work)(void* task, unsigned thread), void* task) const override;

  private:
    const MultiThreadSuite* suite_;
};

}  // namespace ofx
