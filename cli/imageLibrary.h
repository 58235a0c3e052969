// Small functions over the picture library.
#pragma once

#include <OpenImageIO/typedesc.h>

#include <initializer_list>
#include <string>
#include <string_view>

#include "cli/conversion.h"

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names);

// As many zero samples as asked for, of the kind that holds the values of `type`.
Samples makeSamples(const OIIO::TypeDesc& type, std::size_t count);

// The type of `samples`, and the first of them.
OIIO::TypeDesc typeOf(const Samples& samples);
void* dataOf(Samples& samples);

// From here on the PNG library's own lines on standard error are dropped: its errors reach the
// caller anyhow. To be called once, before the first thread starts.
void silencePngLibrary();

// How many threads the library uses for one picture, 1 or more. To be called before the first one.
void setLibraryThreads(unsigned threads);

// A message of the picture library on one line, which is not empty.
std::string oneLine(std::string message);
