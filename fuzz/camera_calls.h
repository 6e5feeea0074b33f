// The camera operations the handlers call, each as the handler makes it:
// the process's namespace table, a fresh UsernameToken, the generated client
// call with a request the camera would accept, the answer deserialised into
// the handler's response type. Shared by the answer fuzzer and the tool that
// records camsim's answers as its seeds.
#pragma once

#include <ctime>
#include <string>

#include "camera/auth/username_token.h"
#include "onvif_namespaces.h"
#include "soapH.h"

namespace vantel_fuzz {

struct CameraCall {
  const char* name;
  const char* path;  // service path on the camera
  int (*call)(struct soap* soap, const char* address);
};

// A string owned by the context, for the optional (pointer) fields.
inline std::string* text(struct soap* soap, const char* value) {
  std::string* owned = soap_new_std__string(soap);
  *owned = value;
  return owned;
}

// The requests name what camsim's default camera has.
#define VANTEL_CALL(op, service, Request, Response, fill)                               \
  {#op, service, [](struct soap* soap, const char* address) {                          \
     Request request;                                                                  \
     Response answer;                                                                  \
     fill;                                                                             \
     vantel::add_username_token(soap, "admin", "admin", time(nullptr));                \
     return soap_call___##op(soap, address, nullptr, &request, answer);                \
   }}

inline const CameraCall kCameraCalls[] = {
    VANTEL_CALL(tds__GetCapabilities, "device", _tds__GetCapabilities, _tds__GetCapabilitiesResponse,
                request.Category.push_back("All")),
    VANTEL_CALL(tds__GetDeviceInformation, "device", _tds__GetDeviceInformation, _tds__GetDeviceInformationResponse, ),
    VANTEL_CALL(tds__GetSystemDateAndTime, "device", _tds__GetSystemDateAndTime,
                _tds__GetSystemDateAndTimeResponse, ),
    VANTEL_CALL(tds__SystemReboot, "device", _tds__SystemReboot, _tds__SystemRebootResponse, ),
    VANTEL_CALL(trt__GetProfiles, "media", _trt__GetProfiles, _trt__GetProfilesResponse, ),
    VANTEL_CALL(trt__GetProfile, "media", _trt__GetProfile, _trt__GetProfileResponse, request.ProfileToken = "MainProfile"),
    VANTEL_CALL(trt__GetVideoEncoderConfiguration, "media", _trt__GetVideoEncoderConfiguration,
                _trt__GetVideoEncoderConfigurationResponse, request.ConfigurationToken = "MainEncoder"),
    VANTEL_CALL(trt__GetVideoEncoderConfigurations, "media", _trt__GetVideoEncoderConfigurations,
                _trt__GetVideoEncoderConfigurationsResponse, ),
    VANTEL_CALL(trt__GetVideoEncoderConfigurationOptions, "media", _trt__GetVideoEncoderConfigurationOptions,
                _trt__GetVideoEncoderConfigurationOptionsResponse,
                request.ConfigurationToken = text(soap, "MainEncoder")),
    VANTEL_CALL(trt__SetVideoEncoderConfiguration, "media", _trt__SetVideoEncoderConfiguration,
                _trt__SetVideoEncoderConfigurationResponse,
                request.Configuration = soap_new_tt__VideoEncoderConfiguration(soap);
                request.Configuration->token = "MainEncoder"; request.ForcePersistence = true),
    VANTEL_CALL(trt__GetStreamUri, "media", _trt__GetStreamUri, _trt__GetStreamUriResponse,
                request.ProfileToken = "MainProfile"; request.StreamSetup = soap_new_tt__StreamSetup(soap);
                request.StreamSetup->Stream = "RTP-Unicast";
                request.StreamSetup->Transport = soap_new_tt__Transport(soap);
                request.StreamSetup->Transport->Protocol = "UDP"),
    VANTEL_CALL(tptz__GetNodes, "ptz", _tptz__GetNodes, _tptz__GetNodesResponse, ),
    VANTEL_CALL(tptz__GetNode, "ptz", _tptz__GetNode, _tptz__GetNodeResponse, request.NodeToken = "PTZNodeMain"),
    VANTEL_CALL(tptz__ContinuousMove, "ptz", _tptz__ContinuousMove, _tptz__ContinuousMoveResponse,
                request.ProfileToken = "MainProfile"; request.Velocity = soap_new_tt__PTZSpeed(soap);
                request.Velocity->PanTilt = soap_new_tt__Vector2D(soap)),
    VANTEL_CALL(tptz__Stop, "ptz", _tptz__Stop, _tptz__StopResponse, request.ProfileToken = "MainProfile"),
    VANTEL_CALL(tptz1__Stop, "ptz", tptz1__StopRequest, tptz1__StopResponse, request.ProfileToken = "MainProfile"),
    VANTEL_CALL(tptz__GetPresets, "ptz", _tptz__GetPresets, _tptz__GetPresetsResponse, request.ProfileToken = "MainProfile"),
    VANTEL_CALL(tptz__SetPreset, "ptz", _tptz__SetPreset, _tptz__SetPresetResponse,
                request.ProfileToken = "MainProfile"; request.PresetToken = text(soap, "1")),
    VANTEL_CALL(tptz__GotoPreset, "ptz", _tptz__GotoPreset, _tptz__GotoPresetResponse,
                request.ProfileToken = "MainProfile"; request.PresetToken = "1"),
    VANTEL_CALL(tptz1__RemovePreset, "ptz", tptz1__RemovePreset, tptz1__RemovePresetResponse,
                request.ProfileToken = "SubProfile"; request.PresetToken = "3"),
};

#undef VANTEL_CALL

inline void open_context(struct soap* soap) {
  soap_init(soap);
  soap_set_namespaces(soap, namespaces);
}

inline void end_context(struct soap* soap) {
  soap_destroy(soap);
  soap_end(soap);
  soap_done(soap);
}

}  // namespace vantel_fuzz
