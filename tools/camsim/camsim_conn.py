"""Set-up of each connection camsim accepts, in that connection's own thread
(never in the accepting one): its number for the record, its record line,
and the TLS handshake, so a client that stalls in the handshake holds up
only itself.
"""

import socket
import ssl
import threading
import time

HANDSHAKE_SECONDS = 30  # a client silent this long in the handshake is dropped


class ConnectionSetup:
    """Mixed in before ThreadingHTTPServer. The server has `camera`,
    `recorder`, `tls` (a camsim_tls.Tls, or None for plain HTTP),
    `record_connections` and `log`. The handler, in the same thread, finds
    its connection's number in `local.conn`."""

    local = threading.local()

    def finish_request(self, request, client_address):
        cam = self.camera
        with cam.lock:
            cam.connections += 1
            conn = cam.connections
        self.local.conn = conn
        port = self.server_address[1]
        if self.record_connections:
            self.recorder.write({"event": "connection", "conn": conn, "time": round(time.time(), 3),
                                 "port": port})
        try:
            self.serve_connection(request, client_address, conn, port)
        finally:
            if self.record_connections:
                self.recorder.write({"event": "closed", "conn": conn, "time": round(time.time(), 3)})

    def serve_connection(self, request, client_address, conn, port):
        if self.tls is None:
            super().finish_request(request, client_address)
            return
        ctx, fp = self.tls.current
        request.settimeout(HANDSHAKE_SECONDS)
        sock = ctx.wrap_socket(request, server_side=True, do_handshake_on_connect=False)
        try:
            try:
                sock.do_handshake()
            except (ssl.SSLError, OSError) as e:
                # Plain HTTP on the TLS port, a client refusing the certificate,
                # a stall: only this connection ends.
                reason = getattr(e, "reason", None) or str(e) or type(e).__name__
                self.recorder.write({"event": "tls_failed", "conn": conn, "time": round(time.time(), 3),
                                     "port": port, "error": reason})
                self.log("#conn %d TLS handshake failed: %s" % (conn, reason))
                return
            sock.settimeout(None)
            self.recorder.write({"event": "tls", "conn": conn, "time": round(time.time(), 3), "port": port,
                                 "version": sock.version(), "cipher": sock.cipher()[0],
                                 "resumed": sock.session_reused, "fingerprint": fp})
            try:
                super().finish_request(sock, client_address)
            except (ssl.SSLError, OSError):
                pass  # the client went away mid-request, as it may
        finally:
            # close_notify first, as a camera's TLS library does: without it
            # OpenSSL drops the session from its cache and a TLS 1.2 client
            # could never resume it.
            try:
                sock.settimeout(1)
                sock.unwrap()
            except (ssl.SSLError, OSError, ValueError):
                pass
            try:
                sock.shutdown(socket.SHUT_WR)
            except OSError:
                pass
            sock.close()
