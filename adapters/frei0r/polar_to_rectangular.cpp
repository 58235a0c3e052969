#include "adapters/frei0r/Effect.h"
#include "library/polar.h"

const adapters::Effect adapters::effect{
    "Polar to Rectangular",
    "Unrolls a round picture: columns become its angles, rows its distances from the centre",
    POLAR_UNWRAP};
