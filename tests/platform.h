// What tests ask of the system; a unit for each kind of it.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

// So many bytes, in whole pages, between two that nobody may touch.
struct GuardedPages {
    explicit GuardedPages(std::size_t bytes);
    std::unique_ptr<void, std::function<void(void*)>> map;
    unsigned char* begin;
    unsigned char* end;
};

bool isLoaded(const std::string& library);

// The arctangent that renders take where this program has no other.
double libraryArctangent(double y, double x);

// Lets floating-point exceptions end the process; false where this system does not. Which ones do.
bool trap(int exceptions);
int trapped();

// What a process says at its end by an exception of QzLib that nobody catches.
extern const char* const uncaught;

// Whether a process with that exit status ended by abort().
bool isAborted(int status);
