// Limits for recorders on untrusted networks (the VANTEL_HARDENED build).
// The default build keeps the camera conversation without any limit; this
// build bounds what one camera can cost: time per connect, send and receive,
// the size of an answer and of each string in it, no compressed answers, and
// no service address that points back at the daemon's own command port.
// Every limit prints one line when it acts; the call then fails and the
// command takes its ordinary failure path.
#pragma once

#include "config.h"
#include "stdsoap2.h"

namespace vantel {

constexpr int kConnectLimitS = 5;
constexpr int kSendLimitS = 10;
constexpr int kReceiveLimitS = 10;
constexpr long kAnswerSizeLimit = 1 << 20;
constexpr long kStringLengthLimit = 4096;

// Applies the limits to a freshly initialised context (working copies made
// from it inherit them). Does nothing in the default build.
void harden_context(struct soap* soap);

// True when host:port names the daemon's own command port on an address of
// this machine (loopback, any, or one of its interfaces).
bool is_own_command_port(const char* host, int port);

}  // namespace vantel
