// The floating-point environment that results are defined in.
#pragma once

#include <cfenv>

namespace polar {

// While one lives, its thread rounds to nearest, traps nothing and keeps subnormal numbers; then
// the caller's environment is back, flags included. What is computed meanwhile belongs into a
// function of its own that is not inlined: the compiler takes calls that change the environment for
// any others and may move arithmetic across them.
class RoundToNearest {
  public:
    RoundToNearest() {
        std::fegetenv(&callers_);
        std::fesetenv(FE_DFL_ENV);
#if defined(_WIN32)
        set(0x1F80);
#endif
    }
    ~RoundToNearest() {
        std::fesetenv(&callers_);
#if defined(_WIN32)
        set(control_);
#endif
    }
    RoundToNearest(const RoundToNearest&) = delete;
    RoundToNearest& operator=(const RoundToNearest&) = delete;

  private:
#if defined(_WIN32)
    // There, fesetenv() may forget the registers that doubles are computed in. Like that call, this
    // one lets no memory be read before it.
    static void set(unsigned control) { asm volatile("ldmxcsr %0" ::"m"(control) : "memory"); }
    unsigned control_ = __builtin_ia32_stmxcsr();
#endif
    std::fenv_t callers_;
};

}  // namespace polar
