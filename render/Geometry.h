// Where the pixels of a result lie in its source, for both directions. No pixel is touched here.
#pragma once

#include "pixels/QzBitmap.h"

namespace polar {

// Unwrapping makes a panorama of a round picture: a column is an angle, a row a distance from the
// centre. Wrapping is the reverse.
enum class Mapping { unwrap, wrap };

using Rect = QzRectT<QzLong>;

struct Size {
    QzLong width, height;
};

// In pixels; whole numbers fall on pixels.
struct Point {
    double x, y;
};

// How a panorama lies in a round picture.
struct Circle {
    Point centre;            // in pixels of the round picture
    Point radii;             // in pixels, along either axis: where the row after the last one lies
    double inner = 0;        // where the first row lies, in fractions of the radii; 0 to below 1
    double startTurns = 0;   // direction of the first column, clockwise from straight up
    double turns = 1;        // how far the columns reach; above 0, and up to 1 where wrapping
    bool clockwise = false;  // the order of the columns
};

// The ellipse that touches the edges of a picture, one turn counterclockwise from straight up.
inline Circle inscribed(Size picture) {
    const Point half{picture.width * 0.5, picture.height * 0.5};
    return {half, half};
}

// A value for every column or row: the first one's, advanced by repeated addition. Multiplying the
// step would round differently.
struct Axis {
    double first, step;

    double at(QzLong index) const {
        double value = first;
        for (QzLong i = 0; i < index; ++i) value += step;
        return value;
    }
};

// How the angle of a wrapped pixel, `turns` counterclockwise from straight up and 0 to 1, becomes
// the part of a turn that its column is from the first one: the cut, where columns end and begin
// again, lies in the middle of the gap between them.
struct Turn {
    double sign = 1, offset = 0;
    double low = 0, high = 1;

    bool isWhole() const { return sign == 1 && offset == 0 && low == 0 && high == 1; }
    double relative(double turns) const {
        const double turned = turns * sign + offset;
        return turned < low ? turned + 1.0 : turned > high ? turned - 1.0 : turned;
    }
};

// Everything about a render but its pixels.
//
// Unwrapping: columns are turns counterclockwise from straight up, rows are distances from the
// centre in fractions of the radii, and p and q, the fractions of the circle's bounding box, give
// the position (p * scaleX + originX, q * scaleY + originY). Wrapping: columns and rows are
// fractions of the bounding box, and position likewise follows from the part of a turn and of the
// radius.
struct Geometry {
    Mapping mapping;
    Axis columns, rows;
    double scaleX, scaleY, originX, originY;  // pixels of the source
    Turn turn;                                // wrapping only
    Rect bounds;                              // the source's pixels that count; others are not read
    Rect region;                              // the pixels to write, in those of the output

    bool isEmpty() const { return region.width <= 0 || region.height <= 0; }
};

// What is to be rendered of a picture in which a circle lies.
struct Request {
    Mapping mapping;
    Circle circle;  // counts from the corner of `source` (unwrapping) or of the whole result
    Rect source;    // the picture to bend, in pixels of the input
    Rect bounds;    // those of its pixels that are there
    Size panorama;  // the whole result (unwrapping) or the source (wrapping)
    QzLong x, y;    // where the region's first pixel lies in the whole result
    Rect region;    // in pixels of the output
};

// In round to nearest, whatever the calling thread has.
Geometry around(const Request& request);

// The ellipse inscribed in `source`, and a whole result as large as the source and at its place:
// `region`, in pixels of both, is a part of it or of its surroundings. Accepts any rectangles.
Geometry fromRectangles(Mapping mapping, const Rect& source, const Rect& region);

}  // namespace polar
