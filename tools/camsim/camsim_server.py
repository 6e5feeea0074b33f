"""HTTP side of camsim: WS-Security check, dispatch, recording, injected misbehaviour."""

import base64
import binascii
import datetime
import email.message
import hashlib
import json
import os
import re
import sys
import threading
import time
import time
import xml.etree.ElementTree as ET
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

import camsim_soap as S
from camsim_conn import ConnectionSetup
from camsim_model import SoapFault

DIGEST = "#PasswordDigest"
HTML_401 = (b"<!DOCTYPE html>\n<html><head><title>401 Unauthorized</title></head>"
            b"<body><h1>401 Unauthorized</h1><p>Authorization required.</p></body></html>\n")
REALM = "camsim"
OPAQUE = hashlib.md5(b"camsim").hexdigest()  # the same in every challenge, as firmware keeps it
HTTP_HASHES = {"MD5": hashlib.md5, "SHA-256": hashlib.sha256}
# xsd:dateTime of wsu:Created; no zone is taken as UTC, the camera's only zone.
CREATED = re.compile(r"(\d{4})-(\d\d)-(\d\d)T(\d\d):(\d\d):(\d\d)(\.\d+)?(Z|[+-]\d\d:\d\d)?$")


def password_digest(nonce, created, password):
    """Base64(SHA1(nonce + created + password)), nonce as raw bytes."""
    return base64.b64encode(hashlib.sha1(nonce + created.encode() + password.encode()).digest()).decode()


def parse_created(text):
    """Unix time of an xsd:dateTime, or None if it cannot be read."""
    m = CREATED.match(text)
    if not m:
        return None
    zone = m.group(8) or "Z"
    try:
        tz = datetime.timezone.utc if zone == "Z" else datetime.timezone(
            (-1 if zone[0] == "-" else 1) * datetime.timedelta(hours=int(zone[1:3]), minutes=int(zone[4:6])))
        when = datetime.datetime(*(int(x) for x in m.groups()[:6]), tzinfo=tz)
    except ValueError:
        return None
    return when.timestamp() + float(m.group(7) or 0)


def digest_challenge(cam, stale=False):
    """WWW-Authenticate value of http_digest, with a nonce camsim will accept from now on."""
    nonce = os.urandom(16).hex()
    with cam.lock:
        cam.digest_nonces[nonce] = {"uses": 0, "nc": 0}
    return 'Digest realm="%s", qop="%s", nonce="%s", opaque="%s", algorithm=%s%s' % (
        REALM, cam.cfg.get("http_digest_qop") or "auth", nonce, OPAQUE,
        cam.cfg.get("http_digest_algorithm") or "MD5", ", stale=true" if stale else "")


def digest_verdict(cam, authorization, method, uri, body):
    """"ok" for a good Digest (RFC 7616, or RFC 2069 without qop), "stale" for a
    good one on a nonce used up (http_digest_nonce_uses), else "bad". With
    qop, each nonce's count must grow, as servers that refuse replays check."""
    verdict = digest_check(cam, authorization, method, uri, body)
    if verdict is None:
        return "bad"
    nonce, nc = verdict
    with cam.lock:
        state = cam.digest_nonces[nonce]
        if nc is not None:
            if nc <= state["nc"]:
                return "bad"
            state["nc"] = nc
        state["uses"] += 1
        limit = cam.cfg.get("http_digest_nonce_uses")
        return "stale" if limit and state["uses"] > limit else "ok"


def digest_check(cam, authorization, method, uri, body):
    """(nonce, nonce count or None) of a Digest whose response is right, else None.
    auth-int, where the challenge offers it, covers the body too."""
    if not authorization or authorization[:7].lower() != "digest ":
        return None
    pairs = re.findall(r'([\w-]+)\s*=\s*(?:"((?:[^"\\]|\\.)*)"|([^\s,]*))', authorization[7:])
    p = {k.lower(): re.sub(r"\\(.)", r"\1", quoted) or bare for k, quoted, bare in pairs}
    algo = cam.cfg.get("http_digest_algorithm") or "MD5"
    users = cam.cfg.get("users") or {}
    user, nonce = p.get("username"), p.get("nonce")
    with cam.lock:
        known = nonce in cam.digest_nonces
    if not known or user not in users or p.get("realm") != REALM or p.get("uri") != uri or \
            p.get("algorithm", algo).upper() != algo or p.get("opaque", OPAQUE) != OPAQUE:
        return None

    def h(*parts):
        return HTTP_HASHES[algo](":".join(parts).encode()).hexdigest()
    ha1, ha2 = h(user, REALM, users[user]), h(method, uri)
    qop = p.get("qop")
    offered = (cam.cfg.get("http_digest_qop") or "auth").split(",")
    if qop == "auth-int":
        ha2 = h(method, uri, HTTP_HASHES[algo](body).hexdigest())
    if qop is None:
        want = h(ha1, nonce, ha2)
    elif qop in offered and p.get("nc") and p.get("cnonce") and re.fullmatch(r"[0-9a-fA-F]{8}", p["nc"]):
        want = h(ha1, nonce, p["nc"], p["cnonce"], qop, ha2)
    else:
        return None
    if (p.get("response") or "").lower() != want:
        return None
    return nonce, int(p["nc"], 16) if qop else None


def body_op(raw, envs=(S.ENV,)):
    """(op, ns) of a request's Body, empty strings if it does not parse.
    envs: the SOAP envelope namespaces accepted, the first by default."""
    try:
        root = ET.fromstring(raw)
        env = S.ns_of(root.tag) if S.ns_of(root.tag) in envs else envs[0]
        req = next(iter(root.find("{%s}Body" % env)))
    except (ET.ParseError, TypeError, StopIteration):
        return "", ""
    return S.local(req.tag), S.ns_of(req.tag)


def envelopes(cam):
    """The SOAP envelope namespaces requests are read in: 1.2, and 1.1 too with soap11."""
    return (S.ENV, S.ENV11) if cam.cfg.get("soap11") else (S.ENV,)


class Recorder:
    def __init__(self, path):
        self.lock = threading.Lock()
        self.f = open(path, "a", encoding="utf-8") if path else None

    def write(self, entry):
        if self.f is None:
            return
        with self.lock:
            self.f.write(json.dumps(entry, sort_keys=False) + "\n")
            self.f.flush()


class CamServer(ConnectionSetup, ThreadingHTTPServer):
    daemon_threads = True
    allow_reuse_address = True

    def __init__(self, addr, camera, recorder, quiet=False, capture=None, tls=None, handler=None):
        super().__init__(addr, handler or Handler)
        self.camera = camera
        self.capture = capture  # answers served back instead of the camera model's
        self.recorder = recorder
        self.quiet = quiet
        self.stopping = threading.Event()
        self.tls = tls  # a camsim_tls.Tls: this port speaks HTTPS
        cfg = camera.cfg
        self.record_connections = cfg.get("record_connections", False)
        # Request lines name their connection wherever the record holds connection or handshake lines.
        self.track_connections = self.record_connections or cfg.get("tls", False) or \
            cfg.get("redirect_https", False)
        self.keep_alive = cfg.get("keep_alive", False)
        self.close_connections = cfg.get("close_connections", False)
        self.drop_kept = cfg.get("drop_kept", False)

    @property
    def scheme(self):
        return "https" if self.tls else "http"

    @property
    def base(self):
        host, port = self.server_address[:2]
        return "%s://%s:%d" % (self.scheme, host, port)

    @property
    def xaddr_base(self):
        """What GetCapabilities names: advertise, as a camera behind NAT or a port forward does, else base."""
        adv = self.camera.cfg.get("advertise")
        return "%s://%s" % (self.scheme, adv) if adv else self.base

    def log(self, line):
        if not self.quiet:
            print(line, flush=True)


def check_security(cam, header):
    """(token, auth, user, clock) for a request's SOAP header.

    token: "fresh"/"reused"/"none" (the nonce), auth: "ok"/"bad"/"none",
    clock: None, or why wsu:Created refuses the token: "expired" (more than
    token_window seconds off the camera's clock) or "unreadable".
    """
    sec = None
    if header is not None:
        sec = header.find("{%s}Security" % S.WSSE)
    ut = sec.find("{%s}UsernameToken" % S.WSSE) if sec is not None else None
    if ut is None:
        return "none", "none", None, None
    user = (ut.findtext("{%s}Username" % S.WSSE) or "").strip()
    pw_el = ut.find("{%s}Password" % S.WSSE)
    nonce_txt = (ut.findtext("{%s}Nonce" % S.WSSE) or "").strip()
    created_el = ut.find("{%s}Created" % S.WSU)
    created = (created_el.text or "").strip() if created_el is not None else ""
    clock = None
    if created_el is not None:
        when = parse_created(created)
        if when is None:
            clock = "unreadable"
        elif abs(when - cam.now()) > cam.cfg.get("token_window", 300):
            clock = "expired"
    token = "none"
    nonce = None
    if nonce_txt:
        try:
            nonce = base64.b64decode(nonce_txt, validate=True)
        except (binascii.Error, ValueError):
            return "fresh", "bad", user, clock
        with cam.lock:
            token = "reused" if nonce_txt in cam.nonces else "fresh"
            cam.nonces.add(nonce_txt)
    users = cam.cfg.get("users") or {}
    if pw_el is None or user not in users:
        return token, "bad", user, clock
    given = (pw_el.text or "").strip()
    guarded = cam.cfg.get("replay_protection")
    if (pw_el.get("Type") or "").endswith(DIGEST):
        ok = nonce is not None and given == password_digest(nonce, created, users[user])
    else:  # PasswordText, as some clients fall back to it; replay protection wants a digest
        ok = given == users[user] and not guarded
    if ok and token == "reused" and (cam.cfg.get("reject_reused_nonce") or guarded):
        ok = False
    return token, "ok" if ok and not clock else "bad", user, clock


def soap_action(headers):
    ct = headers.get("Content-Type")
    if ct:
        m = email.message.Message()
        m["content-type"] = ct
        a = m.get_param("action")
        if a:
            return a
    a = headers.get("SOAPAction")
    return a.strip().strip('"') if a is not None else None


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    server_version = "camsim/1.0"

    def log_message(self, fmt, *args):  # the per-request line is printed by handle_soap
        pass

    def date_time_string(self, timestamp=None):
        # The Date header comes from the camera's clock, clock_offset and all.
        cam = getattr(self.server, "camera", None)  # the recorder has none
        if timestamp is None and cam is not None:
            timestamp = cam.now()
        return super().date_time_string(timestamp)

    def send_response(self, code, message=None):
        cam = getattr(self.server, "camera", None)
        if cam is None or cam.cfg.get("date_header", True):
            super().send_response(code, message)
            return
        # date_header false: firmware that sends no Date at all.
        self.log_request(code)
        self.send_response_only(code, message)
        self.send_header("Server", self.version_string())

    def read_body(self):
        if "chunked" in (self.headers.get("Transfer-Encoding") or "").lower():
            out = b""
            while True:
                size = int(self.rfile.readline().split(b";")[0].strip() or b"0", 16)
                if size == 0:
                    while self.rfile.readline() not in (b"\r\n", b"\n", b""):
                        pass
                    return out
                out += self.rfile.read(size)
                self.rfile.readline()
        return self.rfile.read(int(self.headers.get("Content-Length") or 0))

    def do_GET(self):
        msg = b"camsim: ONVIF over SOAP, POST only\n"
        self.send_response(405)
        self.send_header("Allow", "POST")
        self.send_header("Content-Type", "text/plain")
        self.send_header("Content-Length", str(len(msg)))
        self.end_headers()
        self.wfile.write(msg)

    def do_POST(self):
        srv = self.server
        cam = srv.camera
        self.requests_here = getattr(self, "requests_here", 0) + 1
        if srv.drop_kept and self.requests_here > 1:
            if srv.record_connections:
                srv.recorder.write({"event": "dropped", "conn": srv.local.conn, "time": round(time.time(), 3)})
            self.close_connection = True
            return
        if srv.close_connections:
            self.close_connection = True
        raw = self.read_body()
        entry = self.new_entry(raw)
        ctx = {}
        locked = cam.cfg.get("lockout") and cam.locked()
        try:
            if locked:
                status, body, mode = self.locked_out(cam, raw, entry)
            elif cam.cfg.get("http_digest") and not self.digest_passed(cam, raw, entry):
                status, body, mode = 401, "", "digest"
                entry["answer"] = "401 digest"
            else:
                status, body, mode = self.handle_soap(cam, raw, entry, ctx)
        except SoapFault as f:
            (status, body), mode = self.fault_answer(cam, f), f.shape
            entry["answer"] = f.label
        except Exception as e:  # a camsim bug must still reach the test as a clear fault
            f = SoapFault("Action", "camsim internal error: %r" % e, "Receiver")
            (status, body), mode = self.fault_answer(cam, f), None
            entry["answer"] = f.label
        if mode in ("empty", "soap11", "html401"):
            entry["answer"] += " (%s)" % mode
        if locked:
            entry["answer"] = "locked"
        srv.recorder.write(entry)
        srv.log("#%d %s %s {%s} -> %s%s" % (
            entry["seq"], self.path, entry["op"], entry["ns"], entry["answer"],
            "" if entry["auth"] == "ok" else " (auth %s%s)" % (
                entry["auth"], ", clock %s" % entry["clock"] if "clock" in entry else "")))
        if cam.cfg.get("lockout") and not locked:
            self.note_login(cam, entry, ctx)  # before the answer: the client's next request finds the lock
        if mode == "hang":
            srv.stopping.wait()
            self.close_connection = True
            return
        if mode == "drop":
            self.close_connection = True
            return
        delay = cam.delay(entry["op"] or "")
        if delay:
            time.sleep(delay)
        status, ctype, data = self.answer_bytes(cam, status, body, mode, entry, ctx)
        challenge = None
        if status == 401:
            challenge = digest_challenge(cam, entry.get("http_auth") == "stale") if cam.cfg.get("http_digest") else \
                'Digest realm="camsim", qop="auth", nonce="%s"' % os.urandom(8).hex()
        self.send_answer(status, ctype, data, cam.framing, {"WWW-Authenticate": challenge} if challenge else {})

    def answer_bytes(self, cam, status, body, mode, entry, ctx):
        """(status, Content-Type, bytes) of the answer decided for a request."""
        ctype = "application/soap+xml; charset=utf-8"
        action = None
        if status == 200 and entry["op"]:
            action = "%s/%sResponse" % (entry["ns"], entry["op"])
        elif status != 200:
            action = "http://www.w3.org/2005/08/addressing/soap/fault"
        if mode in ("html401", "digest"):
            status, ctype = 401, "text/html"
            data = HTML_401
        elif mode == "empty":
            status, data = 200, b""
        elif isinstance(body, bytes):  # a captured answer, as the camera sent it
            data = body
            ctype = ctx.get("content_type") or ctype
            if mode == "soap11" or cam.cfg.get("soap11"):
                data = data.replace(S.ENV.encode(), S.ENV11.encode())
            if cam.cfg.get("soap11"):
                ctype = "text/xml; charset=utf-8"
        elif cam.cfg.get("soap11"):  # firmware that speaks SOAP 1.1 whatever it is asked in
            data = S.render11(cam.style, body, str(cam.cfg.get("wsa", "2005")), cam.cfg.get("wsa_headers"),
                              ctx.get("message_id"), action).encode("utf-8")
            ctype = "text/xml; charset=utf-8"
        else:
            data = S.render(cam.style, body, str(cam.cfg.get("wsa", "2005")), cam.cfg.get("wsa_headers"),
                            ctx.get("message_id"), action, soap11=mode == "soap11").encode("utf-8")
            if mode == "soap11":
                ctype = "text/xml; charset=utf-8"
            elif action and "action" in cam.framing:
                ctype += '; action="%s"' % action
        return status, ctype, data

    def new_entry(self, raw):
        """The record entry of a request, numbered; answer "ok" until decided."""
        srv = self.server
        entry = {"seq": 0, "time": round(time.time(), 3)}
        if getattr(srv, "track_connections", False):
            entry["conn"] = srv.local.conn
        entry.update({"op": "", "ns": "", "path": self.path, "action": soap_action(self.headers),
                      "token": "none", "auth": "none", "user": None, "answer": "ok",
                      "values": {}, "body": raw.decode("utf-8", "replace")})
        with srv.camera.lock:
            srv.camera.seq += 1
            entry["seq"] = srv.camera.seq
        return entry

    def fault_answer(self, cam, f):
        """(status, body) of a fault: SOAP 1.2, HTTP 400 for Sender, 500 for
        Receiver; with soap11 the 1.1 shape, always 500 as SOAP 1.1 over HTTP has it."""
        if cam.cfg.get("soap11"):
            return 500, S.fault_body11(f)
        return (400 if f.code == "Sender" else 500), S.fault_body(f)

    def locked_out(self, cam, raw, entry):
        """The answer of a locked camera, whatever the credentials: HTTP 401
        with http_digest, else NotAuthorized in the auth_failure shape. The
        record still shows the operation and how the token would have fared."""
        entry["op"], entry["ns"] = body_op(raw, envelopes(cam))
        try:
            root = ET.fromstring(raw)
            header = root.find("{%s}Header" % S.ns_of(root.tag))
            entry["token"], entry["auth"], entry["user"], _ = check_security(cam, header)
        except ET.ParseError:
            pass
        if cam.cfg.get("http_digest"):
            return 401, "", "digest"
        f = SoapFault("NotAuthorized", "Sender not authorized", "Sender")
        f.shape = cam.cfg.get("auth_failure")
        raise f

    def note_login(self, cam, entry, ctx):
        """lockout: a refused login (token refused with NotAuthorized, or a
        wrong HTTP Digest answer) counts; accepted credentials clear the count;
        a request without credentials changes nothing."""
        refused = ctx.get("refused_login") or entry.get("http_auth") == "refused"
        if not refused and entry["auth"] != "ok" and entry.get("http_auth") != "digest":
            return
        if cam.note_login(refused):
            self.server.log("camsim: %d refused logins in a row, every request refused for %s s" % (
                cam.cfg["lockout"], S.num(cam.cfg.get("lockout_seconds", 1800))))

    def digest_passed(self, cam, raw, entry):
        """The http_digest check, before any SOAP: records http_auth, and op/ns
        so that a 401 is on record with the operation it refused."""
        entry["op"], entry["ns"] = body_op(raw, envelopes(cam))
        verdict = digest_verdict(cam, self.headers.get("Authorization"), self.command, self.path, raw)
        if verdict == "ok":
            entry["http_auth"] = "digest"
        elif verdict == "stale":
            entry["http_auth"] = "stale"  # right credentials on a nonce used up: not a refused login
        elif (entry["ns"], entry["op"]) == (S.TDS, "GetSystemDateAndTime"):
            entry["http_auth"] = "exempt"
        else:
            # A wrong answer to a challenge is a refused login; no answer at
            # all is only the first half of Digest.
            entry["http_auth"] = "refused" if self.headers.get("Authorization") else "challenged"
        return entry["http_auth"] in ("digest", "exempt")

    def send_answer(self, status, ctype, data, framing, extra):
        chunked = ("chunked" in framing or "keepalive" in framing) and "http10" not in framing
        if "http10" in framing:
            # Old embedded web servers: HTTP/1.0, no length, the close ends the body.
            self.protocol_version = "HTTP/1.0"
            self.close_connection = True
        self.send_response(status)
        self.send_header("Content-Type", ctype)
        for k, v in extra.items():
            self.send_header(k, v)
        if "http10" in framing:
            self.send_header("Connection", "close")
        elif chunked:
            self.send_header("Transfer-Encoding", "chunked")
        else:
            self.send_header("Content-Length", str(len(data)))
        if "keepalive" in framing:
            # A camera's own web server: the connection stays open for the
            # next request whatever the client asked; the client ends it.
            self.send_header("Connection", "keep-alive")
            self.close_connection = False
        elif (self.server.keep_alive or self.server.close_connections) and "http10" not in framing:
            # keep_alive: say so, as servers do; open as long as the client wants it.
            self.send_header("Connection", "close" if self.close_connection else "keep-alive")
        self.end_headers()
        if chunked:
            # Uneven chunks, so a reader that assumes one chunk per answer fails.
            step = max(1, len(data) // 3 + 7)
            for i in range(0, len(data), step):
                part = data[i:i + step]
                self.wfile.write(b"%x\r\n%s\r\n" % (len(part), part))
            self.wfile.write(b"0\r\n\r\n")
        else:
            self.wfile.write(data)

    def handle_soap(self, cam, raw, entry, ctx):
        try:
            root = ET.fromstring(raw)
        except ET.ParseError as e:
            raise SoapFault("WellFormed", "Request is not well-formed XML: %s" % e)
        env = S.ENV
        if root.tag == "{%s}Envelope" % S.ENV11:
            if not cam.cfg.get("soap11"):
                raise SoapFault([], "Only SOAP 1.2 is served", "VersionMismatch")
            env = S.ENV11  # firmware speaking 1.1 takes 1.1 requests as well as 1.2 ones
        elif root.tag != "{%s}Envelope" % S.ENV:
            raise SoapFault("InvalidArgs", "Root element is not a SOAP 1.2 Envelope")
        header = root.find("{%s}Header" % env)
        if header is not None:
            ctx["message_id"] = next((m.text.strip() for w in S.WSA.values()
                                      for m in header.iter("{%s}MessageID" % w) if m.text), None)
        body = root.find("{%s}Body" % env)
        req = next(iter(body), None) if body is not None else None
        if req is None:
            raise SoapFault("InvalidArgs", "Empty or missing SOAP Body")
        op, ns = S.local(req.tag), S.ns_of(req.tag)
        entry["op"], entry["ns"] = op, ns
        entry["token"], entry["auth"], entry["user"], clock = check_security(cam, header)
        if clock:
            entry["clock"] = clock
        # Cameras answer GetSystemDateAndTime to anyone, so that a client can
        # learn their clock before it writes a token's Created.
        open_op = (ns, op) == (S.TDS, "GetSystemDateAndTime")
        try:
            entry["values"] = S.request_values(op, req)
        except ValueError as e:
            entry["values"] = {}
            raise SoapFault("InvalidArgs", "Malformed value in %s: %s" % (op, e))
        capture = self.server.capture
        if capture is not None:
            handler = capture.handler(ns, op, entry["values"], ctx)
        else:
            handler = HANDLERS.get((ns, op))
            if ns in (S.TPTZ, S.TPTZ1) and not cam.has_ptz:
                handler = None
            if open_op and cam.cfg.get("date_time_answer") == "absent":
                handler = None
        # A replay checks credentials first: the capture holds no answer
        # for a request the camera refused.
        if handler is None and capture is None:
            raise SoapFault("ActionNotSupported", "%s {%s} is not supported" % (op, ns))
        guarded = cam.cfg.get("replay_protection")
        exempt = open_op or (op in (cam.cfg.get("auth_exempt") or []) and not guarded)
        if entry["auth"] == "bad" or (entry["auth"] == "none" and (cam.cfg.get("auth_required", True) or guarded)):
            if not exempt:
                ctx["refused_login"] = entry["auth"] == "bad"
                f = SoapFault("NotAuthorized", "Sender not authorized", "Sender")
                f.shape = cam.cfg.get("auth_failure")
                raise f
        if handler is None:
            raise SoapFault("ActionNotSupported", "%s {%s} is not in the capture" % (op, ns))
        v = entry["values"]
        tokens = {v.get(k) for k in ("ProfileToken", "ConfigurationToken", "NodeToken", "token")} - {None}
        mode = cam.take_no_answer(op, tokens)
        if mode in ("hang", "drop"):
            entry["answer"] = mode
            return 0, "", mode
        if cam.cfg.get("strict_requests", True) and capture is None:
            err = S.check_request(op, ns, req)
            if err:
                raise SoapFault("InvalidArgs", err)
        f = cam.take_fault(op, tokens)
        if isinstance(f, SoapFault):
            raise f
        with cam.lock:
            out = handler(self.server, cam, v)
        if isinstance(out, tuple):  # a captured answer: (status, body bytes)
            entry["answer"] = ctx.get("answer", "ok")
            return out + (f,)
        return 200, out, f


# ---------------------------------------------------------------- operations
def _host(srv):
    return srv.server_address[0]


def op_get_capabilities(srv, cam, v):
    cats = set(v.get("Category") or ["All"])
    ptz_absent = cam.cfg.get("ptz") == "absent"
    if "All" in cats:
        cats = {"Device", "Media"} | (set() if ptz_absent else {"PTZ"})
    if cats - {"Device", "Media", "PTZ"} or ("PTZ" in cats and ptz_absent):
        raise SoapFault("ActionNotSupported/NoSuchService", "Requested category not available",
                        "Receiver")
    parts = []
    if "Device" in cats:
        sysc = S.el("tt:System", *[S.el("tt:" + k, False) for k in (
            "DiscoveryResolve", "DiscoveryBye", "RemoteDiscovery", "SystemBackup",
            "SystemLogging", "FirmwareUpgrade")],
            S.el("tt:SupportedVersions", S.el("tt:Major", 2), S.el("tt:Minor", 40)),
            S.el("tt:SupportedVersions", S.el("tt:Major", 2), S.el("tt:Minor", 20)))
        sec = S.el("tt:Security", *[S.el("tt:" + k, False) for k in (
            "TLS1.1", "TLS1.2", "OnboardKeyGeneration", "AccessPolicyConfig",
            "X.509Token", "SAMLToken", "KerberosToken", "RELToken")])
        parts.append(S.el("tt:Device", S.el("tt:XAddr", srv.xaddr_base + "/onvif/device_service"),
                          S.el("tt:Network", S.el("tt:IPFilter", False),
                               S.el("tt:ZeroConfiguration", False),
                               S.el("tt:IPVersion6", False), S.el("tt:DynDNS", False)),
                          sysc,
                          S.el("tt:IO", S.el("tt:InputConnectors", 0), S.el("tt:RelayOutputs", 0)),
                          sec))
    if "Media" in cats:
        parts.append(S.el("tt:Media", S.el("tt:XAddr", srv.xaddr_base + "/onvif/media_service"),
                          S.el("tt:StreamingCapabilities", S.el("tt:RTPMulticast", False),
                               S.el("tt:RTP_TCP", True), S.el("tt:RTP_RTSP_TCP", True))))
    if "PTZ" in cats:
        xaddr = srv.xaddr_base + "/onvif/ptz_service" if cam.cfg.get("ptz") == "present" else ""
        parts.append(S.el("tt:PTZ", S.el("tt:XAddr", xaddr)))
    return S.el("tds:GetCapabilitiesResponse", S.el("tds:Capabilities", *parts))


def op_device_info(srv, cam, v):
    c = cam.cfg
    return S.el("tds:GetDeviceInformationResponse",
                S.el("tds:Manufacturer", c["manufacturer"]), S.el("tds:Model", c["model"]),
                S.el("tds:FirmwareVersion", c.get("firmware", "1.0")),
                S.el("tds:SerialNumber", c.get("serial", "0")),
                S.el("tds:HardwareId", c.get("hardware_id", "0")))


def op_system_date_time(srv, cam, v):
    t = time.gmtime(cam.now())

    def date_time(tag):
        return S.el(tag, S.el("tt:Time", S.el("tt:Hour", t.tm_hour), S.el("tt:Minute", t.tm_min),
                              S.el("tt:Second", t.tm_sec)),
                    S.el("tt:Date", S.el("tt:Year", t.tm_year), S.el("tt:Month", t.tm_mon),
                         S.el("tt:Day", t.tm_mday)))
    # A camera set by hand to UTC: local time is UTC time.
    return S.el("tds:GetSystemDateAndTimeResponse",
                S.el("tds:SystemDateAndTime", S.el("tt:DateTimeType", "Manual"),
                     S.el("tt:DaylightSavings", False), S.el("tt:TimeZone", S.el("tt:TZ", "UTC0")),
                     date_time("tt:UTCDateTime"), date_time("tt:LocalDateTime")))


def op_reboot(srv, cam, v):
    cam.reboots += 1
    return S.el("tds:SystemRebootResponse",
                S.el("tds:Message", cam.cfg.get("reboot_message") or "Rebooting"))


def op_get_profiles(srv, cam, v):
    return S.el("trt:GetProfilesResponse",
                *[S.profile_xml("trt:Profiles", cam, p) for p in cam.profiles])


def op_get_profile(srv, cam, v):
    return S.el("trt:GetProfileResponse",
                S.profile_xml("trt:Profile", cam, cam.profile(v.get("ProfileToken"))))


def op_get_vec(srv, cam, v):
    return S.el("trt:GetVideoEncoderConfigurationResponse",
                S.encoder_xml("trt:Configuration", cam.encoder(v.get("ConfigurationToken"))))


def op_get_vecs(srv, cam, v):
    return S.el("trt:GetVideoEncoderConfigurationsResponse",
                *[S.encoder_xml("trt:Configurations", e) for e in cam.encoders.values()])


def op_get_vec_options(srv, cam, v):
    if v.get("ConfigurationToken"):
        enc = cam.encoder(v.get("ConfigurationToken"))
    elif v.get("ProfileToken"):
        enc = cam.profile(v.get("ProfileToken"))["encoder"]
    else:
        enc = next(iter(cam.encoders.values()))
    return S.el("trt:GetVideoEncoderConfigurationOptionsResponse", S.options_xml(enc))


def op_set_vec(srv, cam, v):
    cam.set_encoder(v)
    return S.el("trt:SetVideoEncoderConfigurationResponse")


def op_stream_uri(srv, cam, v):
    p = cam.profile(v.get("ProfileToken"))
    if v.get("Stream") not in ("RTP-Unicast", "RTP-Multicast") or \
            v.get("Protocol") not in ("UDP", "TCP", "RTSP", "HTTP"):
        raise SoapFault("InvalidArgVal/InvalidStreamSetup",
                        "Unsupported stream setup %s/%s" % (v.get("Stream"), v.get("Protocol")))
    if p.get("uri") is None:  # firmware with no stream behind the profile answers without a MediaUri
        return S.el("trt:GetStreamUriResponse")
    uri = p["uri"].replace("{host}", _host(srv)).replace("{port}", str(srv.server_address[1]))
    return S.el("trt:GetStreamUriResponse",
                S.el("trt:MediaUri", S.el("tt:Uri", uri), S.el("tt:InvalidAfterConnect", False),
                     S.el("tt:InvalidAfterReboot", False), S.el("tt:Timeout", "PT0S")))


def op_get_nodes(srv, cam, v):
    return S.el("tptz:GetNodesResponse", *[S.node_xml("tptz:PTZNode", n, cam.enotation) for n in cam.nodes])


def op_get_node(srv, cam, v):
    return S.el("tptz:GetNodeResponse", S.node_xml("tptz:PTZNode", cam.node(v.get("NodeToken")), cam.enotation))


def op_continuous_move(srv, cam, v):
    node = cam.node(cam.ptz_profile(v.get("ProfileToken"))["ptz_node"])
    for key, rng in (("pan", "velocity_x"), ("tilt", "velocity_y"), ("zoom", "velocity_zoom")):
        r = node.get(rng)
        val = v.get(key)
        if val is None:
            continue
        if r is None or not r[0] - 1e-6 <= val <= r[1] + 1e-6:
            raise SoapFault("InvalidArgVal/InvalidVelocity",
                            "%s velocity %s outside %s" % (key, val, r))
    cam.moving = {k: v.get(k) for k in ("pan", "tilt", "zoom")}
    return S.el("tptz:ContinuousMoveResponse")


def _stop(prefix):
    def op(srv, cam, v):
        cam.ptz_profile(v.get("ProfileToken"))
        cam.moving = None
        return S.el(prefix + ":StopResponse")
    return op


def op_get_presets(srv, cam, v):
    cam.ptz_profile(v.get("ProfileToken"))
    return S.el("tptz:GetPresetsResponse", *[S.preset_xml(p, cam.enotation) for p in cam.listed_presets()])


def op_set_preset(srv, cam, v):
    tok = cam.set_preset(v.get("ProfileToken"), v.get("PresetName"), v.get("PresetToken"))
    return S.el("tptz:SetPresetResponse", S.el("tptz:PresetToken", tok))


def op_goto_preset(srv, cam, v):
    cam.ptz_profile(v.get("ProfileToken"))
    pr = cam.preset(v.get("PresetToken"))
    cam.position = {k: float(pr.get(k, 0.0)) for k in ("pan", "tilt", "zoom")}
    return S.el("tptz:GotoPresetResponse")


def _remove_preset(prefix):
    def op(srv, cam, v):
        cam.remove_preset(v.get("ProfileToken"), v.get("PresetToken"))
        return S.el(prefix + ":RemovePresetResponse")
    return op


HANDLERS = {
    (S.TDS, "GetCapabilities"): op_get_capabilities,
    (S.TDS, "GetDeviceInformation"): op_device_info,
    (S.TDS, "SystemReboot"): op_reboot,
    (S.TDS, "GetSystemDateAndTime"): op_system_date_time,
    (S.TRT, "GetProfiles"): op_get_profiles,
    (S.TRT, "GetProfile"): op_get_profile,
    (S.TRT, "GetVideoEncoderConfiguration"): op_get_vec,
    (S.TRT, "GetVideoEncoderConfigurations"): op_get_vecs,
    (S.TRT, "GetVideoEncoderConfigurationOptions"): op_get_vec_options,
    (S.TRT, "SetVideoEncoderConfiguration"): op_set_vec,
    (S.TRT, "GetStreamUri"): op_stream_uri,
    (S.TPTZ, "GetNodes"): op_get_nodes,
    (S.TPTZ, "GetNode"): op_get_node,
    (S.TPTZ, "ContinuousMove"): op_continuous_move,
    (S.TPTZ, "Stop"): _stop("tptz"),
    (S.TPTZ, "GetPresets"): op_get_presets,
    (S.TPTZ, "SetPreset"): op_set_preset,
    (S.TPTZ, "GotoPreset"): op_goto_preset,
    (S.TPTZ1, "Stop"): _stop("tptz1"),
    (S.TPTZ, "RemovePreset"): _remove_preset("tptz"),
    (S.TPTZ1, "RemovePreset"): _remove_preset("tptz1"),
}


def condition_lines(srv, cam, front=None):
    """Banner lines of the field conditions that are on; front is the plain
    port of redirect_https."""
    c = cam.cfg
    lines = []
    if srv.tls is not None:
        lines.append("  tls    : TLS 1.2+, %s, SHA-256 %s; SIGUSR1 switches to a new one" % (
            srv.tls.source, srv.tls.fingerprint))
    if front is not None:
        host, port = front.server_address[:2]
        loc = c.get("redirect_location")
        lines.append("  redir  : http://%s:%d answers every request %d, Location %s" % (
            host, port, c.get("redirect_status", 301), json.dumps(loc[:80]) + (" (%d bytes)" % len(loc)) if loc
            is not None else "%s%s" % (srv.base, "<request path>" if c.get("redirect_keep_path") else "/")))
    if c.get("lockout"):
        lines.append("  lockout: %d refused logins in a row refuse every request for %s s" % (
            c["lockout"], S.num(c.get("lockout_seconds", 1800))))
    if c.get("soap11"):
        lines.append("  soap   : answers and faults in SOAP 1.1 (text/xml); 1.2 and 1.1 requests served")
    if "keepalive" in cam.framing:
        lines.append("  http   : chunked answers, Connection: keep-alive, open whatever the client asks")
    elif c.get("keep_alive"):
        lines.append("  http   : Connection: keep-alive, open while the client asks for it")
    if c.get("record_connections"):
        lines.append("  record : a line per TCP connection")
    return lines


def banner(srv, cam, front=None, out=sys.stdout):
    c = cam.cfg
    lines = ["camsim serving %s (device, media and PTZ on every path)" % srv.base,
             "  camera : %s %s, firmware %s, serial %s" % (
                 c["manufacturer"], c["model"], c.get("firmware"), c.get("serial")),
             "  users  : %s; auth %s%s%s" % (
                 ", ".join(sorted(c.get("users") or {})) or "(none)",
                 "required" if c.get("auth_required", True) else "optional",
                 ", exempt: " + ", ".join(c["auth_exempt"]) if c.get("auth_exempt") else "",
                 ", reused nonces rejected" if c.get("reject_reused_nonce") else "")]
    if c.get("clock_offset") or c.get("token_window", 300) != 300:
        lines.append("  clock  : real time %+d s (now %s); token Created within %d s" % (
            c.get("clock_offset") or 0, time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(cam.now())),
            c.get("token_window", 300)))
    if c.get("date_time_answer", "ok") != "ok":
        lines.append("  clock  : GetSystemDateAndTime not supported")
    if not c.get("date_header", True):
        lines.append("  http   : no Date header")
    if c.get("http_digest"):
        lines.append("  http   : Digest %s required, realm %s (not for GetSystemDateAndTime)" % (
            c.get("http_digest_algorithm") or "MD5", REALM))
    if c.get("replay_protection"):
        lines.append("  replay : digest token with a fresh nonce on every request but GetSystemDateAndTime")
    if c.get("advertise"):
        lines.append("  advert : GetCapabilities names %s/onvif/..." % srv.xaddr_base)
    if cam.main_encoding:
        lines.append("  encode : %s reports Encoding %s" % cam.main_encoding)
    lines += condition_lines(srv, cam, front)
    for p in cam.profiles:
        e = p["encoder"]
        uri = (p["uri"] or "no MediaUri").replace("{host}", _host(srv)).replace("{port}", str(srv.server_address[1]))
        lines.append("  profile %s (%s): encoder %s %s %dx%d q=%s %dfps %dkbit/s%s, %s%s" % (
            p["token"], p["name"], e.token, e.encoding, e.width, e.height, S.num(e.quality),
            e.fps, e.bitrate, " gov=%d" % e.h264["gov"] if e.h264 else "", uri,
            ", PTZ node " + p["ptz_node"] if p["ptz_node"] and cam.has_ptz else ""))
    ptz = c.get("ptz")
    lines.append("  PTZ    : capability %s%s; nodes %s; presets %s" % (
        ptz, " (" + srv.xaddr_base + "/onvif/ptz_service)" if ptz == "present" else "",
        ", ".join(n["token"] for n in cam.nodes) or "none",
        ", ".join("%s=%s" % (p["token"], p.get("name")) for p in cam.presets) or "none"))
    for key in ("faults", "delays", "no_answer"):
        if c.get(key):
            lines.append("  %-7s: %s" % (key, json.dumps(c[key])))
    print("\n".join(lines), file=out, flush=True)
