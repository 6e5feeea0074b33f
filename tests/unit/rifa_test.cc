// The wire codec and the command table.
#include <gtest/gtest.h>

#include <cstring>

#include "wire/byte_order.h"
#include "wire/rifa.h"

namespace vantel {
namespace {

TEST(ByteOrder, IntegersAreBigEndianWhateverTheHost) {
  uint8_t b[4];
  put_be32(b, 0x0b060004);
  EXPECT_EQ(0, std::memcmp(b, "\x0b\x06\x00\x04", 4));
  EXPECT_EQ(0x0b060004u, get_be32(b));
  put_be32s(b, -2);
  EXPECT_EQ(0, std::memcmp(b, "\xff\xff\xff\xfe", 4));
  EXPECT_EQ(-2, get_be32s(b));
  put_be16s(b, -1280);
  EXPECT_EQ(0, std::memcmp(b, "\xfb\x00", 2));
  EXPECT_EQ(-1280, get_be16s(b));
  put_be16(b, 0xfffe);
  EXPECT_EQ(0xfffe, get_be16(b));
}

TEST(RifaHeader, EncodesAndDecodesEveryField) {
  uint8_t wire[kRifaHeaderSize];
  encode_header(make_header(480, RIFA_CMD_CAMERA_SETTING, RIFA_RPL_SETTING_FAIL), wire);
  EXPECT_EQ(0, std::memcmp(wire, "RIFA\x00\x00\x01\xe0\x0b\x06\x00\x01\x0b\x06\x10\x03", 16));

  const RifaHeader back = decode_header(wire);
  EXPECT_TRUE(has_rifa_magic(back));
  EXPECT_EQ(480, back.size);
  EXPECT_EQ(RIFA_CMD_CAMERA_SETTING, back.major);
  EXPECT_EQ(RIFA_RPL_SETTING_FAIL, back.minor);

  const uint8_t negative[16] = {'r', 'i', 'f', 'a', 0xff, 0xff, 0xff, 0xff, 0x80, 0, 0, 1, 0, 0, 0, 0};
  const RifaHeader odd = decode_header(negative);
  EXPECT_FALSE(has_rifa_magic(odd));  // the magic is case-sensitive
  EXPECT_EQ(-1, odd.size);
  EXPECT_EQ(0x80000001u, odd.major);
}

TEST(CommandTable, ReplyHeadersFollowTheTable) {
  struct Case {
    uint32_t major;
    int32_t result;
    int32_t size;
    uint32_t reply_major, minor;
  } cases[] = {
      {RIFA_CMD_CAMERA_SETTING, 1, 480, RIFA_CMD_CAMERA_SETTING, RIFA_RPL_SETTING_OK},
      {RIFA_CMD_CAMERA_SETTING, 0, 480, RIFA_CMD_CAMERA_SETTING, RIFA_RPL_SETTING_FAIL},
      {RIFA_CMD_NET_CODEC, 1, 480, RIFA_CMD_NET_CODEC, RIFA_RPL_RESULT},
      {RIFA_CMD_NET_CODEC, 0, 480, RIFA_CMD_NET_CODEC, RIFA_RPL_CODEC_FAIL},
      {RIFA_CMD_STREAM_INFO, 0, 480, RIFA_CMD_STREAM_INFO, RIFA_RPL_RESULT},
      {RIFA_CMD_PTZ_MOVE, -1, 0, RIFA_CMD_PTZ_MOVE, RIFA_CMD_PTZ_MOVE},
      {RIFA_CMD_PTZ_STOP, 12, 0, RIFA_CMD_PTZ_STOP, RIFA_CMD_PTZ_STOP},
      {RIFA_CMD_PTZ_PRESET, 0, 0, RIFA_CMD_PTZ_PRESET, RIFA_CMD_PTZ_PRESET},
      {RIFA_CMD_PTZ_GOTOPRESET, 0, 0, RIFA_CMD_PTZ_GOTOPRESET, RIFA_CMD_PTZ_GOTOPRESET},
      {RIFA_CMD_PTZ_REMOVE_PRESET, 0, 0, RIFA_CMD_PTZ_REMOVE_PRESET, RIFA_CMD_PTZ_REMOVE_PRESET},
      {RIFA_CMD_REBOOT, 0, 0, RIFA_CMD_REBOOT, RIFA_CMD_REBOOT},
      {RIFA_CMD_MULTIUSER, 1, 0, RIFA_CMD_MULTIUSER, RIFA_CMD_MULTIUSER},
      {0x0b060002, 1, 0, 0, 0},  // the gap in the codes is unknown
      {0x0b060010, 1, 0, 0, 0},
      {0x0b061001, 1, 0, 0, 0},  // reply codes are not commands
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.major);
    const RifaHeader reply = reply_header(c.major, c.result);
    EXPECT_TRUE(has_rifa_magic(reply));
    EXPECT_EQ(c.size, reply.size);
    EXPECT_EQ(c.reply_major, reply.major);
    EXPECT_EQ(c.minor, reply.minor);
  }
}

}  // namespace
}  // namespace vantel
