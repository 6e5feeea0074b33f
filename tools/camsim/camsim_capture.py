"""Capture and replay: `camsim record` between a client and a real camera,
`camsim --replay DIR` serving what it stored.

A capture directory holds index.json and one file per distinct answer. The
index lists, per request key (namespace, operation and the tokens the request
names), the answers in the order they came; replay hands them out in that
order and repeats the last one. Requests themselves are not stored: their
headers carry the credentials, nonces and digests.
"""

import http.client
import json
import os
import re
import threading
import urllib.parse
import xml.etree.ElementTree as ET
from http.server import ThreadingHTTPServer

import camsim_soap as S
from camsim_server import Handler

# The request fields that pick out which object an answer is about.
KEY_FIELDS = ("ProfileToken", "ConfigurationToken", "NodeToken", "PresetToken", "token")
CAMERA = "{camera}"  # stands for the camera's host:port in stored answers
HOST = "{camera-host}"  # the camera's host where another port follows (rtsp://HOST:554/...)


def request_key(raw):
    """(ns, op, {field: token}) of a request body; empty strings if unreadable."""
    try:
        body = ET.fromstring(raw).find("{%s}Body" % S.ENV)
        req = next(iter(body))
    except (ET.ParseError, TypeError, StopIteration):
        return "", "", {}
    op, ns = S.local(req.tag), S.ns_of(req.tag)
    try:
        values = S.request_values(op, req)
    except ValueError:
        values = {}
    return ns, op, {k: values[k] for k in KEY_FIELDS if values.get(k) is not None}


def _key_text(ns, op, tokens):
    return json.dumps([ns, op, sorted(tokens.items())])


class Capture:
    """A capture directory, written by the recorder or read for replay."""

    def __init__(self, path, create=False):
        self.path = path
        self.lock = threading.Lock()
        self.entries = {}  # key text -> {"ns", "op", "tokens", "answers": [...]}
        self.served = {}  # key text -> answers handed out so far
        if create:
            os.makedirs(path, exist_ok=True)
        index = os.path.join(path, "index.json")
        if os.path.exists(index):
            with open(index, encoding="utf-8") as f:
                for e in json.load(f)["requests"]:
                    self.entries[_key_text(e["ns"], e["op"], e["tokens"])] = e
        elif not create:
            raise ValueError("%s holds no capture (index.json missing)" % path)

    # -- recording ------------------------------------------------------
    def store(self, ns, op, tokens, status, ctype, data):
        with self.lock:
            e = self.entries.setdefault(_key_text(ns, op, tokens), {
                "ns": ns, "op": op, "tokens": tokens, "answers": []})
            prev = e["answers"][-1] if e["answers"] else None
            if prev and (prev["status"], prev["content_type"]) == (status, ctype) and \
                    self._read(prev["file"]) == data:
                prev["count"] += 1
            else:
                name = re.sub(r"[^A-Za-z0-9._-]+", "_", "-".join([op or "unparsed"] + [
                    tokens[k] for k in sorted(tokens)]))[:80]
                name = "%s.%d.xml" % (name, len(e["answers"]) + 1)
                with open(os.path.join(self.path, name), "wb") as f:
                    f.write(data)
                e["answers"].append({"status": status, "content_type": ctype, "file": name, "count": 1})
            tmp = os.path.join(self.path, ".index.json.tmp")
            with open(tmp, "w", encoding="utf-8") as f:
                json.dump({"requests": list(self.entries.values())}, f, indent=1, ensure_ascii=False)
            os.replace(tmp, os.path.join(self.path, "index.json"))

    def _read(self, name):
        with open(os.path.join(self.path, name), "rb") as f:
            return f.read()

    # -- replay ---------------------------------------------------------
    def handler(self, ns, op, values, ctx):
        """An operation handler for CamServer that answers from the capture, or None."""
        tokens = {k: values[k] for k in KEY_FIELDS if values.get(k) is not None}
        key = _key_text(ns, op, tokens)
        e = self.entries.get(key)
        if e is None:
            return None

        def answer(srv, cam, v):
            with self.lock:
                n = self.served.get(key, 0)
                self.served[key] = n + 1
            for a in e["answers"]:
                if n < a["count"]:
                    break
                n -= a["count"]
            host, port = srv.server_address[:2]
            data = self._read(a["file"]).replace(CAMERA.encode(), ("%s:%d" % (host, port)).encode())
            ctx["content_type"] = a["content_type"]
            if a["status"] != 200:  # the record names the fault the camera sent
                try:
                    codes = ["ter:" + (x.text or "").split(":")[-1]  # ONVIF subcodes are all ter:
                             for x in ET.fromstring(data).iter("{%s}Value" % S.ENV)][1:]
                    ctx["answer"] = "/".join(codes) or "status %d" % a["status"]
                except ET.ParseError:
                    ctx["answer"] = "status %d" % a["status"]
            return a["status"], data.replace(HOST.encode(), host.encode())
        return answer


def hide_address(data, host, port, explicit_port):
    """The camera's own address in an answer replaced by the placeholders."""
    data = data.replace(("%s:%d" % (host, port)).encode(), CAMERA.encode())
    if not explicit_port:  # http://camera/onvif/... with the port left out
        data = data.replace(("//%s/" % host).encode(), ("//%s/" % CAMERA).encode())
    return re.sub(rb"//" + re.escape(host.encode()) + rb"(?=[:/])", b"//" + HOST.encode(), data)


class RecordHandler(Handler):
    def do_POST(self):
        srv = self.server
        raw = self.read_body()
        ns, op, tokens = request_key(raw)
        headers = {k: self.headers[k] for k in ("Content-Type", "SOAPAction") if self.headers.get(k)}
        up = srv.upstream
        conn = http.client.HTTPConnection(up.hostname, up.port or 80, timeout=srv.timeout)
        try:
            conn.request("POST", self.path, raw, headers)
            r = conn.getresponse()
            status, ctype, data = r.status, r.getheader("Content-Type") or "", r.read()
        except (OSError, http.client.HTTPException) as e:
            srv.log("record: %s %s -> upstream failed: %s" % (self.path, op, e))
            self.close_connection = True
            return
        finally:
            conn.close()
        hidden = hide_address(data, up.hostname, up.port or 80, up.port is not None)
        # A refused login says something about the credentials, not the
        # camera; replay checks credentials itself.
        refused = status == 401 or b"NotAuthorized" in data
        if not refused:
            srv.capture.store(ns, op, tokens, status, ctype, hidden)
        srv.log("record: %s %s %s -> %d, %d bytes%s" % (self.path, op, json.dumps(tokens), status, len(data),
                                                        " (refused login, not stored)" if refused else ""))
        # The client is sent through the recorder for the camera's other services too.
        host, port = self.server.server_address[:2]
        self.send_answer(status, ctype, hidden.replace(CAMERA.encode(), ("%s:%d" % (host, port)).encode())
                         .replace(HOST.encode(), up.hostname.encode()), (), {})


class RecordServer(ThreadingHTTPServer):
    daemon_threads = True
    allow_reuse_address = True

    def __init__(self, addr, upstream, out, quiet=False, timeout=30):
        super().__init__(addr, RecordHandler)
        self.upstream = urllib.parse.urlsplit(upstream)
        if self.upstream.scheme != "http" or not self.upstream.hostname:
            raise ValueError("--upstream must be http://HOST[:PORT], not %r" % upstream)
        self.capture = Capture(out, create=True)
        self.quiet = quiet
        self.timeout = timeout

    def log(self, line):
        if not self.quiet:
            print(line, flush=True)
