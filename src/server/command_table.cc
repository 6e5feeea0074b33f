#include "server/command_table.h"

namespace vantel {
namespace {

const Command kTable[] = {
    {RIFA_CMD_CAMERA_SETTING, handle_camera_setting, nullptr},
    {RIFA_CMD_NET_CODEC, handle_net_codec_list, handle_net_codec_explicit},
    {RIFA_CMD_STREAM_INFO, handle_stream_info, nullptr},
    {RIFA_CMD_PTZ_MOVE, handle_ptz_move, nullptr},
    {RIFA_CMD_PTZ_STOP, handle_ptz_stop, nullptr},
    {RIFA_CMD_PTZ_PRESET, handle_ptz_preset, nullptr},
    {RIFA_CMD_PTZ_GOTOPRESET, handle_ptz_gotopreset, nullptr},
    {RIFA_CMD_PTZ_REMOVE_PRESET, handle_ptz_remove_preset, nullptr},
    {RIFA_CMD_REBOOT, handle_reboot, nullptr},
    {RIFA_CMD_MULTIUSER, handle_multiuser, nullptr},
};
static_assert(sizeof kTable / sizeof kTable[0] == kCommandCount, "a handler for every command code");

}  // namespace

const Command* command_for(uint32_t major) {
  for (const Command& command : kTable) {
    if (command.major == major) return &command;
  }
  return nullptr;
}

RifaHeader reply_to(uint32_t major, const CommandResult& result) {
  switch (result.reply) {
    case ReplyKind::kEchoMajor:
      return make_header(0, major, major);
    case ReplyKind::kSettingOkFail:
      return make_header(kResultBlockSize, major, result.value != 0 ? RIFA_RPL_SETTING_OK : RIFA_RPL_SETTING_FAIL);
    case ReplyKind::kResultCodecFail:
      return make_header(kResultBlockSize, major, result.value != 0 ? RIFA_RPL_RESULT : RIFA_RPL_CODEC_FAIL);
    case ReplyKind::kAlwaysResult:
      break;
  }
  return make_header(kResultBlockSize, major, RIFA_RPL_RESULT);
}

}  // namespace vantel
