"""Set-up of each connection camsim accepts, in that connection's own thread
(never in the accepting one): its number for the record and its record line.
"""

import threading
import time


class ConnectionSetup:
    """Mixed in before ThreadingHTTPServer. The server has `camera`,
    `recorder` and `record_connections`. The handler, in the same thread,
    finds its connection's number in `local.conn`."""

    local = threading.local()

    def finish_request(self, request, client_address):
        cam = self.camera
        with cam.lock:
            cam.connections += 1
            conn = cam.connections
        self.local.conn = conn
        if self.record_connections:
            self.recorder.write({"event": "connection", "conn": conn, "time": round(time.time(), 3),
                                 "port": self.server_address[1]})
        super().finish_request(request, client_address)
