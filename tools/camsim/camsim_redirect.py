"""The plain-HTTP port of a camera that serves only HTTPS (redirect_https):
every request, whatever its method and path, gets a redirect to the TLS
port, where a second CamServer serves the camera. Runs in the connection
threads of that plain port's CamServer.
"""

from xml.sax.saxutils import escape

from camsim_server import Handler, body_op, envelopes

PAGE = ('<!DOCTYPE html>\n<html><head><title>%d %s</title></head><body><h1>%s</h1>'
        '<p>The document has moved <a href="%s">here</a>.</p></body></html>\n')


class RedirectHandler(Handler):
    """Answers every request with redirect_status and a Location on the TLS
    port (path "/", or the request's own with redirect_keep_path), or exactly
    redirect_location; each one goes on record as `redirect <status>`."""

    def __getattr__(self, name):
        if name.startswith("do_"):  # any method a client may send, HEAD and PUT too
            return self.redirect
        raise AttributeError(name)

    def do_GET(self):
        self.redirect()

    def do_POST(self):
        self.redirect()

    def location(self, cfg):
        srv = self.server
        host, port = srv.server_address[:2]
        target = srv.tls_server.server_address[1]
        loc = cfg.get("redirect_location")
        if loc is not None:
            # Sent as given; the placeholders let a test name ports it learns only at start.
            return loc.replace("{host}", host).replace("{port}", str(port)).replace("{tls_port}", str(target))
        path = self.path if cfg.get("redirect_keep_path") else "/"
        return "https://%s:%d%s" % (host, target, path)

    def redirect(self):
        srv = self.server
        cam = srv.camera
        raw = self.read_body()
        status = cam.cfg.get("redirect_status", 301)
        loc = self.location(cam.cfg)
        entry = self.new_entry(raw)
        entry["op"], entry["ns"] = body_op(raw, envelopes(cam))
        entry["method"] = self.command
        entry["answer"] = "redirect %d" % status
        srv.recorder.write(entry)
        srv.log("#%d %s %s %s {%s} -> %s %s" % (entry["seq"], self.command, self.path, entry["op"], entry["ns"],
                                                entry["answer"], loc[:200]))
        phrase = self.responses[status][0]
        page = (PAGE % (status, phrase, phrase, escape(loc, {'"': "&quot;"}))).encode("utf-8", "surrogateescape")
        self.send_response(status)
        # Exactly the text given, whatever it holds: send_header would insist on Latin-1.
        self._headers_buffer.append(b"Location: " + loc.encode("utf-8", "surrogateescape") + b"\r\n")
        self.send_header("Content-Type", "text/html")
        self.send_header("Content-Length", str(len(page)))
        if srv.keep_alive:
            self.send_header("Connection", "close" if self.close_connection else "keep-alive")
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(page)
