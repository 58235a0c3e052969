// A support library for tests: keeps a log, fails and throws on demand.
#pragma once

#include <bitset>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/QzLib.h"

struct QZLIB_API TestQzLib {
    struct Call {
        std::string function;
        const void* block;  // handed out or given back
        QzULong size = 0;   // bytes asked for
        QzULong flags = 0;

        bool operator==(const Call&) const = default;
    };
    // Numbered from 0 in the order they come, requests and returns together.
    std::vector<Call> calls;
    std::bitset<64> failing;
    std::size_t throwing = SIZE_MAX;
    std::map<const void*, std::unique_ptr<unsigned char[]>> held;  // blocks not given back

    // Each thread has its own.
    static TestQzLib& instance();
    // Returns whether the call is to succeed, or throws a std::runtime_error with its function.
    bool log(Call call);
};
