// Not built yet: answers the failure value and touches nothing.
#include "command/handlers.h"

namespace vantel {

int32_t handle_net_codec_list(uint8_t*) { return 0; }
int32_t handle_net_codec_explicit(uint8_t*) { return 0; }

}  // namespace vantel
