"""Camera model for camsim: built-in cameras, config merging, mutable state.

Everything the SOAP layer answers comes from a Camera object, so a test can
start camsim with a JSON file and know exactly what the daemon will see.
"""

import copy
import json
import re
import threading
import time
import uuid

# Built-in cameras.  Tokens are deliberately not "0"/"Profile1"/"h264" so the
# daemon cannot get away with guessing tokens instead of reading them.
_H264_OPTS_MAIN = {
    "resolutions": [[1920, 1080], [1280, 720], [704, 576], [640, 480]],
    "gov_range": [1, 150],
    "fps_range": [1, 25],
    "interval_range": [1, 1],
    "profiles": ["Baseline", "Main", "High"],
}
_JPEG_OPTS_MAIN = {
    "resolutions": [[1920, 1080], [1280, 720], [704, 576], [640, 480]],
    "fps_range": [1, 25],
    "interval_range": [1, 1],
}
_H264_OPTS_SUB = {
    "resolutions": [[704, 576], [640, 480], [352, 288], [320, 240]],
    "gov_range": [1, 150],
    "fps_range": [1, 25],
    "interval_range": [1, 1],
    "profiles": ["Baseline", "Main"],
}
_JPEG_OPTS_SUB = {
    "resolutions": [[704, 576], [640, 480], [352, 288], [320, 240]],
    "fps_range": [1, 25],
    "interval_range": [1, 1],
}

BUILTIN = {
    "default": {
        "manufacturer": "Kestrel Optics",
        "model": "KPT-2120",
        "firmware": "2.4.1 build 180312",
        "serial": "KO21200048213",
        "hardware_id": "KPT2120-R3",
        "users": {"admin": "admin", "operator": "operator"},
        "auth_required": True,
        "auth_exempt": [],
        "reject_reused_nonce": False,
        "replay_protection": False,
        "clock_offset": 0,
        "token_window": 300,
        "date_time_answer": "ok",
        "date_header": True,
        "http_digest": False,
        "http_digest_algorithm": "MD5",
        "http_digest_nonce_uses": None,
        "advertise": None,
        "encoding_main": None,
        "ptz": "present",
        "strict_requests": True,
        "validate_set": True,
        "reboot_message": "Rebooting in 30 seconds",
        "profiles": [
            {
                "token": "MainProfile",
                "name": "MainStream",
                "ptz_node": "PTZNodeMain",
                "uri": "rtsp://{host}:8554/live/main",
                "encoder": {
                    "token": "MainEncoder",
                    "name": "MainEncoderConfig",
                    "encoding": "H264",
                    "width": 1920, "height": 1080,
                    "quality": 5, "fps": 25, "bitrate": 4096,
                    "interval": 1, "gov": 50, "h264_profile": "Main",
                    "options": {
                        "quality_range": [0, 10],
                        "jpeg": _JPEG_OPTS_MAIN,
                        "h264": _H264_OPTS_MAIN,
                        "mpeg4": None,
                    },
                },
            },
            {
                "token": "SubProfile",
                "name": "SubStream",
                "ptz_node": "PTZNodeMain",
                "uri": "rtsp://{host}:8554/live/sub",
                "encoder": {
                    "token": "SubEncoder",
                    "name": "SubEncoderConfig",
                    "encoding": "JPEG",
                    "width": 640, "height": 480,
                    "quality": 3, "fps": 10, "bitrate": 1024,
                    "interval": 1, "gov": None, "h264_profile": "Main",
                    "options": {
                        "quality_range": [0, 10],
                        "jpeg": _JPEG_OPTS_SUB,
                        "h264": _H264_OPTS_SUB,
                        "mpeg4": None,
                    },
                },
            },
        ],
        "ptz_nodes": [
            {
                "token": "PTZNodeMain",
                "name": "DomeDrive",
                "velocity_x": [-1.0, 1.0],
                "velocity_y": [-1.0, 1.0],
                "velocity_zoom": [-1.0, 1.0],
                "max_presets": 64,
                "home_supported": True,
            }
        ],
        "presets": [
            {"token": "1", "name": "Entrance", "pan": 0.0, "tilt": 0.0, "zoom": 0.0},
            {"token": "2", "name": "Gate", "pan": 0.35, "tilt": -0.1, "zoom": 0.2},
            {"token": "3", "name": "Parking", "pan": -0.6, "tilt": -0.25, "zoom": 0.5},
        ],
        "faults": [],
        "delays": {},
        "no_answer": {},
    },
}

# A fixed bullet camera: same streams, no PTZ anywhere.
BUILTIN["noptz"] = copy.deepcopy(BUILTIN["default"])
BUILTIN["noptz"].update({
    "model": "KBF-2110", "hardware_id": "KBF2110-R1", "ptz": "absent",
    "ptz_nodes": [], "presets": []})
for _p in BUILTIN["noptz"]["profiles"]:
    _p["ptz_node"] = None

# A camera that announces PTZ with an empty address and has no PTZ service.
BUILTIN["emptyptz"] = copy.deepcopy(BUILTIN["noptz"])
BUILTIN["emptyptz"].update({"model": "KBF-2111", "ptz": "empty"})

# An old MJPEG-only box: one profile, JPEG options only, MPEG4 listed too.
BUILTIN["jpegonly"] = copy.deepcopy(BUILTIN["noptz"])
BUILTIN["jpegonly"].update({"model": "KJ-300", "hardware_id": "KJ300"})
BUILTIN["jpegonly"]["profiles"] = [{
    "token": "JpegProfile", "name": "Jpeg", "ptz_node": None,
    "uri": "rtsp://{host}:8554/mjpeg",
    "encoder": {
        "token": "JpegEncoder", "name": "JpegEncoderConfig", "encoding": "JPEG",
        "width": 640, "height": 480, "quality": 60, "fps": 15, "bitrate": 2048,
        "interval": 1, "gov": None, "h264_profile": "Main",
        "options": {
            "quality_range": [1, 100],
            "jpeg": {"resolutions": [[640, 480], [320, 240]],
                     "fps_range": [1, 15], "interval_range": [1, 1]},
            "mpeg4": {"resolutions": [[640, 480]], "gov_range": [1, 60],
                      "fps_range": [1, 15], "interval_range": [1, 1],
                      "profiles": ["SP"]},
            "h264": None,
        },
    },
}]

# Value sets real firmware sends ("values" in the config, --values).
VALUE_SETS = ("enotation", "descending", "uuid_tokens", "accented", "presets255", "resolutions25")
SHAPES = ("fault", "empty", "soap11", "html401")
FRAMINGS = ("chunked", "http10", "action", "keepalive")
DIGEST_ALGORITHMS = ("MD5", "SHA-256")
REDIRECT_STATUSES = (301, 302, 307, 308)
TLS_KEY_TYPES = ("ec", "rsa")
# HOST:PORT, :PORT or HOST as a camera behind NAT announces itself; IPv6 in brackets.
ADVERTISE = re.compile(r"(\[[0-9A-Fa-f:.]+\]|[^\s:/\[\]]*)(:\d{1,5})?$")
_RES25 = [[1920, 1080], [1680, 1050], [1600, 1200], [1440, 900], [1280, 1024], [1280, 960],
          [1280, 720], [1024, 768], [1024, 576], [960, 576], [960, 540], [800, 600], [800, 450],
          [720, 576], [720, 480], [704, 576], [704, 480], [640, 480], [640, 360], [480, 270],
          [384, 288], [352, 288], [352, 240], [320, 240], [176, 144]]
_ACCENTED = ["Entrée principale", "Portail côté café", "Parkplatz Süd", "Señal del niño",
             "Øresund øst", "Łąka wschód", "Hôtel de Ville", "Çarşı girişi"]

# Lists of these keys merge entry by entry (so a config can tweak the second
# profile by giving [{}, {...}]); every other list replaces the base list.
_INDEXED_LISTS = ("profiles", "ptz_nodes")


def deep_merge(base, over, key=None):
    if isinstance(base, dict) and isinstance(over, dict):
        out = copy.deepcopy(base)
        for k, v in over.items():
            out[k] = deep_merge(base.get(k), v, k) if k in base else copy.deepcopy(v)
        return out
    if key in _INDEXED_LISTS and isinstance(base, list) and isinstance(over, list):
        out = []
        for i, v in enumerate(over):
            if i < len(base):
                out.append(deep_merge(base[i], v))
            elif base:
                out.append(deep_merge(_renamed(base[-1], i), v))
            else:
                out.append(copy.deepcopy(v))
        return out
    return copy.deepcopy(over)


def _renamed(entry, i):
    """Copy of a list entry with tokens made unique for position i."""
    e = copy.deepcopy(entry)
    if "token" in e:
        e["token"] = "Stream%d" % (i + 1) if "encoder" in e else "Node%d" % (i + 1)
    if "name" in e:
        e["name"] = "Stream%d" % (i + 1) if "encoder" in e else "Node%d" % (i + 1)
    if "encoder" in e:
        e["encoder"]["token"] = "Encoder%d" % (i + 1)
        e["encoder"]["name"] = "EncoderConfig%d" % (i + 1)
        e["uri"] = "rtsp://{host}:8554/live/stream%d" % (i + 1)
    return e


def load_config(profile="default", config_path=None, extra=None):
    if profile not in BUILTIN:
        raise ValueError("unknown profile %r (have: %s)" % (profile, ", ".join(sorted(BUILTIN))))
    cfg = copy.deepcopy(BUILTIN[profile])
    layers = []
    if config_path:
        with open(config_path, encoding="utf-8") as f:
            layers.append(json.load(f))
    if extra:
        layers.append(extra)
    for layer in layers:
        cfg = deep_merge(cfg, layer)
        n = layer.get("profile_count")
        if n is not None:
            profs = cfg["profiles"]
            cfg["profiles"] = [profs[i] if i < len(profs) else _renamed(profs[-1], i)
                               for i in range(int(n))]
    _main_encoding(cfg, layers)
    return cfg


def _main_encoding(cfg, layers):
    """encoding_main: the first encoder reports that Encoding.  An H264 block
    stays for H264, otherwise only where a config gives its GovLength."""
    name = cfg.get("encoding_main")
    if not name or not cfg.get("profiles"):
        return
    enc = cfg["profiles"][0].setdefault("encoder", {})
    enc["encoding"] = name

    def gives_gov(layer):
        profs = layer.get("profiles")
        first = profs[0] if isinstance(profs, list) and profs and isinstance(profs[0], dict) else {}
        return (first.get("encoder") or {}).get("gov") is not None
    if name != "H264" and not any(gives_gov(layer) for layer in layers):
        enc["gov"] = None


class SoapFault(Exception):
    """An ONVIF fault to send back; subcodes are local names in the ter namespace."""

    def __init__(self, subcodes, reason, code=None):
        super().__init__(reason)
        if isinstance(subcodes, str):
            subcodes = [s.split(":")[-1] for s in subcodes.split("/") if s]
        self.subcodes = list(subcodes)
        self.reason = reason
        self.shape = None  # how it is sent: None/"fault" as a SOAP fault, else a shape in SHAPES
        receiver = {"ActionNotSupported", "Action", "OutofMemory", "CriticalError"}
        self.code = code or ("Receiver" if self.subcodes and self.subcodes[0] in receiver
                             else "Sender")

    @property
    def label(self):
        return "/".join("ter:" + s for s in self.subcodes) or self.code


class Encoder:
    def __init__(self, d):
        self.token = d["token"]
        self.name = d.get("name") or d["token"]
        self.encoding = d.get("encoding", "H264")
        self.width = int(d.get("width", 1920))
        self.height = int(d.get("height", 1080))
        self.quality = d.get("quality", 5)
        self.fps = int(d.get("fps", 25))
        self.bitrate = int(d.get("bitrate", 4096))
        self.interval = int(d.get("interval", 1))
        gov = d.get("gov")
        prof = d.get("h264_profile") or "Main"
        # A camera streaming H264 always reports its H264 block.
        if gov is None and self.encoding == "H264":
            gov = 2 * self.fps
        self.h264 = {"gov": int(gov), "profile": prof} if gov is not None else None
        self.mpeg4 = None
        if self.encoding == "MPEG4":
            self.mpeg4 = {"gov": int(d.get("mpeg4_gov") or 2 * self.fps),
                          "profile": d.get("mpeg4_profile") or "SP"}
        self.options = d.get("options") or {}
        self.use_count = 0


class Camera:
    """State of the one simulated camera.  All access goes through `lock`."""

    def __init__(self, cfg):
        cfg = _shape_values(copy.deepcopy(cfg))
        self.cfg = cfg
        self.style = cfg.get("style") or "plain"
        self.numbered = self.style == "numbered"
        vals = set(cfg.get("values") or [])
        self.enotation = "enotation" in vals
        self.descending = "descending" in vals
        self.uuid_presets = "uuid_tokens" in vals
        self.framing = set(cfg.get("framing") or [])
        self.lock = threading.RLock()
        self.encoders = {}
        self.profiles = []
        for p in cfg["profiles"]:
            enc_d = p.get("encoder") or {}
            tok = enc_d.get("token") or p["token"] + "Encoder"
            enc_d = dict(enc_d, token=tok)
            enc = self.encoders.setdefault(tok, Encoder(enc_d))
            enc.use_count += 1
            self.profiles.append({
                "token": p["token"], "name": p.get("name") or p["token"],
                "encoder": enc, "ptz_node": p.get("ptz_node"),
                "uri": None if "uri" in p and p["uri"] is None else p.get("uri") or "rtsp://{host}:8554/" + p["token"],
            })
        self.nodes = list(cfg.get("ptz_nodes") or [])
        self.presets = [dict(x) for x in cfg.get("presets") or []]
        self.moving = None
        self.position = {"pan": 0.0, "tilt": 0.0, "zoom": 0.0}
        self.reboots = 0
        self.nonces = set()
        # HTTP Digest nonces handed out: their uses and the last nonce count.
        self.digest_nonces = {}
        # (encoder token, text): SetVideoEncoderConfiguration accepts the
        # encoding_main text for the first encoder though no options group lists it.
        self.main_encoding = None
        if cfg.get("encoding_main") and self.profiles:
            self.main_encoding = (self.profiles[0]["encoder"].token, cfg["encoding_main"])
        self.fault_rules = [dict(f) for f in cfg.get("faults") or []]
        self.no_answer_rules = {}
        for op, v in (cfg.get("no_answer") or {}).items():
            self.no_answer_rules[op] = dict(v) if isinstance(v, dict) else {"mode": v}
        self.seq = 0
        self.connections = 0  # TCP connections accepted, on every port
        # lockout: refused logins in a row, and when the lock ends (monotonic clock).
        self.refused_logins = 0
        self.locked_until = None

    # -- lookups -------------------------------------------------------
    def profile(self, token):
        for p in self.profiles:
            if p["token"] == token:
                return p
        raise SoapFault("InvalidArgVal/NoProfile", "Profile token %r does not exist" % token)

    def encoder(self, token):
        enc = self.encoders.get(token)
        if enc is None:
            raise SoapFault("InvalidArgVal/NoConfig",
                            "Video encoder configuration %r does not exist" % token)
        return enc

    def node(self, token):
        for n in self.nodes:
            if n["token"] == token:
                return n
        raise SoapFault("InvalidArgVal/NoEntity", "PTZ node %r does not exist" % token)

    def ptz_profile(self, token):
        p = self.profile(token)
        if not p["ptz_node"]:
            raise SoapFault("InvalidArgVal/NoPTZProfile",
                            "Profile %r has no PTZ configuration" % token)
        return p

    def preset(self, token):
        for pr in self.presets:
            if pr["token"] == token:
                return pr
        raise SoapFault("InvalidArgVal/NoToken", "Preset token %r does not exist" % token)

    @property
    def has_ptz(self):
        return bool(self.nodes)

    # -- injected behaviour --------------------------------------------
    @staticmethod
    def _matches(rule, op, tokens):
        if rule.get("op") not in (op, "*"):
            return False
        m = rule.get("match")
        return m is None or m in tokens

    def take_fault(self, op, tokens):
        """The injected fault for this request, consuming one of its `times`:
        a SoapFault (its `shape` says how to send it), a shape name for the
        normal answer sent in that shape, or None."""
        with self.lock:
            for r in self.fault_rules:
                if not self._matches(r, op, tokens):
                    continue
                if r.get("after", 0) > 0:  # let this many matching requests through first
                    r["after"] -= 1
                    continue
                t = r.get("times")
                if t is not None:
                    if t <= 0:
                        continue
                    r["times"] = t - 1
                shape = r.get("shape") or "fault"
                if r.get("subcode") is None and shape != "fault":
                    return shape
                f = SoapFault(r.get("subcode") or "Action",
                              r.get("reason") or "Injected fault for " + op, r.get("code"))
                f.shape = shape
                return f
        return None

    def take_no_answer(self, op, tokens):
        with self.lock:
            r = self.no_answer_rules.get(op)
            if r is None or not self._matches(dict(r, op=op), op, tokens):
                return None
            t = r.get("times")
            if t is not None:
                if t <= 0:
                    return None
                r["times"] = t - 1
            return r.get("mode")

    def delay(self, op):
        return float((self.cfg.get("delays") or {}).get(op) or 0)

    def now(self):
        """The camera's clock: real time plus clock_offset seconds."""
        return time.time() + int(self.cfg.get("clock_offset") or 0)

    # -- lockout -------------------------------------------------------
    def locked(self):
        """Whether `lockout` refused logins in a row have locked the camera;
        once the lock runs out the count starts again from nothing."""
        with self.lock:
            if self.locked_until is None:
                return False
            if time.monotonic() < self.locked_until:
                return True
            self.locked_until = None
            self.refused_logins = 0
            return False

    def note_login(self, refused):
        """Counts a refused login, or clears the count after a good one.
        True when this refusal is the one that locks the camera."""
        with self.lock:
            if not refused:
                self.refused_logins = 0
                return False
            self.refused_logins += 1
            if self.refused_logins < self.cfg["lockout"]:
                return False
            self.locked_until = time.monotonic() + float(self.cfg.get("lockout_seconds", 1800))
            return True

    # -- mutations -----------------------------------------------------
    def set_encoder(self, req):
        """Apply a parsed SetVideoEncoderConfiguration, checking it like a camera would."""
        with self.lock:
            enc = self.encoder(req.get("token"))
            if None in (req["encoding"], req["width"], req["height"], req["quality"]):
                raise SoapFault("InvalidArgs", "Encoding, Resolution and Quality are required")
            main = self.main_encoding == (enc.token, req["encoding"])
            if self.cfg.get("validate_set", True):
                _check_against_options(enc, req, main)
            enc.name = req["name"] or enc.name
            enc.encoding = req["encoding"]
            enc.width, enc.height = req["width"], req["height"]
            enc.quality = req["quality"]
            if req["fps"] is not None:
                enc.fps = req["fps"]
            if req["bitrate"] is not None:
                enc.bitrate = req["bitrate"]
            if req["interval"] is not None:
                enc.interval = req["interval"]
            if req["gov"] is not None:
                enc.h264 = {"gov": req["gov"],
                            "profile": req["h264_profile"] or (enc.h264 or {}).get("profile", "Main")}
            elif enc.encoding == "H264" and enc.h264 is None:
                enc.h264 = {"gov": 2 * enc.fps, "profile": "Main"}
            elif main and enc.encoding != "H264":
                enc.h264 = None  # reported like the configured camera: no H264 block unless one is set
            if req["mpeg4_gov"] is not None:
                enc.mpeg4 = {"gov": req["mpeg4_gov"], "profile": req["mpeg4_profile"] or "SP"}
            elif enc.encoding == "MPEG4" and enc.mpeg4 is None:
                enc.mpeg4 = {"gov": 2 * enc.fps, "profile": "SP"}

    def set_preset(self, profile_token, name, token):
        with self.lock:
            node = self.node(self.ptz_profile(profile_token)["ptz_node"])
            pos = dict(self.position)
            if token:
                pr = self.preset(token)
                if name:
                    pr["name"] = name
                pr.update(pos)
                return token
            if len(self.presets) >= int(node.get("max_presets", 64)):
                raise SoapFault("InvalidArgVal/TooManyPresets", "No room for another preset")
            if name and any(p.get("name") == name for p in self.presets):
                raise SoapFault("InvalidArgVal/PresetExist", "Preset name %r is in use" % name)
            used = {p["token"] for p in self.presets}
            n = 1
            while self._preset_token(n) in used:
                n += 1
            tok = self._preset_token(n)
            self.presets.append(dict(pos, token=tok, name=name or "Preset %d" % n))
            return tok

    def _preset_token(self, n):
        if self.uuid_presets:
            return _uuid_token(str(n))
        return "%03d" % n if self.numbered else str(n)

    def listed_presets(self):
        """Presets as GetPresets lists them: newest (highest number) first with "descending"."""
        if not self.descending:
            return self.presets
        if all(p["token"].isdigit() for p in self.presets):
            return sorted(self.presets, key=lambda p: int(p["token"]), reverse=True)
        return self.presets[::-1]

    def remove_preset(self, profile_token, token):
        with self.lock:
            self.ptz_profile(profile_token)
            self.presets.remove(self.preset(token))


def _check_against_options(enc, req, main=False):
    """main: the request sets the encoding_main text, which no options group lists."""
    opts = enc.options
    group = opts.get({"JPEG": "jpeg", "H264": "h264", "MPEG4": "mpeg4"}.get(req["encoding"], ""))
    bad = lambda why: SoapFault("InvalidArgVal/ConfigModify", why)  # noqa: E731
    if not group:
        if not main:
            raise bad("Encoding %r is not supported by %s" % (req["encoding"], enc.token))
        group = {}  # only the quality range applies to it
    elif [req["width"], req["height"]] not in [list(r) for r in group.get("resolutions", [])]:
        raise bad("Resolution %dx%d is not offered" % (req["width"], req["height"]))
    qr = opts.get("quality_range")
    if qr and not qr[0] <= req["quality"] <= qr[1]:
        raise bad("Quality %s out of range" % req["quality"])

    def in_range(val, key, what):
        r = group.get(key)
        if val is not None and r and not r[0] <= val <= r[1]:
            raise bad("%s %s out of range %s..%s" % (what, val, r[0], r[1]))

    in_range(req["fps"], "fps_range", "FrameRateLimit")
    in_range(req["interval"], "interval_range", "EncodingInterval")
    if req["encoding"] == "H264":
        in_range(req["gov"], "gov_range", "GovLength")
        if req["h264_profile"] and req["h264_profile"] not in group.get("profiles", []):
            raise bad("H264 profile %r not supported" % req["h264_profile"])


def _check_conditions(cfg):
    """The field conditions: TLS, the redirect to it, lockout, SOAP 1.1, keep-alive."""
    for key in ("tls", "tls12", "redirect_https", "redirect_keep_path", "soap11", "keep_alive", "close_connections",
                "drop_kept", "record_connections"):
        if type(cfg.get(key, False)) is not bool:
            raise ValueError("%s must be true or false, not %r" % (key, cfg.get(key)))
    if cfg.get("tls") and cfg.get("redirect_https"):
        raise ValueError("tls and redirect_https exclude each other (redirect_https serves TLS on tls_port)")
    if cfg.get("tls_key_type", "ec") not in TLS_KEY_TYPES:
        raise ValueError("tls_key_type must be ec or rsa, not %r" % cfg.get("tls_key_type"))
    for key in ("tls_cert", "tls_key", "redirect_location"):
        if cfg.get(key) is not None and not isinstance(cfg[key], str):
            raise ValueError("%s must be a string, not %r" % (key, cfg[key]))
    if cfg.get("tls_key") and not cfg.get("tls_cert"):
        raise ValueError("tls_key needs tls_cert")
    if cfg.get("redirect_status", 301) not in REDIRECT_STATUSES:
        raise ValueError("redirect_status must be 301, 302, 307 or 308, not %r" % cfg.get("redirect_status"))
    n = cfg.get("lockout")
    if n is not None and (type(n) is not int or n < 1):
        raise ValueError("lockout must be a count >= 1, not %r" % n)
    s = cfg.get("lockout_seconds", 1800)
    if type(s) not in (int, float) or s < 0:
        raise ValueError("lockout_seconds must be seconds >= 0, not %r" % s)


def _uuid_token(t):
    return str(uuid.uuid5(uuid.NAMESPACE_URL, "camsim/preset/" + t))


def _shape_values(cfg):
    """Apply the configured value sets and the numbered token style to a config."""
    for key, allowed in (("values", VALUE_SETS), ("framing", FRAMINGS)):
        given = cfg.get(key) or []
        if given == ["all"] and key == "values":
            given = cfg["values"] = list(VALUE_SETS)
        bad = set(given) - set(allowed)
        if bad:
            raise ValueError("unknown %s %s (have: %s)" % (key, sorted(bad), ", ".join(allowed)))
    if cfg.get("style", "plain") not in ("plain", "gsoap", "wcf", "numbered"):
        raise ValueError("unknown style %r (have: plain, gsoap, wcf, numbered)" % cfg.get("style"))
    if str(cfg.get("wsa", "2005")) not in ("2005", "2004"):
        raise ValueError("wsa must be 2005 or 2004, not %r" % cfg.get("wsa"))
    vals = set(cfg.get("values") or [])
    if {"chunked", "http10"} <= set(cfg.get("framing") or []):
        raise ValueError("framing: chunked and http10 exclude each other")
    if {"keepalive", "http10"} <= set(cfg.get("framing") or []):
        raise ValueError("framing: keepalive and http10 exclude each other")
    _check_conditions(cfg)
    for f in cfg.get("faults") or []:
        if (f.get("shape") or "fault") not in SHAPES:
            raise ValueError("unknown fault shape %r (have: %s)" % (f.get("shape"), ", ".join(SHAPES)))
    if cfg.get("auth_failure", "fault") not in SHAPES:
        raise ValueError("unknown auth_failure %r" % cfg.get("auth_failure"))
    if type(cfg.get("clock_offset", 0)) is not int:
        raise ValueError("clock_offset must be whole seconds, not %r" % cfg.get("clock_offset"))
    if type(cfg.get("token_window", 300)) is not int or cfg.get("token_window", 300) < 0:
        raise ValueError("token_window must be whole seconds >= 0, not %r" % cfg.get("token_window"))
    if cfg.get("date_time_answer", "ok") not in ("ok", "absent"):
        raise ValueError("date_time_answer must be ok or absent, not %r" % cfg.get("date_time_answer"))
    if cfg.get("http_digest_algorithm", "MD5") not in DIGEST_ALGORITHMS:
        raise ValueError("http_digest_algorithm must be MD5 or SHA-256, not %r" % cfg.get("http_digest_algorithm"))
    uses = cfg.get("http_digest_nonce_uses")
    if uses is not None and (type(uses) is not int or uses < 1):
        raise ValueError("http_digest_nonce_uses must be a count >= 1, not %r" % uses)
    adv = cfg.get("advertise")
    if adv is not None and not (isinstance(adv, str) and adv and ADVERTISE.match(adv)):
        raise ValueError("advertise must be HOST:PORT, :PORT or HOST, not %r" % adv)
    if cfg.get("encoding_main") is not None and not (isinstance(cfg["encoding_main"], str) and
                                                    cfg["encoding_main"].strip()):
        raise ValueError("encoding_main must be an Encoding text like H265, not %r" % cfg["encoding_main"])
    rename = {}
    if "presets255" in vals:
        cfg["presets"] = [{"token": str(i), "name": "Preset %d" % i, "pan": round((i % 21 - 10) / 10, 2),
                           "tilt": round((i % 11 - 5) / 10, 2), "zoom": round(i % 5 / 4, 2)}
                          for i in range(1, 256)]
        for n in cfg.get("ptz_nodes") or []:
            n["max_presets"] = max(int(n.get("max_presets", 64)), 256)
    if "accented" in vals:
        for i, p in enumerate(cfg.get("presets") or []):
            p["name"] = _ACCENTED[i % len(_ACCENTED)] + (" %d" % (i + 1) if i >= len(_ACCENTED) else "")
    if "resolutions25" in vals:
        for p in cfg.get("profiles") or []:
            enc = p.get("encoder") or {}
            for g in (enc.get("options") or {}).values():
                if isinstance(g, dict):
                    res = [r for r in _RES25 if r != [enc.get("width"), enc.get("height")]][:24]
                    g["resolutions"] = [[enc.get("width", 1920), enc.get("height", 1080)]] + res
    if "uuid_tokens" in vals:
        for p in cfg.get("presets") or []:
            rename[p["token"]] = p["token"] = _uuid_token(p["token"])
    if cfg.get("style") == "numbered":
        encs = {}
        for i, p in enumerate(cfg.get("profiles") or []):
            rename[p["token"]] = p["token"] = "%03d" % i
            enc = p.setdefault("encoder", {})
            old = enc.get("token") or p["token"] + "Encoder"
            enc["token"] = encs.setdefault(old, "%03d" % len(encs))
            rename[old] = enc["token"]
        nodes = {}
        for i, n in enumerate(cfg.get("ptz_nodes") or []):
            nodes[n["token"]] = n["token"] = "%03d" % i
        for p in cfg.get("profiles") or []:
            p["ptz_node"] = nodes.get(p.get("ptz_node"), p.get("ptz_node"))
        rename.update(nodes)
        if "uuid_tokens" not in vals:
            for i, p in enumerate(cfg.get("presets") or []):
                rename[p["token"]] = p["token"] = "%03d" % (i + 1)
    for f in cfg.get("faults") or []:
        f["match"] = rename.get(f.get("match"), f.get("match"))
    for v in (cfg.get("no_answer") or {}).values():
        if isinstance(v, dict):
            v["match"] = rename.get(v.get("match"), v.get("match"))
    return cfg
