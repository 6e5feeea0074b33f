// The RIFA command port protocol: header layout, command and reply codes,
// the ten commands' names and the fixed sizes. Defines the wire format for the
// daemon and vantelctl alike; pure data and pure functions, any thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "wire/layout.h"

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
namespace header_check {
constexpr WireField kFields[] = {
    {kRifaMagicOffset, 4}, {kRifaSizeOffset, 4}, {kRifaMajorOffset, 4}, {kRifaMinorOffset, 4}};
static_assert(fields_fit(kFields, kRifaHeaderSize) && fields_disjoint(kFields),
              "the header is four 32-bit words");
}  // namespace header_check

// The one payload buffer of the daemon and the reply block carved from it.
constexpr size_t kPayloadSize = 1024;
constexpr size_t kResultBlockSize = 480;
static_assert(kResultBlockSize <= kPayloadSize, "the reply block is carved from the payload buffer");

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

// One command as the wire knows it.
struct CommandInfo {
  uint32_t major;
  const char* code;  // the constant's name, "RIFA_CMD_..."
  const char* name;  // vantelctl's sub-command
  bool sends_block;  // request and reply carry the 480-byte result block
};

constexpr size_t kCommandCount = 10;
// The ten commands, in the order vantelctl lists them.
extern const CommandInfo kCommands[kCommandCount];

// Exact comparison with the ten codes; nullptr for an unknown major.
const CommandInfo* find_command(uint32_t major);

}  // namespace vantel
