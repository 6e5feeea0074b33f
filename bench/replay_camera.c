/* A camera that costs next to nothing: serves answers recorded from camsim,
 * chosen by the request's operation (the SOAP Body's first element) and,
 * when the request names one, its first *Token value. One connection at a
 * time. By default every answer says "Connection: close" and its connection
 * ends, as many cameras do; with --keep-alive a connection whose requests
 * ask for it ("Connection: keep-alive") stays open for the next request
 * until the client closes it. --tls CERT KEY serves HTTPS (PEM files), with
 * wolfSSL's session cache and tickets, so clients can resume.
 *
 *   replay_camera --answers DIR --port-file FILE [--keep-alive 1]
 *                 [--tls CERT --key KEY] [--dump DIR --dump-count N]
 *
 * DIR holds OP.xml or OP@TOKEN.xml files; "@HOSTPORT@" in them becomes this
 * camera's own 127.0.0.1:PORT (https:// addresses when serving TLS).
 * --dump writes the first N raw requests to DIR/NNN.req. SIGUSR1 writes
 * "requests R nonces D connections C handshakes H" (since the last SIGUSR1:
 * R requests, D distinct WS-Security nonces among them, C connections
 * accepted, H full TLS handshakes, resumed ones not counted) to the file
 * named by --stats and starts counting again. */
#define _GNU_SOURCE
#include <arpa/inet.h>
#include <dirent.h>
#include <errno.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>
#include <wolfssl/options.h>
#include <wolfssl/ssl.h>

#define MAX_ANSWERS 64
#define MAX_REQUEST (256 * 1024)
#define NONCE_SLOTS 65536
#define NONCE_SIZE 64

struct answer {
  char key[160];
  char *http; /* status line, headers and body */
  size_t length;
};

static struct answer answers[MAX_ANSWERS];
static int answer_count;
static char *not_found;
static size_t not_found_length;
static volatile sig_atomic_t stats_wanted;
static char nonces[NONCE_SLOTS][NONCE_SIZE];
static unsigned long requests, distinct, connections, handshakes;
static int keep_alive;
static WOLFSSL_CTX *tls;

/* One accepted connection, plain or TLS. */
struct conn {
  int fd;
  WOLFSSL *ssl;
};

static ssize_t conn_read(struct conn *c, char *buf, size_t size) {
  if (!c->ssl) return read(c->fd, buf, size);
  int n = wolfSSL_read(c->ssl, buf, (int)size);
  return n > 0 ? n : -1;
}

static ssize_t conn_write(struct conn *c, const char *buf, size_t size) {
  if (!c->ssl) return write(c->fd, buf, size);
  int n = wolfSSL_write(c->ssl, buf, (int)size);
  return n > 0 ? n : -1;
}

static void on_usr1(int sig) { (void)sig; stats_wanted = 1; }

static char *read_file(const char *path, size_t *length) {
  FILE *f = fopen(path, "rb");
  if (!f) return NULL;
  fseek(f, 0, SEEK_END);
  long n = ftell(f);
  fseek(f, 0, SEEK_SET);
  char *data = malloc((size_t)n + 1);
  if (fread(data, 1, (size_t)n, f) != (size_t)n) { fclose(f); free(data); return NULL; }
  fclose(f);
  data[n] = '\0';
  *length = (size_t)n;
  return data;
}

static char *make_http(const char *status, const char *body, size_t body_length, size_t *length) {
  char *out = malloc(body_length + 256);
  int n = sprintf(out, "HTTP/1.1 %s\r\nContent-Type: application/soap+xml; charset=utf-8\r\n"
                  "Content-Length: %zu\r\nConnection: %s\r\n\r\n", status, body_length,
                  keep_alive ? "keep-alive" : "close");
  memcpy(out + n, body, body_length);
  *length = (size_t)n + body_length;
  return out;
}

static void load_answers(const char *dir, int port) {
  DIR *d = opendir(dir);
  if (!d) { perror(dir); exit(1); }
  char own[32];
  snprintf(own, sizeof own, "127.0.0.1:%d", port);
  struct dirent *e;
  while ((e = readdir(d)) != NULL && answer_count < MAX_ANSWERS) {
    size_t n = strlen(e->d_name);
    if (n < 5 || strcmp(e->d_name + n - 4, ".xml") != 0 || n - 4 >= sizeof answers[0].key) continue;
    char path[4096];
    snprintf(path, sizeof path, "%s/%s", dir, e->d_name);
    size_t length;
    char *text = read_file(path, &length);
    if (!text) continue;
    /* Placeholders become this camera's address. */
    char *body = malloc(length * 2 + 64), *out = body;
    for (const char *p = text; *p;) {
      if (strncmp(p, "@HOSTPORT@", 10) == 0) { out += sprintf(out, "%s", own); p += 10; }
      else if (tls && strncmp(p, "http://@HOSTPORT@", 17) == 0) { out += sprintf(out, "https://%s", own); p += 17; }
      else *out++ = *p++;
    }
    struct answer *a = &answers[answer_count++];
    memcpy(a->key, e->d_name, n - 4);
    a->key[n - 4] = '\0';
    /* Faults keep their status; everything recorded here is an answer. */
    a->http = make_http(strstr(body, ":Fault>") ? "500 Internal Server Error" : "200 OK", body,
                        (size_t)(out - body), &a->length);
    free(body);
    free(text);
  }
  closedir(d);
  const char *fault = "<?xml version=\"1.0\"?><env:Envelope xmlns:env=\"http://www.w3.org/2003/05/soap-envelope\">"
                      "<env:Body><env:Fault><env:Code><env:Value>env:Receiver</env:Value></env:Code>"
                      "<env:Reason><env:Text xml:lang=\"en\">not recorded</env:Text></env:Reason>"
                      "</env:Fault></env:Body></env:Envelope>";
  not_found = make_http("500 Internal Server Error", fault, strlen(fault), &not_found_length);
}

/* The operation and the first ...Token value after the Body start. */
static void request_key(const char *body, char *key, size_t size) {
  key[0] = '\0';
  const char *b = strstr(body, "Body");
  if (!b) return;
  const char *start = strchr(b, '>');
  if (!start || !(start = strchr(start, '<'))) return;
  const char *name = start + 1, *end = name;
  while (*end && *end != '>' && *end != ' ' && *end != '/' && *end != '\t' && *end != '\r' && *end != '\n') {
    if (*end == ':') name = end + 1;
    end++;
  }
  size_t n = (size_t)(end - name) < size - 1 ? (size_t)(end - name) : size - 1;
  memcpy(key, name, n);
  key[n] = '\0';
  const char *t = strstr(end, "Token");
  if (!t || !(t = strchr(t, '>'))) return;
  const char *close = strchr(++t, '<');
  if (!close || close == t || n + 1 + (size_t)(close - t) >= size) return;
  key[n] = '@';
  memcpy(key + n + 1, t, (size_t)(close - t));
  key[n + 1 + (close - t)] = '\0';
}

static void count_nonce(const char *request) {
  const char *n = strstr(request, "Nonce");
  requests++;
  if (!n || !(n = strchr(n, '>'))) return;
  const char *end = strchr(++n, '<');
  if (!end || end - n >= NONCE_SIZE) return;
  char value[NONCE_SIZE];
  memcpy(value, n, (size_t)(end - n));
  value[end - n] = '\0';
  unsigned h = 2166136261u;
  for (const char *p = value; *p; p++) h = (h ^ (unsigned char)*p) * 16777619u;
  for (unsigned i = h % NONCE_SLOTS;; i = (i + 1) % NONCE_SLOTS) {
    if (nonces[i][0] == '\0') { strcpy(nonces[i], value); distinct++; return; }
    if (strcmp(nonces[i], value) == 0) return;
  }
}

static void write_stats(const char *path) {
  if (path) {
    char tmp[4096];
    snprintf(tmp, sizeof tmp, "%s.tmp", path);
    FILE *f = fopen(tmp, "w");
    if (f) {
      fprintf(f, "requests %lu nonces %lu connections %lu handshakes %lu\n", requests, distinct, connections,
              handshakes);
      fclose(f);
      rename(tmp, path);
    }
  }
  requests = distinct = connections = handshakes = 0;
  memset(nonces, 0, sizeof nonces);
}

/* Reads one request: headers, then Content-Length bytes of body. */
static ssize_t read_request(struct conn *c, char *buf, size_t size) {
  size_t have = 0, need = 0;
  for (;;) {
    ssize_t got = conn_read(c, buf + have, size - 1 - have);
    if (got <= 0) return have ? (ssize_t)have : -1;
    have += (size_t)got;
    buf[have] = '\0';
    if (!need) {
      char *end = strstr(buf, "\r\n\r\n");
      if (end) {
        const char *cl = strcasestr(buf, "Content-Length:");
        need = (size_t)(end + 4 - buf) + (cl && cl < end ? strtoul(cl + 15, NULL, 10) : 0);
      }
    }
    if (need && have >= need) return (ssize_t)have;
    if (have >= size - 1) return (ssize_t)have;
  }
}

/* Answers the requests of one connection: one, or while the client asks
 * for the connection to be kept. */
static void serve(struct conn *c, const char *dump, int dump_count, int *seq) {
  static char request[MAX_REQUEST];
  for (;;) {
    ssize_t n = read_request(c, request, sizeof request);
    if (n <= 0) return;
    if (dump && *seq < dump_count) {
      char path[4096];
      snprintf(path, sizeof path, "%s/%03d.req", dump, *seq);
      FILE *f = fopen(path, "wb");
      if (f) { fwrite(request, 1, (size_t)n, f); fclose(f); }
    }
    (*seq)++;
    const char *body = strstr(request, "\r\n\r\n");
    const int kept = keep_alive && body && memmem(request, (size_t)(body - request), "keep-alive", 10);
    char key[160];
    request_key(body ? body : request, key, sizeof key);
    count_nonce(request);
    const struct answer *found = NULL;
    for (int pass = 0; pass < 2 && !found; pass++) {
      if (pass == 1) { char *at = strchr(key, '@'); if (at) *at = '\0'; else break; }
      for (int i = 0; i < answer_count; i++)
        if (!strcmp(answers[i].key, key)) { found = &answers[i]; break; }
    }
    const char *out = found ? found->http : not_found;
    size_t left = found ? found->length : not_found_length;
    while (left > 0) {
      ssize_t w = conn_write(c, out, left);
      if (w <= 0) return;
      out += w;
      left -= (size_t)w;
    }
    if (!kept) return;
  }
}

int main(int argc, char **argv) {
  const char *dir = NULL, *port_file = NULL, *dump = NULL, *stats = NULL, *cert = NULL, *key = NULL;
  int dump_count = 0;
  for (int i = 1; i + 1 < argc; i += 2) {
    if (!strcmp(argv[i], "--answers")) dir = argv[i + 1];
    else if (!strcmp(argv[i], "--port-file")) port_file = argv[i + 1];
    else if (!strcmp(argv[i], "--dump")) dump = argv[i + 1];
    else if (!strcmp(argv[i], "--dump-count")) dump_count = atoi(argv[i + 1]);
    else if (!strcmp(argv[i], "--stats")) stats = argv[i + 1];
    else if (!strcmp(argv[i], "--keep-alive")) keep_alive = atoi(argv[i + 1]);
    else if (!strcmp(argv[i], "--tls")) cert = argv[i + 1];
    else if (!strcmp(argv[i], "--key")) key = argv[i + 1];
  }
  if (!dir || !port_file) { fprintf(stderr, "usage: replay_camera --answers DIR --port-file FILE\n"); return 2; }
  if (cert) {
    wolfSSL_Init();
    tls = wolfSSL_CTX_new(wolfSSLv23_server_method());
    if (!tls || wolfSSL_CTX_use_certificate_file(tls, cert, WOLFSSL_FILETYPE_PEM) != WOLFSSL_SUCCESS ||
        wolfSSL_CTX_use_PrivateKey_file(tls, key, WOLFSSL_FILETYPE_PEM) != WOLFSSL_SUCCESS) {
      fprintf(stderr, "replay_camera: cannot use %s and %s\n", cert, key ? key : "(no --key)");
      return 1;
    }
  }

  int s = socket(AF_INET, SOCK_STREAM, 0), one = 1;
  setsockopt(s, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  struct sockaddr_in a = {.sin_family = AF_INET, .sin_addr.s_addr = htonl(INADDR_LOOPBACK)};
  socklen_t alen = sizeof a;
  if (bind(s, (struct sockaddr *)&a, sizeof a) < 0 || listen(s, 64) < 0 ||
      getsockname(s, (struct sockaddr *)&a, &alen) < 0) { perror("listen"); return 1; }
  int port = ntohs(a.sin_port);
  load_answers(dir, port);

  struct sigaction sa = {.sa_handler = on_usr1};
  sigaction(SIGUSR1, &sa, NULL); /* no SA_RESTART: accept returns EINTR */
  signal(SIGPIPE, SIG_IGN);
  char tmp[4096];
  snprintf(tmp, sizeof tmp, "%s.tmp", port_file);
  FILE *pf = fopen(tmp, "w");
  fprintf(pf, "%d\n", port);
  fclose(pf);
  rename(tmp, port_file);

  int seq = 0;
  for (;;) {
    if (stats_wanted) { stats_wanted = 0; write_stats(stats); }
    struct conn c = {accept(s, NULL, NULL), NULL};
    if (c.fd < 0) continue;
    connections++;
    if (tls) {
      c.ssl = wolfSSL_new(tls);
      if (c.ssl && wolfSSL_set_fd(c.ssl, c.fd) == WOLFSSL_SUCCESS && wolfSSL_accept(c.ssl) == WOLFSSL_SUCCESS) {
        handshakes += !wolfSSL_session_reused(c.ssl);
        serve(&c, dump, dump_count, &seq);
        wolfSSL_shutdown(c.ssl);
      }
      wolfSSL_free(c.ssl);
    } else {
      serve(&c, dump, dump_count, &seq);
    }
    close(c.fd);
  }
}
