#include "server/command_state.h"

namespace vantel {

uint8_t g_payload[kPayloadSize];
volatile int32_t g_busy_mark = 0;

}  // namespace vantel
