/* Unwraps a round picture: embed < planet.ppm > panorama.ppm, binary PPM of 8 bits. */
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>

#include "polar.h"

static int fail(const char* reason) {
    fprintf(stderr, "embed: %s\n", reason);
    return 1;
}

int main(void) {
    int width, height, status;
    if (scanf("P6 %d %d 255", &width, &height) != 2 || getchar() == EOF || width < 1 ||
        height < 1 || width > INT_MAX / 3 / height)
        return fail("no binary PPM of 8 bits on standard input");

    const size_t bytes = polar_pixel_bytes(POLAR_RGB8) * (size_t)width * (size_t)height;
    polar_image input = {0}, output;
    input.width = width;
    input.height = height;
    input.format = POLAR_RGB8;
    output = input;
    input.pixels = malloc(bytes);
    output.pixels = malloc(bytes);
    if (!input.pixels || !output.pixels)
        status = fail("out of memory");
    else if (fread(input.pixels, 1, bytes, stdin) != bytes)
        status = fail("the picture ends early");
    else if ((status = polar_render(&input, &output, NULL)) != POLAR_OK)
        status = fail(polar_status_text(status));
    else if (printf("P6\n%d %d\n255\n", width, height) < 0 ||
             fwrite(output.pixels, 1, bytes, stdout) != bytes || fflush(stdout) == EOF)
        status = fail("the picture cannot be written");
    free(input.pixels);
    free(output.pixels);
    return status;
}
