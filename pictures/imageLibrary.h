// Small functions over the picture library.
#pragma once

#include <OpenImageIO/typedesc.h>

#include <initializer_list>
#include <string>
#include <string_view>

#include "pictures/conversion.h"

namespace pictures {

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names);

// `count` zero samples of the kind that holds the values of `type`.
Samples makeSamples(const OIIO::TypeDesc& type, std::size_t count);

// The type of `samples`, and the address of the first.
OIIO::TypeDesc typeOf(const Samples& samples);
void* dataOf(Samples& samples);

// Drops the lines that libpng prints on standard error about damaged files: its errors reach the
// caller too. To be called once, before the first thread starts.
void silencePngLibrary();

// How many threads OpenEXR works on, 1 or more; those set for a single file have no effect on it.
// To be called before the first picture.
void setExrThreads(unsigned threads);

// A message of the picture library on one line, never empty.
std::string oneLine(std::string message);

}  // namespace pictures
