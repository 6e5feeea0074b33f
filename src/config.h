// What this build was configured with (the CMake options), as constants
// that any layer may test with an ordinary `if`, so that both branches are
// always compiled. Pure data, any thread.
#pragma once

namespace vantel {

// -DVANTEL_HARDENED=ON: limits for recorders on untrusted networks.
#ifdef VANTEL_HARDENED
constexpr bool kHardened = true;
#else
constexpr bool kHardened = false;
#endif

}  // namespace vantel
