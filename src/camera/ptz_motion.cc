// Not built yet: answers the failure value and touches nothing.
#include "command/handlers.h"

namespace vantel {

int32_t handle_ptz_move(uint8_t*) { return -1; }
int32_t handle_ptz_stop(uint8_t*) { return -1; }

}  // namespace vantel
