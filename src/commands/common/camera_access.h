// The camera a command names, read from the payload: address, port, user
// and password. Command server thread, at the start of each handler.
#pragma once

#include <cstdint>

#include "camera/services/onvif_session.h"

namespace vantel {

// From the CameraRequest prefix (PTZ, reboot, user mode).
CameraAccess camera_from_request(const uint8_t* payload);
// From offsets 84..159 of the result block (query, codec change, registration).
CameraAccess camera_from_block(const uint8_t* payload);

}  // namespace vantel
