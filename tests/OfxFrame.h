// A frame as an OpenFX host gives it to an effect, and what must come out.
#pragma once

#include <span>

#include "tests/OfxHost.h"
#include "tests/TestImage.h"

struct OfxFrame {
    struct Shape {
        int format, alpha;  // as in polar.h; of any other alpha the host says nothing
        // The picture, the parts of it that the images hold, and what is to be rendered.
        ofx::RectI region, inside, outside, window;
        std::ptrdiff_t padding = 0;
        bool isNegative =
            false;  // the distance of the input's rows; the output's has the other sign
    };

    OfxFrame(ofx::EffectRecord effect, const Shape& shape);

    ofx::Status render(OfxHost& host) {
        return host.call(ofx::action::render, &instance, &arguments);
    }
    // Requires what the library gives with these options, from and to rows that run down; nothing
    // where the picture or the window ends; and the memory beside the window as it was. Without
    // options, the last alone.
    void requireResult(const polar_options* options, bool isGroundBottom = false) const;

    Shape shape;
    TestImage input, output;  // their first row is the lowest one
    ofx::EffectRecord instance;
    ofx::PropertySetRecord arguments;
};

// Lives through a life of an effect: actions in any order, any frames, a host without manners.
// Throws std::logic_error where a status is none, an image is not given back, or memory is not what
// it must be.
void anyOfxLife(std::span<const unsigned char> bytes, ofx::Plugin& effect, int direction);
