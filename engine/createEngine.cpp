#include "engine/createEngine.h"

#include "engine/Polar.h"
#include "pixels/QzBuffer.h"

VexFilterEngine* createEngine(unsigned code, Parameters* params) {
    VexFilterEngine* engine = nullptr;
    visitFormat(
        code, [&]<class Buffer>() { engine = new Polar<Buffer, typename Buffer::Pixel>(params); });
    return engine;
}
