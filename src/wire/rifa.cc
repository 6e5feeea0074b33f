// The RIFA header codec and the wire columns of the command table.
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

#define VANTEL_WIRE_COLUMNS(major, name, block, rule, ...) {major, name, block, ReplyMinor::rule},
const CommandInfo kCommands[kCommandCount] = {VANTEL_COMMAND_TABLE(VANTEL_WIRE_COLUMNS)};
#undef VANTEL_WIRE_COLUMNS

const CommandInfo* find_command(uint32_t major) {
  for (const CommandInfo& command : kCommands) {
    if (command.major == major) return &command;
  }
  return nullptr;
}

RifaHeader reply_header(uint32_t major, int32_t result) {
  const CommandInfo* command = find_command(major);
  if (command == nullptr) return make_header(0, 0, 0);
  const int32_t size = command->sends_block ? static_cast<int32_t>(kResultBlockSize) : 0;
  uint32_t minor = major;
  switch (command->minor_rule) {
    case ReplyMinor::kEchoMajor:
      break;
    case ReplyMinor::kSettingOkFail:
      minor = result != 0 ? RIFA_RPL_SETTING_OK : RIFA_RPL_SETTING_FAIL;
      break;
    case ReplyMinor::kResultCodecFail:
      minor = result != 0 ? RIFA_RPL_RESULT : RIFA_RPL_CODEC_FAIL;
      break;
    case ReplyMinor::kAlwaysResult:
      minor = RIFA_RPL_RESULT;
      break;
  }
  return make_header(size, major, minor);
}

}  // namespace vantel
