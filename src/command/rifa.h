// The RIFA command port protocol: header layout, command and reply codes,
// the request prefix and the fixed sizes. This one header defines the wire
// format for both the daemon and vantelctl. Pure data and pure functions;
// any thread.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vantel {

constexpr uint16_t kCommandPort = 1997;

// Every request and reply starts with this 16-byte header: four big-endian
// 32-bit words.
constexpr size_t kRifaHeaderSize = 16;
constexpr size_t kRifaMagicOffset = 0;
constexpr size_t kRifaSizeOffset = 4;
constexpr size_t kRifaMajorOffset = 8;
constexpr size_t kRifaMinorOffset = 12;
constexpr char kRifaMagic[4] = {'R', 'I', 'F', 'A'};

// The one payload buffer of the daemon and the reply block carved from it.
constexpr size_t kPayloadSize = 1024;
constexpr size_t kResultBlockSize = 480;

// Command codes (request major).
constexpr uint32_t RIFA_CMD_CAMERA_SETTING = 0x0b060001;
constexpr uint32_t RIFA_CMD_NET_CODEC = 0x0b060003;
constexpr uint32_t RIFA_CMD_STREAM_INFO = 0x0b060004;
constexpr uint32_t RIFA_CMD_PTZ_MOVE = 0x0b060005;
constexpr uint32_t RIFA_CMD_PTZ_STOP = 0x0b060006;
constexpr uint32_t RIFA_CMD_PTZ_PRESET = 0x0b060007;
constexpr uint32_t RIFA_CMD_PTZ_GOTOPRESET = 0x0b060008;
constexpr uint32_t RIFA_CMD_PTZ_REMOVE_PRESET = 0x0b060009;
constexpr uint32_t RIFA_CMD_REBOOT = 0x0b060020;
constexpr uint32_t RIFA_CMD_MULTIUSER = 0x0b060030;

// Reply codes (reply minor of the commands that answer with a block).
constexpr uint32_t RIFA_RPL_RESULT = 0x0b061001;
constexpr uint32_t RIFA_RPL_SETTING_OK = 0x0b061002;
constexpr uint32_t RIFA_RPL_SETTING_FAIL = 0x0b061003;
constexpr uint32_t RIFA_RPL_CODEC_FAIL = 0x0b061004;

struct RifaHeader {
  char rifa[4];
  int32_t size;
  uint32_t major;
  uint32_t minor;
};

void encode_header(const RifaHeader& header, uint8_t out[kRifaHeaderSize]);
RifaHeader decode_header(const uint8_t in[kRifaHeaderSize]);
// The magic is compared as four bytes, case and all.
bool has_rifa_magic(const RifaHeader& header);
RifaHeader make_header(int32_t size, uint32_t major, uint32_t minor);

// How the reply minor follows from the handler's result.
enum class ReplyMinor {
  kEchoMajor,        // PTZ, reboot, user mode: the major repeated
  kSettingOkFail,    // RIFA_RPL_SETTING_OK / RIFA_RPL_SETTING_FAIL
  kResultCodecFail,  // RIFA_RPL_RESULT / RIFA_RPL_CODEC_FAIL
  kAlwaysResult,     // RIFA_RPL_RESULT whatever happened
};

// One row of the command table.
struct CommandInfo {
  uint32_t major;
  const char* name;  // vantelctl's sub-command
  bool sends_block;  // reply carries the 480-byte result block
  ReplyMinor minor_rule;
};

// The ten known commands, in dispatch order.
extern const CommandInfo kCommands[10];

// Exact comparison with the ten codes; nullptr for an unknown major.
const CommandInfo* find_command(uint32_t major);

// The reply header for a request `major` whose handler returned `result`.
// Unknown commands get "RIFA", 0, 0, 0.
RifaHeader reply_header(uint32_t major, int32_t result);

// CameraRequest: the payload prefix read by the PTZ, reboot and user-mode
// commands. Text fields are NUL-padded.
constexpr size_t kReqCameraIp = 0;     // IPv4 address, network byte order
constexpr size_t kReqCameraPort = 4;   // signed 32-bit
constexpr size_t kReqUserName = 8;     // 32 bytes
constexpr size_t kReqPassword = 40;    // 32 bytes
constexpr size_t kCredentialSize = 32;
constexpr size_t kReqPtzDirection = 72;  // move: signed 32-bit
constexpr size_t kReqPtzZoom = 80;       // move: signed 32-bit
constexpr size_t kReqPresetNumber = 72;  // set, goto, remove preset
constexpr size_t kReqUserMode = 72;      // user mode

}  // namespace vantel
