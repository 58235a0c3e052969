#include "hosting/Instance.h"

#include <cstring>

namespace hosting {

Instance::Instance(VexHandler handler, QzLong filterIndex, unsigned char fill)
    : entryPoint(handler) {
    std::memset(static_cast<void*>(&record), fill, sizeof record);
    std::memset(static_cast<void*>(&services), fill, sizeof services);
    services.Service16 = [](VexFilterInstance*, QzULong, QzULong, QzULong, QzULong) {
        return QzLong{0};
    };
    services.AllocMem = AllocMemQz;
    services.FreeMem = FreeMemQz;
    services.AllocBitmap = AllocBitmapQz;
    record.FilterIndex = filterIndex;
    record.FilterInfo = &services;
    record.Params = nullptr;
}

void Instance::describe(QzBitmap& input, QzBitmap& output, const Rectangle& source,
                        const Rectangle& region, QzLong sampling) {
    record.InputBitmap = &input;
    record.OutputBitmap = &output;
    record.SourceRect = source;
    record.OutputRegion = region;
    record.SamplingWord = sampling;
}

}  // namespace hosting
