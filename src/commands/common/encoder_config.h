// A video encoder configuration as the result block carries it: one stream's
// fields filled with the block's conversions, and the optional parts of a
// configuration created on demand before a change. Pure over its arguments;
// stream and setup commands, command server thread.
#pragma once

#include <cstdint>

#include "soapH.h"
#include "wire/result_block.h"

namespace vantel {

// The block's conversions: frame rate as its low 8 bits, sizes and bit rate
// as their low 16 bits, quality truncated toward zero and then cut to 16
// bits (NaN reads as 0, values beyond 32 bits saturate first).
uint8_t fps_field(int frames_per_second);
int16_t low16_field(int value);
int16_t quality_field(float quality);

// Width, height, frame rate, bit rate and quality of `stream` from
// `configuration`; a resolution or rate control the camera left out reads
// as 0. The codec byte is not written: each command has its own rule.
void fill_stream_settings(ResultBlockView& block, const StreamLayout& stream,
                          const tt__VideoEncoderConfiguration& configuration);

// A stream that could not be read: codec, size, frame rate, bit rate and
// quality to 0. The URI field keeps what it holds.
void clear_stream_settings(ResultBlockView& block, const StreamLayout& stream);

// The configuration's parts a change writes into, created on `context` when
// the camera's answer lacked them, so that a change never follows a null.
tt__VideoResolution& resolution_of(struct soap* context, tt__VideoEncoderConfiguration& configuration);
tt__VideoRateControl& rate_control_of(struct soap* context, tt__VideoEncoderConfiguration& configuration);
tt__H264Configuration& h264_of(struct soap* context, tt__VideoEncoderConfiguration& configuration);

// The camera's current frame-rate limit, 0 without a rate control.
int frame_rate_limit(const tt__VideoEncoderConfiguration& configuration);

}  // namespace vantel
