// Calls of libpolar, made of arbitrary bytes.
#pragma once

#include <span>

// Renders between images in memory that no access may leave, with any options. What is refused must
// leave the output alone, and pixels must not depend on how the output's rows lie. Throws
// std::logic_error otherwise. Any number of threads may do so at once.
void anyCall(std::span<const unsigned char> bytes);
