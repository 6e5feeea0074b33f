// Encoder configuration <-> result block fields.
#include "commands/common/encoder_config.h"

#include <cmath>
#include <limits>

namespace vantel {

uint8_t fps_field(int frames_per_second) {
  return static_cast<uint8_t>(static_cast<unsigned>(frames_per_second));
}

int16_t low16_field(int value) {
  return static_cast<int16_t>(static_cast<uint16_t>(static_cast<unsigned>(value)));
}

int16_t quality_field(float quality) {
  if (std::isnan(quality)) return 0;
  // Converting a float outside int's range is undefined; the recorder's
  // processor saturates, so do the same before cutting to 16 bits.
  if (quality >= 2147483648.0f) return low16_field(std::numeric_limits<int>::max());
  if (quality <= -2147483648.0f) return low16_field(std::numeric_limits<int>::min());
  return low16_field(static_cast<int>(quality));
}

void fill_stream_settings(ResultBlockView& block, const StreamLayout& stream,
                          const tt__VideoEncoderConfiguration& configuration) {
  const tt__VideoResolution* resolution = configuration.Resolution;
  const tt__VideoRateControl* rate = configuration.RateControl;
  block.set_u8(stream.fps, fps_field(rate ? rate->FrameRateLimit : 0));
  block.set_s16(stream.width, low16_field(resolution ? resolution->Width : 0));
  block.set_s16(stream.height, low16_field(resolution ? resolution->Height : 0));
  block.set_s16(stream.bitrate, low16_field(rate ? rate->BitrateLimit : 0));
  block.set_s16(stream.quality, quality_field(configuration.Quality));
}

void clear_stream_settings(ResultBlockView& block, const StreamLayout& stream) {
  block.set_u8(stream.codec, kCodecUnknown);
  block.set_s16(stream.width, 0);
  block.set_s16(stream.height, 0);
  block.set_u8(stream.fps, 0);
  block.set_s16(stream.bitrate, 0);
  block.set_s16(stream.quality, 0);
}

tt__VideoResolution& resolution_of(struct soap* context, tt__VideoEncoderConfiguration& configuration) {
  if (configuration.Resolution == nullptr) configuration.Resolution = soap_new_tt__VideoResolution(context);
  return *configuration.Resolution;
}

tt__VideoRateControl& rate_control_of(struct soap* context, tt__VideoEncoderConfiguration& configuration) {
  if (configuration.RateControl == nullptr) configuration.RateControl = soap_new_tt__VideoRateControl(context);
  return *configuration.RateControl;
}

tt__H264Configuration& h264_of(struct soap* context, tt__VideoEncoderConfiguration& configuration) {
  if (configuration.H264 == nullptr) {
    // Baseline: the one H.264 profile every H.264 encoder can deliver.
    configuration.H264 = soap_new_tt__H264Configuration(context);
    configuration.H264->H264Profile = "Baseline";
  }
  return *configuration.H264;
}

int frame_rate_limit(const tt__VideoEncoderConfiguration& configuration) {
  return configuration.RateControl ? configuration.RateControl->FrameRateLimit : 0;
}

}  // namespace vantel
