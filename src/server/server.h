// The command server: owns TCP port 1997, serves one connection and one
// RIFA command at a time, runs the command's handler on its own thread and
// replies. Started once, as a detached thread, by supervision.
#pragma once

namespace vantel {

// Thread routine; returns only when the port cannot be set up.
void* net_cmd_daemon(void* unused);

}  // namespace vantel
