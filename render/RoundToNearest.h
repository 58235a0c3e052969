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
    }
    ~RoundToNearest() { std::fesetenv(&callers_); }
    RoundToNearest(const RoundToNearest&) = delete;
    RoundToNearest& operator=(const RoundToNearest&) = delete;

  private:
    std::fenv_t callers_;
};

}  // namespace polar
