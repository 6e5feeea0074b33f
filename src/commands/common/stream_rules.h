// What the recorder asks of a camera's two streams, said once for the
// stream query, the codec change and registration: the models whose
// encoders it leaves alone, and the ranges it offers for each stream. Pure
// data; command server thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace vantel {

// These models keep the encoders they come with: their streams are only
// read, never set. Their first profile feeds the network stream; the
// recording stream is their second profile, on the XR-520 the third.
inline bool keeps_own_encoders(const std::string& model) { return model == "XR-410" || model == "XR-520"; }
inline size_t kept_recording_profile(const std::string& model) { return model == "XR-520" ? 2 : 1; }

// The ranges the recorder offers, whatever the camera could do.
constexpr int16_t kBitrateLower = 2048, kBitrateUpper = 6000;  // kbit/s, both streams
constexpr int16_t kFirstFpsLower = 1, kFirstFpsUpper = 30;
constexpr int16_t kSecondFpsLower = 1, kSecondFpsUpper = 15;
constexpr int16_t kSecondQualityLower = 1, kSecondQualityUpper = 100;

}  // namespace vantel
