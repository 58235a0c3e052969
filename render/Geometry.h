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

// What rows are proportional to: the distance from the centre, its logarithm, root or square.
enum class RowScale { linear, log, sqrt, square };

// The place of a radius among rows, and the radius there, both in fractions of the circle's; the
// second one also beyond 0, where the roots are odd.
double scaled(RowScale scale, double radius);
double unscaled(RowScale scale, double place);

// How a panorama lies in a round picture.
struct Circle {
    Point centre;            // in pixels of the round picture
    Point radii;             // in pixels, along either axis: where the row after the last one lies
    double inner = 0;        // where the first row lies, in fractions of the radii; 0 to below 1
    double startTurns = 0;   // direction of the first column, clockwise from straight up
    double turns = 1;        // how far the columns reach; above 0, and up to 1 where wrapping
    bool clockwise = false;  // the order of the columns
    RowScale scale = RowScale::linear;  // log: `inner` is above 0
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

// How far positions have moved, on straight lines: from the places that the pixels of the result
// have in the source, were it stretched over the whole result, to where they lie.
struct Movement {
    double amount = 1;
    Point first{}, step{};  // the region's first pixel's own place, and from one pixel to the next

    bool isWhole() const { return amount == 1; }
    Point moved(Point to, QzLong column, QzLong row) const {
        const Point own{first.x + step.x * column, first.y + step.y * row};
        if (amount == 0) return own;
        return {own.x + amount * (to.x - own.x), own.y + amount * (to.y - own.y)};
    }
};

// Everything about a render but its pixels.
//
// Unwrapping: columns are turns counterclockwise from straight up, rows are scaled distances from
// the centre in fractions of the radii, and p and q, the fractions of the circle's bounding box,
// give the position (p * scaleX + originX, q * scaleY + originY). Wrapping: columns and rows are
// fractions of the bounding box, and position likewise follows from the part of a turn and of the
// scaled radius.
struct Geometry {
    Mapping mapping;
    Axis columns, rows;
    double scaleX, scaleY, originX, originY;  // pixels of the source
    RowScale scale;
    Turn turn;      // wrapping only
    bool isCyclic;  // wrapping: the first column follows the last one, at originX + scaleX
    Movement movement;
    Rect bounds;  // the source's pixels that count; others are not read
    Rect region;  // the pixels to write, in those of the output

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
    bool isCyclic = false;  // wrapping: columns are as far apart as when unwrapping
    double amount = 1;      // of the movement
    Size whole = {1, 1};    // the whole result; for that alone, as the following
    // Rows of the source (wrapping) or of the result count from the last one; pixels begin upright.
    bool isUpsideDown = false;
};

// In round to nearest, whatever the calling thread has.
Geometry around(const Request& request);

// The ellipse inscribed in `source`, and a whole result as large as the source and at its place:
// `region`, in pixels of both, is a part of it or of its surroundings. Accepts any rectangles.
Geometry fromRectangles(Mapping mapping, const Rect& source, const Rect& region);

}  // namespace polar
