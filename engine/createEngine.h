// The choice of engine by pixel format.
#pragma once

#include "engine/VexFilterEngine.h"
#include "host/Parameters.h"

// A `Polar` engine for bitmaps of format `code`; null where there is no such format or memory is
// out. The caller deletes it. `params` stays the instance's and must outlive the engine.
VexFilterEngine* createEngine(unsigned code, Parameters* params);
