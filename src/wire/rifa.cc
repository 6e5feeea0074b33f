// The RIFA header codec and the ten commands as the wire knows them.
#include "wire/rifa.h"

#include <cstring>

#include "wire/byte_order.h"

namespace vantel {

void encode_header(const RifaHeader& header, uint8_t out[kRifaHeaderSize]) {
  std::memcpy(out + kRifaMagicOffset, header.rifa, sizeof header.rifa);
  put_be32s(out + kRifaSizeOffset, header.size);
  put_be32(out + kRifaMajorOffset, header.major);
  put_be32(out + kRifaMinorOffset, header.minor);
}

RifaHeader decode_header(const uint8_t in[kRifaHeaderSize]) {
  RifaHeader header;
  std::memcpy(header.rifa, in + kRifaMagicOffset, sizeof header.rifa);
  header.size = get_be32s(in + kRifaSizeOffset);
  header.major = get_be32(in + kRifaMajorOffset);
  header.minor = get_be32(in + kRifaMinorOffset);
  return header;
}

bool has_rifa_magic(const RifaHeader& header) {
  return std::memcmp(header.rifa, kRifaMagic, sizeof kRifaMagic) == 0;
}

RifaHeader make_header(int32_t size, uint32_t major, uint32_t minor) {
  RifaHeader header;
  std::memcpy(header.rifa, kRifaMagic, sizeof kRifaMagic);
  header.size = size;
  header.major = major;
  header.minor = minor;
  return header;
}

#define COMMAND(code, name, block) {code, #code, name, block}
const CommandInfo kCommands[kCommandCount] = {
    COMMAND(RIFA_CMD_CAMERA_SETTING, "camera-setting", true),
    COMMAND(RIFA_CMD_NET_CODEC, "net-codec", true),
    COMMAND(RIFA_CMD_STREAM_INFO, "stream-info", true),
    COMMAND(RIFA_CMD_PTZ_MOVE, "ptz-move", false),
    COMMAND(RIFA_CMD_PTZ_STOP, "ptz-stop", false),
    COMMAND(RIFA_CMD_PTZ_PRESET, "ptz-preset", false),
    COMMAND(RIFA_CMD_PTZ_GOTOPRESET, "ptz-goto", false),
    COMMAND(RIFA_CMD_PTZ_REMOVE_PRESET, "ptz-remove", false),
    COMMAND(RIFA_CMD_REBOOT, "reboot", false),
    COMMAND(RIFA_CMD_MULTIUSER, "multiuser", false),
};
#undef COMMAND

const CommandInfo* find_command(uint32_t major) {
  for (const CommandInfo& command : kCommands) {
    if (command.major == major) return &command;
  }
  return nullptr;
}

}  // namespace vantel
