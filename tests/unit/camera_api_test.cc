// The pure parts of the session's recovery: the camera's clock from its
// answers, where to reach a service advertised behind NAT, what counts as
// a refused login, and the encoding names the recorder's codecs read.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "camera/auth/camera_clock.h"
#include "camera/auth/refusal.h"
#include "camera/transport/service_address.h"
#include "wire/result_block.h"

namespace vantel {
namespace {

int64_t date(const char* text) {
  int64_t seconds = -1;
  return parse_http_date(text, seconds) ? seconds : -1;
}

TEST(CameraClock, ReadsTheThreeHttpDateFormsAndNothingElse) {
  // 784111777: the RFC's own example, in each form.
  EXPECT_EQ(784111777, date("Sun, 06 Nov 1994 08:49:37 GMT"));
  EXPECT_EQ(784111777, date("Sunday, 06-Nov-94 08:49:37 GMT"));
  EXPECT_EQ(784111777, date("Sun Nov  6 08:49:37 1994"));
  // Clocks never set, and past 2038 where a 32-bit time_t ends.
  EXPECT_EQ(0, date("Thu, 01 Jan 1970 00:00:00 GMT"));
  EXPECT_EQ(4107542400, date("Mon, 01 Mar 2100 00:00:00 GMT"));
  EXPECT_EQ(2147483648, date("Tue, 19 Jan 2038 03:14:08 GMT"));
  EXPECT_EQ(951782400, date("Tue, 29 Feb 2000 00:00:00 GMT"));
  for (const char* bad : {"", "Sun, 06 Nov 1994 08:49:37", "Sun, 06 Nov 1994 08:49:37 UTC", "Sun, 6 Nov 1994 08:49:37 GMT",
                          "Sun, 06 Foo 1994 08:49:37 GMT", "Sun, 31 Apr 1994 08:49:37 GMT",
                          "Mon, 29 Feb 2100 00:00:00 GMT", "Sun, 06 Nov 1994 24:00:00 GMT",
                          "Sun, 06 Nov 1969 08:49:37 GMT", "Sun, 06 Nov 1994 08:49:37 GMT x", "1994-11-06T08:49:37Z"}) {
    EXPECT_EQ(-1, date(bad)) << bad;
  }

  tt__Date day;
  tt__Time time;
  day.Year = 2026, day.Month = 11, day.Day = 25;
  time.Hour = 4, time.Minute = 5, time.Second = 6;
  tt__DateTime local;
  local.Date = &day;
  local.Time = &time;
  tt__SystemDateTime system;
  _tds__GetSystemDateAndTimeResponse answer;
  int64_t seconds = 0;
  EXPECT_FALSE(camera_time(answer, seconds));
  answer.SystemDateAndTime = &system;
  EXPECT_FALSE(camera_time(answer, seconds));
  system.LocalDateTime = &local;  // only local time: taken as the camera's clock
  ASSERT_TRUE(camera_time(answer, seconds));
  EXPECT_EQ(1795579506, seconds);
  day.Month = 13;
  EXPECT_FALSE(camera_time(answer, seconds));
}

TEST(ServiceAddress, OtherHostsAreReachedAtTheCommandsAddressWithTheirPath) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      // The camera's own host: as advertised, even on another port.
      {"http://10.1.2.3/onvif/media", ""},
      {"http://10.1.2.3:8000/onvif/media", ""},
      // Behind NAT or misconfigured: the LAN address, loopback, no host,
      // a name, IPv6, credentials in the address, no path at all.
      {"http://192.168.1.64:80/onvif/Media", "http://10.1.2.3:8080/onvif/Media"},
      {"http://127.0.0.1/onvif/ptz_service", "http://10.1.2.3:8080/onvif/ptz_service"},
      {"http:///onvif/media", "http://10.1.2.3:8080/onvif/media"},
      {"http://:8899/onvif/media", "http://10.1.2.3:8080/onvif/media"},
      {"http://ipcam.local/onvif/media?x=1", "http://10.1.2.3:8080/onvif/media?x=1"},
      {"http://[fe80::1]:80/onvif/media", "http://10.1.2.3:8080/onvif/media"},
      {"http://admin:pw@192.168.1.64/onvif/media", "http://10.1.2.3:8080/onvif/media"},
      {"http://10.1.2.3@192.168.1.64/x", "http://10.1.2.3:8080/x"},
      {"http://192.168.1.64", "http://10.1.2.3:8080/"},
      {"garbage", "http://10.1.2.3:8080/"},
  };
  for (const auto& [advertised, expected] : cases) {
    EXPECT_EQ(expected, reachable_address(advertised, "10.1.2.3", "http://10.1.2.3:8080/onvif/device_service"))
        << advertised;
  }
  // HTTPS stays HTTPS: on the port the recorder reaches the camera's TLS
  // at, or, reaching it over plain HTTP, the advertised one (443 if none).
  const std::string tls_device = "https://10.1.2.3:8443/onvif/device_service";
  EXPECT_EQ("https://10.1.2.3:8443/onvif/media", reachable_address("https://192.168.1.64/onvif/media", "10.1.2.3", tls_device));
  EXPECT_EQ("https://10.1.2.3:8443/onvif/media", reachable_address("HTTPS://[::1]:9443/onvif/media", "10.1.2.3", tls_device));
  EXPECT_EQ("https://10.1.2.3:443/onvif/media",
            reachable_address("https://192.168.1.64/onvif/media", "10.1.2.3", "http://10.1.2.3:80/"));
  EXPECT_EQ("https://10.1.2.3:9443/onvif/media",
            reachable_address("https://192.168.1.64:9443/onvif/media", "10.1.2.3", "http://10.1.2.3:80/"));
}

TEST(Refusal, OnlyCredentialRefusalsCount) {
  struct soap soap;
  soap_init(&soap);
  SOAP_ENV__Code inner, outer, code;
  SOAP_ENV__Fault fault;
  fault.SOAP_ENV__Code = &code;
  code.SOAP_ENV__Subcode = &outer;
  soap.fault = &fault;
  EXPECT_TRUE(refused_for_authentication(&soap, 401));
  EXPECT_FALSE(refused_for_authentication(&soap, 400));
  // One or two subcodes deep, under any prefix; not other faults.
  for (const auto& [first, second, refused] : std::vector<std::tuple<const char*, const char*, bool>>{
           {"ter:NotAuthorized", nullptr, true},
           {"ter:OperationProhibited", "ter:NotAuthorized", true},
           {"wsse:FailedAuthentication", nullptr, true},
           {"ter:InvalidArgVal", "ter:NoProfile", false},
           {"ter:ActionNotSupported", nullptr, false}}) {
    outer.SOAP_ENV__Value = const_cast<char*>(first);
    inner.SOAP_ENV__Value = const_cast<char*>(second);
    outer.SOAP_ENV__Subcode = second ? &inner : nullptr;
    EXPECT_EQ(refused, refused_for_authentication(&soap, SOAP_FAULT)) << first;
    EXPECT_FALSE(refused_for_authentication(&soap, SOAP_OK)) << first;
  }
  // A subcode chain that loops back on itself ends.
  outer.SOAP_ENV__Subcode = &outer;
  EXPECT_FALSE(refused_for_authentication(&soap, SOAP_CLI_FAULT));
  soap.fault = nullptr;
  soap_done(&soap);
}

TEST(Encoding, NamesOutsideTheRecordersCodecsAreUnknown) {
  EXPECT_EQ((std::vector<int>{kCodecJpeg, kCodecH264, kCodecMpeg4, kCodecH264, kCodecUnknown, kCodecUnknown,
                              kCodecUnknown, kCodecUnknown}),
            (std::vector<int>{codec_from_encoding("JPEG"), codec_from_encoding("H264"), codec_from_encoding("MPEG4"),
                              codec_from_encoding("\n  H264 \t"), codec_from_encoding("H265"),
                              codec_from_encoding("h264"), codec_from_encoding("H2640"), codec_from_encoding("")}));
}

}  // namespace
}  // namespace vantel
