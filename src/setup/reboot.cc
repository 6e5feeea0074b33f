// Not built yet: answers the failure value and touches nothing.
#include "command/handlers.h"

namespace vantel {

int32_t handle_reboot(uint8_t*) { return 0; }

}  // namespace vantel
