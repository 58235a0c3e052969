/* libpolar: bends pictures between polar and rectangular, exactly. C99 and C++11, no other header.
 *
 * Every function may be called from any thread at any time. None keeps anything between calls,
 * prints, reads the environment or throws. Records are the caller's and are only read; zeros and
 * nulls in them are the defaults, so `polar_options options = {sizeof(polar_options)};` is a good
 * start.
 *
 * Pixels lie at whole coordinates: (0, 0) is the first pixel of the first row, (1, 0) the one right
 * of it. The centre of a picture W pixels wide and H high is (W / 2, H / 2). */
#ifndef POLAR_H
#define POLAR_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32) && defined(POLAR_SHARED)
#define POLAR_API __declspec(dllimport)
#elif defined(__GNUC__)
#define POLAR_API __attribute__((visibility("default")))
#else
#define POLAR_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* What a call answers. */
enum {
    POLAR_OK = 0,
    POLAR_CANCELLED = 1,    /* `progress` asked for it; part of the output is written */
    POLAR_NULL_POINTER = 2, /* an image, its pixels or its record is null */
    POLAR_BAD_SIZE = 3,     /* a width or height below 1, or rows beyond the address space */
    POLAR_BAD_FORMAT = 4,   /* an unknown format or kind of alpha, or two that do not fit */
    POLAR_BAD_OPTION = 5,   /* an option outside its range */
    POLAR_BAD_GEOMETRY = 6, /* a circle outside its range, or no numbers in it */
    POLAR_OVERLAP = 7,      /* what lies between an image's first and last byte is shared with the
                               other's, or rows of the output share bytes */
    POLAR_OUT_OF_MEMORY = 8
};

/* Pixel formats. Components follow each other in this order; alpha is the last of four. 16 bits and
 * floats are in native byte order. RGBA10 and RGBA12 are packed into 5 and 6 bytes, most
 * significant bits first; grey and RGB have no alpha and are opaque. */
enum {
    POLAR_RGBA8 = 1,
    POLAR_RGBA10 = 2,
    POLAR_RGBA12 = 3,
    POLAR_RGBA16 = 4,
    POLAR_RGBA_FLOAT = 5,
    POLAR_GREY8 = 16,
    POLAR_GREY16 = 17,
    POLAR_GREY_FLOAT = 18,
    POLAR_RGB8 = 19,
    POLAR_RGB16 = 20,
    POLAR_RGB_FLOAT = 21
};

/* What the fourth component says about the other three. */
enum {
    POLAR_STRAIGHT = 0,      /* colour is as if the pixel were opaque */
    POLAR_PREMULTIPLIED = 1, /* colour is multiplied by alpha */
    POLAR_OPAQUE = 2         /* nothing: it is taken to be full and written full */
};

/* A picture in memory. */
typedef struct polar_image {
    void* pixels;          /* the first pixel of the first row; of an input only read */
    int32_t width, height; /* pixels, 1 or more */
    ptrdiff_t row_bytes;   /* from a pixel to the one below it; negative where rows run upwards, any
                              value is fine; 0: rows follow each other without a gap */
    int32_t format;        /* POLAR_RGBA8 ... */
    int32_t alpha;         /* POLAR_STRAIGHT ...; of no account for grey and RGB */
} polar_image;

/* Columns x to x + width - 1 and rows y to y + height - 1. */
typedef struct polar_rect {
    int32_t x, y, width, height;
} polar_rect;

/* How the panorama lies in the round picture. Pixels count from the source rectangle's corner where
 * the round picture is the input, and from the whole result's where it is the output.
 *
 * Unwrapping to W columns and H rows, column i lies at the angle start_turns plus (clockwise) or
 * minus turns * i / W, and row j at the distance inner + (1 - inner) * j / H, in fractions of the
 * radii: at the centre where both are 0, and the rim would be row H.
 *
 * Wrapping W columns and H rows is the reverse but for one thing: the last column, W - 1, lies
 * where `turns` end, not one step before, unless the options say `cyclic`. Pixels between the end
 * and the start are transparent, and so are those inside of the first row and outside of the last
 * one. */
typedef struct polar_circle {
    double center_x, center_y; /* pixels, to 2^31 either way; fractions are fine, and so are places
                                  outside */
    double radius_x, radius_y; /* pixels, 2^-31 to 2^31: where the row after the last one lies;
                                  equal for a circle, else an ellipse */
    double inner;       /* where the first row lies, in fractions of the radii; 0 to below 1 */
    double start_turns; /* where the first column lies, clockwise from straight up; to 2^31
                           turns either way */
    double turns;       /* how far the columns reach, 1e-100 to 1; 0 means 1 */
    int32_t clockwise;  /* nonzero: the columns go clockwise, else counterclockwise */
} polar_circle;

enum { POLAR_UNWRAP = 0, POLAR_WRAP = 1 };
/* How colours are taken from the source: at a point, from the four pixels around it weighted by
 * their alpha, or from the nearest one; or from all that an output pixel covers, likewise weighted.
 * Where that is no more than a pixel, POLAR_AREA is POLAR_BILINEAR; elsewhere it takes longer and
 * leaves no steps in thin lines and no moire. */
enum { POLAR_BILINEAR = 0, POLAR_NEAREST = 1, POLAR_AREA = 2 };

/* What rows are proportional to, from the first one's to the last one's: the distance from the
 * centre, its logarithm (then polar_circle.inner is above 0), its root, or its square, which gives
 * every row the same area. */
enum { POLAR_SCALE_LINEAR = 0, POLAR_SCALE_LOG = 1, POLAR_SCALE_SQRT = 2, POLAR_SCALE_SQUARE = 3 };

typedef struct polar_options {
    size_t size; /* sizeof(polar_options), to which later versions may add; 0: members up to `user`
                    count, those after it are not looked at */
    int32_t direction; /* POLAR_UNWRAP: a round picture becomes a panorama, columns its angles and
                          rows its distances from the centre. POLAR_WRAP: the reverse */
    int32_t sampling;  /* POLAR_BILINEAR ... */
    int32_t threads;   /* at most so many work on the call, the caller's one among them; 0: one for
                          each processor. The pixels do not depend on it */
    float background[3];      /* what opaque pictures show beside their source; 1.0 is the largest
                                 integer; red, green and blue (grey: the first) */
    const polar_rect* source; /* the part of the input that is bent; may reach outside, where there
                                 is nothing to see. Null: all of it */
    const polar_rect* whole;  /* the output is a part of a whole result: x, y say where in it,
                                 width, height how large that is (0: as the source). Null: the
                                 output is the whole result */
    const polar_circle* circle; /* null: the ellipse inscribed in the round picture, its first
                                   column straight up, the others counterclockwise */
    int (*progress)(void* user, double done); /* called now and then by the thread that called, with
                                                 the fraction done, 0 to 1; nonzero cancels */
    void* user;                               /* for `progress` */

    int32_t scale;  /* POLAR_SCALE_LINEAR ... */
    int32_t cyclic; /* nonzero: wrapping, columns are a step of turns / W apart, as they are when
                       unwrapping, which makes it the exact reverse; where turns is 1, the first
                       column follows the last one. Of no account when unwrapping, nor where
                       `amount` is 0 */
    const double* amount;  /* 0 to 1: how far positions have moved, on a straight line, from each
                              pixel's own place to where they lie; 0 is the source, stretched over
                              the whole result. Null: 1 */
    int32_t ground_bottom; /* nonzero: the panorama is upside down, its last row what else is its
                              first one; rectangles count from its top all the same */
} polar_options;

/* Renders `input` into all of `output`, two images of one format and one kind of alpha that share
 * no memory; of an opaque input the output may be straight, and is transparent where it shows
 * nothing. `options` null means all defaults. On every status but POLAR_OK and POLAR_CANCELLED
 * the output is as it was.
 *
 * Memory: two doubles for each output column. Opaque RGBA, all that is opaque where sampling is
 * POLAR_AREA, and premultiplied images unless it is POLAR_NEAREST are converted: that takes a copy
 * of the source in RGBA of the same depth (of floats where colour is premultiplied), and some rows
 * of the output for each thread. */
POLAR_API int polar_render(const polar_image* input, const polar_image* output,
                           const polar_options* options);

/* What a status means, in a few English words without a full stop. Never null. */
POLAR_API const char* polar_status_text(int status);

/* Bytes of one pixel; 0 where there is no such format. */
POLAR_API size_t polar_pixel_bytes(int format);

/* "1.1.0": major, minor and patch. Valid for ever. */
POLAR_API const char* polar_version(void);

#ifdef __cplusplus
}
#endif

#endif /* POLAR_H */
