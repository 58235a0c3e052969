#include "adapters/frei0r/Effect.h"
#include "library/polar.h"

const adapters::Effect adapters::effect{
    "Rectangular to Polar",
    "Rolls a picture up: its columns become angles, its rows distances from the centre",
    POLAR_WRAP};
