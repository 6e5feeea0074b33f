/* The peer: the goto-preset and stream-query call sequences through
 * libonvif, the C ONVIF client Debian packages (libonvif-dev), against the
 * same camera as the daemon. One fresh OnvifData per command, as the daemon
 * starts each command afresh.
 *
 *   libonvif_peer PORT N goto|stream      prints "wall_us CPU_us failures"
 *
 * goto:   GetCapabilities, GetProfiles, GetPresets, GotoPreset (preset 1 of
 *         the list, as `ptz-goto --preset 1`)
 * stream: GetCapabilities, GetProfiles, GetDeviceInformation, then for the
 *         first two profiles GetProfile, GetVideoEncoderConfiguration,
 *         GetStreamUri
 *
 * The library has no GetPresets, and its getProfileToken sends GetProfiles
 * again for every index, so those two are built here from the primitives
 * the library exports but leaves out of its installed header. Its
 * getStreamUri always asks for RTSP transport (the daemon asks for UDP). */
#include <libxml/tree.h>
#include <onvif.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <time.h>

/* Exported by libonvif.so, commented out of onvif.h. */
xmlDocPtr sendCommandToCamera(char *cmd, char *xaddrs);
void addUsernameDigestHeader(xmlNodePtr root, xmlNsPtr ns_env, char *user, char *password, time_t offset);
void addHttpHeader(xmlDocPtr doc, xmlNodePtr root, char *xaddrs, char *post_type, char cmd[], int cmd_length);
int checkForXmlErrorMsg(xmlDocPtr doc, char error_msg[1024]);
int getNodeAttributen(xmlDocPtr doc, xmlChar *xpath, xmlChar *attribute, char buf[], int buf_length,
                      int profileIndex);

static char camera[128];

static void fresh(struct OnvifData *d) {
  memset(d, 0, sizeof *d);
  snprintf(d->xaddrs, sizeof d->xaddrs, "%s", camera);
  snprintf(d->device_service, sizeof d->device_service, "%s", camera);
  extractOnvifService(d->device_service, true);
  strcpy(d->username, "admin");
  strcpy(d->password, "admin");
}

/* One request <ns:op><ns:ProfileToken>token</...></...> to `service`; the
 * answer's `attribute` of elements `xpath` number 0 and 1 into out[]. */
static int call_list(struct OnvifData *d, const char *ns_uri, const char *prefix, const char *op,
                     char *service, const char *token, const char *xpath, char out[2][128]) {
  xmlDocPtr doc = xmlNewDoc(BAD_CAST "1.0");
  xmlNodePtr root = xmlNewDocNode(doc, NULL, BAD_CAST "Envelope", NULL);
  xmlDocSetRootElement(doc, root);
  xmlNsPtr ns_env = xmlNewNs(root, BAD_CAST "http://www.w3.org/2003/05/soap-envelope", BAD_CAST "SOAP-ENV");
  xmlNsPtr ns = xmlNewNs(root, BAD_CAST ns_uri, BAD_CAST prefix);
  xmlSetNs(root, ns_env);
  addUsernameDigestHeader(root, ns_env, d->username, d->password, d->time_offset);
  xmlNodePtr body = xmlNewTextChild(root, ns_env, BAD_CAST "Body", NULL);
  xmlNodePtr request = xmlNewTextChild(body, ns, BAD_CAST op, NULL);
  if (token) xmlNewTextChild(request, ns, BAD_CAST "ProfileToken", BAD_CAST token);
  char cmd[4096] = {0};
  /* Serialises the request into cmd and frees doc, as the library's own
   * calls rely on. */
  addHttpHeader(doc, root, d->xaddrs, service, cmd, sizeof cmd);
  int result = -1;
  xmlDocPtr reply = sendCommandToCamera(cmd, d->xaddrs);
  if (reply != NULL) {
    result = checkForXmlErrorMsg(reply, d->last_error);
    for (int i = 0; i < 2 && result == 0; i++)
      getNodeAttributen(reply, BAD_CAST xpath, BAD_CAST "token", out[i], 128, i);
    xmlFreeDoc(reply);
  }
  return result;
}

static int goto_preset(struct OnvifData *d) {
  char presets[2][128] = {{0}};
  fresh(d);
  if (getCapabilities(d) != 0 || getProfileToken(d, 0) != 0) return -1;
  if (call_list(d, "http://www.onvif.org/ver20/ptz/wsdl", "tptz", "GetPresets", d->ptz_service,
                d->profileToken, "//*[local-name()='GetPresetsResponse']/*[local-name()='Preset']",
                presets) != 0 || presets[1][0] == '\0')
    return -1;
  return gotoPreset(presets[1], d);
}

static int stream_query(struct OnvifData *d) {
  char tokens[2][128] = {{0}};
  fresh(d);
  if (getCapabilities(d) != 0) return -1;
  if (call_list(d, "http://www.onvif.org/ver10/media/wsdl", "trt", "GetProfiles", d->media_service, NULL,
                "//*[local-name()='GetProfilesResponse']/*[local-name()='Profiles']", tokens) != 0)
    return -1;
  if (getDeviceInformation(d) != 0) return -1;
  for (int i = 0; i < 2; i++) {
    memcpy(d->profileToken, tokens[i], sizeof tokens[i]);
    if (getProfile(d) != 0 || getVideoEncoderConfiguration(d) != 0 || getStreamUri(d) != 0) return -1;
    if (d->stream_uri[0] == '\0') return -1;
  }
  return 0;
}

static double cpu_us(void) {
  struct rusage u;
  getrusage(RUSAGE_SELF, &u);
  return (u.ru_utime.tv_sec + u.ru_stime.tv_sec) * 1e6 + u.ru_utime.tv_usec + u.ru_stime.tv_usec;
}

int main(int argc, char **argv) {
  if (argc != 4) { fprintf(stderr, "usage: libonvif_peer PORT N goto|stream\n"); return 2; }
  snprintf(camera, sizeof camera, "http://127.0.0.1:%d/onvif/device_service", atoi(argv[1]));
  const int n = atoi(argv[2]);
  const int is_goto = strcmp(argv[3], "goto") == 0;
  struct OnvifData *d = malloc(sizeof *d);
  int failures = 0;
  struct timespec t0, t1;
  const double cpu0 = cpu_us();
  clock_gettime(CLOCK_MONOTONIC, &t0);
  for (int i = 0; i < n; i++) failures += (is_goto ? goto_preset(d) : stream_query(d)) != 0;
  clock_gettime(CLOCK_MONOTONIC, &t1);
  const double wall = (t1.tv_sec - t0.tv_sec) * 1e6 + (t1.tv_nsec - t0.tv_nsec) / 1e3;
  printf("%.1f %.1f %d\n", wall / n, (cpu_us() - cpu0) / n, failures);
  free(d);
  return failures ? 1 : 0;
}
