#include "camera/transport/tls.h"

#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <sys/socket.h>
#include <sys/time.h>
#include <wolfssl/options.h>
#include <wolfssl/ssl.h>
#include <wolfssl/wolfio.h>
#include <wolfssl/wolfcrypt/hash.h>

#include <cstring>

#include "log/log.h"

namespace vantel {
namespace {

const char kTlsPluginId[] = "vantel-tls";

struct TlsData {
  // The hooks underneath: the runtime's own, or the other wrappers'.
  SOAP_SOCKET (*connect)(struct soap*, const char*, const char*, int) = nullptr;
  int (*send)(struct soap*, const char*, size_t) = nullptr;
  size_t (*recv)(struct soap*, char*, size_t) = nullptr;
  int (*close)(struct soap*, SOAP_SOCKET) = nullptr;
  int (*shutdown)(struct soap*, SOAP_SOCKET, int) = nullptr;
  // Made on the first TLS connection, so that a camera reached over plain
  // HTTP costs no TLS set-up: wolfSSL's, which seeds a random generator,
  // costs more than all of a command's XML.
  WOLFSSL_CTX* ctx = nullptr;
  bool owns_ctx = false;  // made here; working copies borrow the context's
  WOLFSSL* ssl = nullptr;
  SOAP_SOCKET socket = SOAP_INVALID_SOCKET;
  bool trusted = false;  // its certificate matched the pin, or was pinned
  TlsPin* pin = nullptr;
};

TlsData* data_of(struct soap* soap) { return static_cast<TlsData*>(soap_lookup_plugin(soap, kTlsPluginId)); }

// wolfSSL reads and writes the socket itself, past the runtime's own
// waiting: the context's time limits (the hardened build's) become the
// socket's, so a stalled handshake ends too.
void limit_socket(struct soap* soap, SOAP_SOCKET socket) {
  const auto apply = [socket](int option, int seconds) {
    if (seconds <= 0) return;
    timeval limit{seconds, 0};
    static_cast<void>(setsockopt(socket, SOL_SOCKET, option, &limit, sizeof limit));
  };
  apply(SO_RCVTIMEO, soap->recv_timeout);
  apply(SO_SNDTIMEO, soap->send_timeout);
}

// The session is taken when the connection ends, not after the handshake:
// a TLS 1.3 camera sends its ticket after the handshake, read with the
// first answer.
void end_connection(TlsData* d) {
  if (d->ssl != nullptr) {
    if (d->trusted && wolfSSL_is_init_finished(d->ssl)) {
      WOLFSSL_SESSION* session = wolfSSL_get1_session(d->ssl);
      if (session != nullptr) d->pin->session->reset(session, wolfSSL_SESSION_free);
    }
    wolfSSL_free(d->ssl);
  }
  d->ssl = nullptr;
  d->socket = SOAP_INVALID_SOCKET;
  d->trusted = false;
}

// An address naming no port: the runtime, built without a TLS layer of its
// own, would take 80 for https:// too.
bool names_port(const char* endpoint) {
  const char* authority = std::strstr(endpoint, "://");
  authority = authority ? authority + 3 : endpoint;
  const char* end = authority + std::strcspn(authority, "/?#");
  const char* close = static_cast<const char*>(std::memchr(authority, ']', end - authority));
  const char* from = close ? close : authority;
  return std::memchr(from, ':', end - from) != nullptr;
}

bool check_certificate(struct soap* soap, TlsData* d) {
  // A resumed session shows no certificate: the one it was made with was
  // checked against the pin in its full handshake.
  if (wolfSSL_session_reused(d->ssl) && !d->pin->fingerprint->empty()) return true;
  WOLFSSL_X509* certificate = wolfSSL_get_peer_certificate(d->ssl);
  int size = 0;
  const unsigned char* der = certificate ? wolfSSL_X509_get_der(certificate, &size) : nullptr;
  const std::string shown = der && size > 0 ? certificate_fingerprint(der, static_cast<size_t>(size)) : "";
#if defined(OPENSSL_EXTRA) || defined(OPENSSL_ALL)
  if (certificate != nullptr) wolfSSL_X509_free(certificate);
#endif
  if (shown.empty()) {
    log_printf("[ipcam] %s shows no certificate: refused \n", d->pin->camera.c_str());
  } else if (d->pin->fingerprint->empty()) {
    *d->pin->fingerprint = shown;
    log_printf("[ipcam] %s shows certificate SHA-256 %s: pinned \n", d->pin->camera.c_str(), shown.c_str());
    return true;
  } else if (*d->pin->fingerprint == shown) {
    return true;
  } else {
    log_printf("[ipcam] %s shows certificate SHA-256 %s, not the pinned %s: refused \n", d->pin->camera.c_str(),
               shown.c_str(), d->pin->fingerprint->c_str());
  }
  soap_set_sender_error(soap, "TLS", "certificate not the camera's", SOAP_SSL_ERROR);
  return false;
}

// TLS 1.2 and later; no certificate authority (the pin is the check).
WOLFSSL_CTX* tls_context(TlsData* d) {
  if (d->ctx != nullptr || d->owns_ctx) return d->ctx;
  wolfSSL_Init();
  d->ctx = wolfSSL_CTX_new(wolfSSLv23_client_method());
  d->owns_ctx = true;
  if (d->ctx != nullptr) {
    // TLS 1.2 and later; no certificate authority (the pin is the check).
    wolfSSL_CTX_SetMinVersion(d->ctx, WOLFSSL_TLSV1_2);
    wolfSSL_CTX_set_verify(d->ctx, WOLFSSL_VERIFY_NONE, nullptr);
    // X25519 first: a TLS 1.3 resumption still agrees a key, and on a
    // small CPU X25519 costs a fraction of P-256. Cameras without it pick
    // P-256 (TLS 1.2) or ask for it (TLS 1.3).
    int groups[] = {WOLFSSL_ECC_X25519, WOLFSSL_ECC_SECP256R1, WOLFSSL_ECC_SECP384R1};
    wolfSSL_CTX_set_groups(d->ctx, groups, static_cast<int>(sizeof groups / sizeof groups[0]));
  }
  return d->ctx;
}

SOAP_SOCKET tls_connect(struct soap* soap, const char* endpoint, const char* host, int port) {
  TlsData* d = data_of(soap);
  if (soap_tag_cmp(endpoint, "https:*") != 0) return d->connect(soap, endpoint, host, port);
  if (!names_port(endpoint)) port = 443;
  // The runtime's connect would refuse https:// itself; the address it
  // is handed for TCP is the same without the "s".
  const std::string tcp_endpoint = std::string("http") + (endpoint + 5);
  const SOAP_SOCKET socket = d->connect(soap, tcp_endpoint.c_str(), host, port);
  if (!soap_valid_socket(socket)) return socket;
  limit_socket(soap, socket);
  end_connection(d);
  d->ssl = tls_context(d) ? wolfSSL_new(d->ctx) : nullptr;
  int result = d->ssl ? wolfSSL_set_fd(d->ssl, socket) : WOLFSSL_FAILURE;
  // A camera that has closed its end costs a failed write, not the process
  // (SIGPIPE), as the session's runtime sends are told too.
  if (result == WOLFSSL_SUCCESS) wolfSSL_SetIOWriteFlags(d->ssl, MSG_NOSIGNAL);
  // Offered only while the certificate it was made with is still the pin.
  if (result == WOLFSSL_SUCCESS && *d->pin->session && !d->pin->fingerprint->empty()) {
    static_cast<void>(wolfSSL_set_session(d->ssl, d->pin->session->get()));
  }
  if (result == WOLFSSL_SUCCESS) result = wolfSSL_connect(d->ssl);
  if (result != WOLFSSL_SUCCESS) {
    const int error = d->ssl ? wolfSSL_get_error(d->ssl, result) : 0;
    log_printf("[ipcam] %s: TLS handshake failed (%d) \n", d->pin->camera.c_str(), error);
    soap_set_sender_error(soap, "TLS", "handshake failed", SOAP_SSL_ERROR);
  } else if (check_certificate(soap, d)) {
    d->socket = socket;
    d->trusted = true;
    if (!wolfSSL_session_reused(d->ssl)) d->pin->full_handshake = true;
    return socket;
  }
  end_connection(d);
  d->close(soap, socket);
  return SOAP_INVALID_SOCKET;
}

int tls_send(struct soap* soap, const char* bytes, size_t size) {
  TlsData* d = data_of(soap);
  if (d->ssl == nullptr || soap->socket != d->socket) return d->send(soap, bytes, size);
  while (size > 0) {
    const int chunk = size > 1 << 20 ? 1 << 20 : static_cast<int>(size);
    const int sent = wolfSSL_write(d->ssl, bytes, chunk);
    if (sent <= 0) return SOAP_EOF;
    bytes += sent;
    size -= static_cast<size_t>(sent);
  }
  return SOAP_OK;
}

size_t tls_recv(struct soap* soap, char* bytes, size_t size) {
  TlsData* d = data_of(soap);
  if (d->ssl == nullptr || soap->socket != d->socket) return d->recv(soap, bytes, size);
  const int got = wolfSSL_read(d->ssl, bytes, size > 1 << 20 ? 1 << 20 : static_cast<int>(size));
  return got > 0 ? static_cast<size_t>(got) : 0;
}

// close_notify before the TCP shutdown: a TLS 1.2 camera on OpenSSL drops
// from its cache a session whose connection ended without one, and the next
// command would pay a full handshake.
int tls_shutdown(struct soap* soap, SOAP_SOCKET socket, int how) {
  TlsData* d = data_of(soap);
  if (d->ssl != nullptr && socket == d->socket && wolfSSL_is_init_finished(d->ssl)) {
    static_cast<void>(wolfSSL_shutdown(d->ssl));
  }
  return d->shutdown(soap, socket, how);
}

int tls_close(struct soap* soap, SOAP_SOCKET socket) {
  TlsData* d = data_of(soap);
  if (d->ssl != nullptr && socket == d->socket) end_connection(d);
  return d->close(soap, socket);
}

int copy_plugin(struct soap* soap, struct soap_plugin* to, struct soap_plugin* from) {
  (void)soap;
  const TlsData* source = static_cast<const TlsData*>(from->data);
  TlsData* copy = new TlsData(*source);
  copy->owns_ctx = false;
  copy->ssl = nullptr;
  copy->socket = SOAP_INVALID_SOCKET;
  copy->trusted = false;
  to->data = copy;
  return SOAP_OK;
}

void delete_plugin(struct soap* soap, struct soap_plugin* plugin) {
  (void)soap;
  TlsData* d = static_cast<TlsData*>(plugin->data);
  end_connection(d);
  if (d->owns_ctx) {
    if (d->ctx != nullptr) wolfSSL_CTX_free(d->ctx);
    wolfSSL_Cleanup();
    // A full handshake's arithmetic (and the precomputed tables some
    // wolfSSL builds keep until the cleanup above) takes well over a
    // megabyte for a moment; the allocator would keep those pages for good.
#ifdef __GLIBC__
    if (d->pin->full_handshake) malloc_trim(0);
#endif
  }
  delete d;
}

int tls_plugin(struct soap* soap, struct soap_plugin* plugin, void* arg) {
  TlsData* d = new TlsData;
  d->pin = static_cast<TlsPin*>(arg);
  d->connect = soap->fopen;
  d->send = soap->fsend;
  d->recv = soap->frecv;
  d->close = soap->fclosesocket;
  d->shutdown = soap->fshutdownsocket;
  soap->fopen = tls_connect;
  soap->fsend = tls_send;
  soap->frecv = tls_recv;
  soap->fclosesocket = tls_close;
  soap->fshutdownsocket = tls_shutdown;
  plugin->id = kTlsPluginId;
  plugin->data = d;
  plugin->fcopy = copy_plugin;
  plugin->fdelete = delete_plugin;
  return SOAP_OK;
}

}  // namespace

void hand_over_tls(struct soap* from, struct soap* to) {
  TlsData* giver = data_of(from);
  TlsData* taker = data_of(to);
  if (giver == nullptr || taker == nullptr || giver == taker) return;
  end_connection(taker);
  // A copy that made the context's first TLS connection made the wolfSSL
  // context it lives in: that goes with it.
  if (taker->ctx == nullptr && giver->owns_ctx) {
    taker->ctx = giver->ctx;
    taker->owns_ctx = true;
    giver->ctx = nullptr;
    giver->owns_ctx = false;
  }
  taker->ssl = giver->ssl;
  taker->socket = giver->socket;
  taker->trusted = giver->trusted;
  giver->ssl = nullptr;
  giver->socket = SOAP_INVALID_SOCKET;
  giver->trusted = false;
}

int use_tls(struct soap* soap, TlsPin* pin) { return soap_register_plugin_arg(soap, tls_plugin, pin); }

std::string certificate_fingerprint(const unsigned char* der, size_t size) {
  unsigned char digest[32];
  if (wc_Sha256Hash(der, static_cast<word32>(size), digest) != 0) return "";
  static const char kHex[] = "0123456789abcdef";
  std::string text;
  for (unsigned char byte : digest) {
    text += kHex[byte >> 4];
    text += kHex[byte & 15];
  }
  return text;
}

}  // namespace vantel
