// The records through which the host drives a filter. C++11 and later.
//
// The host defines these layouts for 32-bit platforms. On 64-bit platforms every pointer slot is a
// native pointer, the gaps between named fields keep their byte counts and the compiler aligns.
#pragma once

#include <cstddef>

#include "pixels/QzBitmap.h"

struct Parameters;
struct VexFilterInstance;
class VexFilterEngine;

// A dispatcher of the plug-in. Returns 1 for success and for a selector it does not know, else 0.
using VexHandler = QzLong (*)(VexFilterInstance* instance, QzULong selector);

// The host's services. The host owns the table, which outlives its instances.
struct FilterInfo {
    unsigned char reserved0[64];
    // Tells the host something about an instance, by code; setup calls it with 12, 0, 0, 0.
    QzLong (*Service16)(VexFilterInstance* instance, QzULong code, QzULong, QzULong, QzULong);
    unsigned char reserved68[152];
    // The functions of QzLib as the host imports them; a plug-in proves with them that it imports
    // the same ones.
    void* (*AllocMem)(QzULong size, QzULong flags);
    unsigned char reserved224[4];
    void (*FreeMem)(void* block);
    QzBitmap* (*AllocBitmap)(QzLong width, QzLong height, QzBitmapType type, char* name);
};

// One filter instance. The host owns the record and calls its handlers from one thread at a time.
// The plug-in leaves every reserved byte as it is, and does not clear pointers that it releases.
struct VexFilterInstance {
    unsigned char reserved0[4];
    QzLong InfoWord4;      // set to 2 by the info request
    const char* Name;      // display name; text of the plug-in, valid while it is loaded
    const char* Category;  // menu of the host; as above
    QzLong InfoWord16;     // set to 2 by the info request
    QzLong InfoWord20;     // set to 0 by the info request
    unsigned char reserved24[4];
    QzLong FilterIndex;  // by the host: 0 "Polar to Rectangular...", else "Rectangular to Polar..."
    unsigned char reserved32[4];
    QzLong InitWord36;  // set to 1 before the info request is served
    QzLong InitWord40;  // set to 2 before the info request is served
    unsigned char reserved44[28];
    double SetupValue72;  // set to 1.0 by setup
    unsigned char reserved80[8];
    Parameters* Params;  // the plug-in's, from setup to cleanup
    QzLong InfoId92;     // 30070 or 30072 by FilterIndex, from the info request
    QzLong InfoId96;     // 30004, from the info request
    unsigned char reserved100[12];
    VexHandler InitHandler;     // by setup: init selectors 1 to 3
    VexHandler ExecuteHandler;  // by setup: execute selectors 10 to 14
    unsigned char reserved120[4];
    struct FilterInfo* FilterInfo;  // by the host
    unsigned char reserved128[8];
    QzBitmap* InputBitmap;   // by the host: sampled, never written
    QzBitmap* OutputBitmap;  // by the host: its bitmapType is the format of both bitmaps
    unsigned char reserved144[4];
    QzRectT<QzLong> SourceRect;    // by the host, in pixels of the input bitmap
    QzRectT<QzLong> OutputRegion;  // by the host, in pixels of the output bitmap: what to render
    unsigned char reserved180[16];
    QzLong SamplingWord;  // by the host: 1 nearest pixel, every other value bilinear
    unsigned char reserved200[144];
    QzULong QuerySelector;  // by the host: 1 to 5, for execute selector 14
    QzLong* QueryResult;    // by the host: where query 5 stores its answer
    unsigned char reserved352[16];
    VexFilterEngine*
        Engine;  // the plug-in's, from prepare to finished; null after a failed prepare
};

namespace vex_layout {

// Whether a field lies where it must with 32-bit and with 64-bit pointers, in bytes.
constexpr bool liesAt(std::size_t offset, std::size_t with32, std::size_t with64) {
    return offset == (sizeof(void*) == 4 ? with32 : with64);
}

static_assert(sizeof(void*) == 4 || sizeof(void*) == 8, "32- and 64-bit platforms only");

static_assert(liesAt(offsetof(FilterInfo, Service16), 64, 64), "host interface");
static_assert(liesAt(offsetof(FilterInfo, AllocMem), 220, 224), "host interface");
static_assert(liesAt(offsetof(FilterInfo, FreeMem), 228, 240), "host interface");
static_assert(liesAt(offsetof(FilterInfo, AllocBitmap), 232, 248), "host interface");

static_assert(liesAt(offsetof(VexFilterInstance, InfoWord4), 4, 4), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, Name), 8, 8), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, Category), 12, 16), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, InfoWord16), 16, 24), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, InfoWord20), 20, 28), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, FilterIndex), 28, 36), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, InitWord36), 36, 44), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, InitWord40), 40, 48), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, SetupValue72), 72, 80), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, Params), 88, 96), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, InfoId92), 92, 104), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, InfoId96), 96, 108), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, InitHandler), 112, 128), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, ExecuteHandler), 116, 136), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, FilterInfo), 124, 152), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, InputBitmap), 136, 168), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, OutputBitmap), 140, 176), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, SourceRect), 148, 188), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, OutputRegion), 164, 204), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, SamplingWord), 196, 236), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, QuerySelector), 344, 384), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, QueryResult), 348, 392), "host interface");
static_assert(liesAt(offsetof(VexFilterInstance, Engine), 368, 416), "host interface");

}  // namespace vex_layout
