"""SOAP 1.2 answers and request parsing for camsim.

Answers are written in the element order the ONVIF schema prescribes: the
daemon's strict gSOAP deserializers reject anything out of sequence, and a
camsim that is more lenient than a real camera would hide exactly the bugs
the end-to-end tests are there to find.
"""

from xml.sax.saxutils import escape, quoteattr

ENV = "http://www.w3.org/2003/05/soap-envelope"
ENV11 = "http://schemas.xmlsoap.org/soap/envelope/"
TT = "http://www.onvif.org/ver10/schema"
TDS = "http://www.onvif.org/ver10/device/wsdl"
TRT = "http://www.onvif.org/ver10/media/wsdl"
TPTZ = "http://www.onvif.org/ver20/ptz/wsdl"
TPTZ1 = "http://www.onvif.org/ver10/ptz/wsdl"
TER = "http://www.onvif.org/ver10/error"
WSSE = "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-secext-1.0.xsd"
WSU = "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-utility-1.0.xsd"

PREFIX = {TDS: "tds", TRT: "trt", TPTZ: "tptz", TPTZ1: "tptz1"}

_SPACE = "http://www.onvif.org/ver10/tptz/"
PT_POS = _SPACE + "PanTiltSpaces/PositionGenericSpace"
Z_POS = _SPACE + "ZoomSpaces/PositionGenericSpace"
PT_TRANS = _SPACE + "PanTiltSpaces/TranslationGenericSpace"
Z_TRANS = _SPACE + "ZoomSpaces/TranslationGenericSpace"
PT_VEL = _SPACE + "PanTiltSpaces/VelocityGenericSpace"
Z_VEL = _SPACE + "ZoomSpaces/VelocityGenericSpace"
PT_SPEED = _SPACE + "PanTiltSpaces/GenericSpeedSpace"
Z_SPEED = _SPACE + "ZoomSpaces/ZoomGenericSpeedSpace"


# ---------------------------------------------------------------- writing
def num(v):
    if isinstance(v, bool):
        return "true" if v else "false"
    if isinstance(v, float) and v.is_integer():
        return str(int(v))
    return str(v)


def el(tag, *children, **attrs):
    """<tag attrs>children</tag>; children are already-serialised strings or scalars."""
    a = "".join(" %s=%s" % (k, quoteattr(num(v))) for k, v in attrs.items())
    body = "".join(c if isinstance(c, str) and c.startswith("<") else escape(num(c))
                   for c in children if c is not None)
    return "<%s%s>%s</%s>" % (tag, a, body, tag)


def envelope(body):
    ns = " ".join('xmlns:%s="%s"' % (p, u) for p, u in
                  (("env", ENV), ("tt", TT), ("tds", TDS), ("trt", TRT),
                   ("tptz", TPTZ), ("tptz1", TPTZ1), ("ter", TER)))
    return ('<?xml version="1.0" encoding="UTF-8"?>\n<env:Envelope %s><env:Body>%s'
            '</env:Body></env:Envelope>\n' % (ns, body))


def fault_body(fault):
    sub = ""
    for s in reversed(fault.subcodes):
        sub = el("env:Subcode", el("env:Value", "ter:" + s), sub or None)
    return el("env:Fault",
              el("env:Code", el("env:Value", "env:" + fault.code), sub or None),
              '<env:Reason><env:Text xml:lang="en">%s</env:Text></env:Reason>'
              % escape(fault.reason))


def resolution(w, h):
    return el("tt:Resolution", el("tt:Width", w), el("tt:Height", h))


def int_range(tag, r):
    return el(tag, el("tt:Min", int(r[0])), el("tt:Max", int(r[1])))


def float_range(tag, r):
    return el(tag, el("tt:Min", float(r[0])), el("tt:Max", float(r[1])))


def encoder_xml(tag, enc):
    parts = [el("tt:Name", enc.name), el("tt:UseCount", enc.use_count),
             el("tt:Encoding", enc.encoding), resolution(enc.width, enc.height),
             el("tt:Quality", enc.quality),
             el("tt:RateControl", el("tt:FrameRateLimit", enc.fps),
                el("tt:EncodingInterval", enc.interval), el("tt:BitrateLimit", enc.bitrate))]
    if enc.mpeg4:
        parts.append(el("tt:MPEG4", el("tt:GovLength", enc.mpeg4["gov"]),
                        el("tt:Mpeg4Profile", enc.mpeg4["profile"])))
    if enc.h264:
        parts.append(el("tt:H264", el("tt:GovLength", enc.h264["gov"]),
                        el("tt:H264Profile", enc.h264["profile"])))
    parts.append(el("tt:Multicast",
                    el("tt:Address", el("tt:Type", "IPv4"), el("tt:IPv4Address", "0.0.0.0")),
                    el("tt:Port", 0), el("tt:TTL", 5), el("tt:AutoStart", False)))
    parts.append(el("tt:SessionTimeout", "PT60S"))
    return el(tag, *parts, token=enc.token)


def ptz_config_xml(cam, node_token):
    node = next((n for n in cam.nodes if n["token"] == node_token), None)
    users = sum(1 for p in cam.profiles if p["ptz_node"] == node_token)
    zoom = node is None or node.get("velocity_zoom") is not None
    return el("tt:PTZConfiguration",
              el("tt:Name", "PTZConfig_" + node_token), el("tt:UseCount", users),
              el("tt:NodeToken", node_token),
              el("tt:DefaultAbsolutePantTiltPositionSpace", PT_POS),
              el("tt:DefaultAbsoluteZoomPositionSpace", Z_POS) if zoom else None,
              el("tt:DefaultRelativePanTiltTranslationSpace", PT_TRANS),
              el("tt:DefaultRelativeZoomTranslationSpace", Z_TRANS) if zoom else None,
              el("tt:DefaultContinuousPanTiltVelocitySpace", PT_VEL),
              el("tt:DefaultContinuousZoomVelocitySpace", Z_VEL) if zoom else None,
              el("tt:DefaultPTZSpeed", el("tt:PanTilt", x=1.0, y=1.0, space=PT_SPEED),
                 el("tt:Zoom", x=1.0, space=Z_SPEED) if zoom else None),
              el("tt:DefaultPTZTimeout", "PT5S"),
              token="PTZConfig_" + node_token)


def profile_xml(tag, cam, p):
    encs = [pp["encoder"] for pp in cam.profiles]
    w = max(e.width for e in encs)
    h = max(e.height for e in encs)
    vsc = el("tt:VideoSourceConfiguration",
             el("tt:Name", "VideoSourceConfig"), el("tt:UseCount", len(cam.profiles)),
             el("tt:SourceToken", "VideoSource0"),
             '<tt:Bounds x="0" y="0" width="%d" height="%d"></tt:Bounds>' % (w, h),
             token="VideoSourceConfig")
    return el(tag, el("tt:Name", p["name"]), vsc,
              encoder_xml("tt:VideoEncoderConfiguration", p["encoder"]),
              ptz_config_xml(cam, p["ptz_node"]) if p["ptz_node"] and cam.has_ptz else None,
              token=p["token"], fixed=True)


def options_xml(enc):
    o = enc.options
    parts = [int_range("tt:QualityRange", o.get("quality_range") or [0, 10])]

    def res_list(g):
        return "".join(el("tt:ResolutionsAvailable", el("tt:Width", r[0]), el("tt:Height", r[1]))
                       for r in g.get("resolutions") or [[enc.width, enc.height]])

    def fps(g):
        return (int_range("tt:FrameRateRange", g.get("fps_range") or [1, 30])
                + int_range("tt:EncodingIntervalRange", g.get("interval_range") or [1, 1]))

    g = o.get("jpeg")
    if g:
        parts.append(el("tt:JPEG", res_list(g), fps(g)))
    g = o.get("mpeg4")
    if g:
        parts.append(el("tt:MPEG4", res_list(g), int_range("tt:GovLengthRange", g.get("gov_range") or [1, 60]),
                        fps(g), "".join(el("tt:Mpeg4ProfilesSupported", x)
                                        for x in g.get("profiles") or ["SP"])))
    g = o.get("h264")
    if g:
        parts.append(el("tt:H264", res_list(g), int_range("tt:GovLengthRange", g.get("gov_range") or [1, 150]),
                        fps(g), "".join(el("tt:H264ProfilesSupported", x)
                                        for x in g.get("profiles") or ["Main"])))
    return el("trt:Options", *parts)


def node_xml(tag, n):
    vx = n.get("velocity_x") or [-1.0, 1.0]
    vy = n.get("velocity_y") or [-1.0, 1.0]
    vz = n.get("velocity_zoom")

    def s2(tag_, uri, x, y):
        return el(tag_, el("tt:URI", uri), float_range("tt:XRange", x), float_range("tt:YRange", y))

    def s1(tag_, uri, x):
        return el(tag_, el("tt:URI", uri), float_range("tt:XRange", x))

    spaces = [s2("tt:AbsolutePanTiltPositionSpace", PT_POS, [-1, 1], [-1, 1]),
              s1("tt:AbsoluteZoomPositionSpace", Z_POS, [0, 1]) if vz else None,
              s2("tt:RelativePanTiltTranslationSpace", PT_TRANS, [-1, 1], [-1, 1]),
              s1("tt:RelativeZoomTranslationSpace", Z_TRANS, [-1, 1]) if vz else None,
              s2("tt:ContinuousPanTiltVelocitySpace", PT_VEL, vx, vy),
              s1("tt:ContinuousZoomVelocitySpace", Z_VEL, vz) if vz else None,
              s1("tt:PanTiltSpeedSpace", PT_SPEED, [0, 1]),
              s1("tt:ZoomSpeedSpace", Z_SPEED, [0, 1]) if vz else None]
    return el(tag, el("tt:Name", n.get("name") or n["token"]),
              el("tt:SupportedPTZSpaces", *spaces),
              el("tt:MaximumNumberOfPresets", int(n.get("max_presets", 64))),
              el("tt:HomeSupported", bool(n.get("home_supported", True))),
              token=n["token"], FixedHomePosition=False)


def preset_xml(pr):
    pos = el("tt:PTZPosition",
             el("tt:PanTilt", x=float(pr.get("pan", 0.0)), y=float(pr.get("tilt", 0.0)), space=PT_POS),
             el("tt:Zoom", x=float(pr.get("zoom", 0.0)), space=Z_POS))
    return el("tptz:Preset", el("tt:Name", pr.get("name") or pr["token"]), pos, token=pr["token"])


# ---------------------------------------------------------------- reading
def local(tag):
    return tag.rsplit("}", 1)[-1]


def ns_of(tag):
    return tag[1:].split("}", 1)[0] if tag.startswith("{") else ""


def child(elem, name):
    for c in elem:
        if local(c.tag) == name:
            return c
    return None


def text(elem, name):
    c = child(elem, name) if elem is not None else None
    return None if c is None else (c.text or "").strip()


# Request content models (name, required, repeatable), in sequence order.
# The daemon must send what a strict camera would accept.
REQUEST_SEQ = {
    "GetCapabilities": [("Category", False, True)],
    "GetProfile": [("ProfileToken", True, False)],
    "GetVideoEncoderConfiguration": [("ConfigurationToken", True, False)],
    "GetVideoEncoderConfigurationOptions": [("ConfigurationToken", False, False),
                                            ("ProfileToken", False, False)],
    "SetVideoEncoderConfiguration": [("Configuration", True, False),
                                     ("ForcePersistence", True, False)],
    "GetStreamUri": [("StreamSetup", True, False), ("ProfileToken", True, False)],
    "GetNode": [("NodeToken", True, False)],
    "ContinuousMove": [("ProfileToken", True, False), ("Velocity", True, False),
                       ("Timeout", False, False)],
    "Stop": [("ProfileToken", True, False), ("PanTilt", False, False), ("Zoom", False, False)],
    "GetPresets": [("ProfileToken", True, False)],
    "SetPreset": [("ProfileToken", True, False), ("PresetName", False, False),
                  ("PresetToken", False, False)],
    "GotoPreset": [("ProfileToken", True, False), ("PresetToken", True, False),
                   ("Speed", False, False)],
    "RemovePreset": [("ProfileToken", True, False), ("PresetToken", True, False)],
}
_VEC_SEQ = [("Name", True, False), ("UseCount", True, False), ("Encoding", True, False),
            ("Resolution", True, False), ("Quality", True, False), ("RateControl", False, False),
            ("MPEG4", False, False), ("H264", False, False), ("Multicast", True, False),
            ("SessionTimeout", True, False)]
_NESTED_SEQ = {
    "StreamSetup": [("Stream", True, False), ("Transport", True, False)],
    "Velocity": [("PanTilt", False, False), ("Zoom", False, False)],
    "Speed": [("PanTilt", False, False), ("Zoom", False, False)],
    "Configuration": _VEC_SEQ,
}


def check_sequence(elem, ns, seq, what, open_end=False):
    """Error text if elem's children break the sequence, else None."""
    i = 0
    seen = 0
    for c in elem:
        if not isinstance(c.tag, str):
            continue
        name = local(c.tag)
        while i < len(seq) and seq[i][0] != name:
            if seq[i][1] and seen == 0:
                return "%s: missing <%s> before <%s>" % (what, seq[i][0], name)
            i += 1
            seen = 0
        if i == len(seq):
            if open_end:
                return None
            return "%s: unexpected or out-of-order element <%s>" % (what, name)
        if ns_of(c.tag) != ns:
            return "%s: <%s> is in namespace %r, expected %r" % (what, name, ns_of(c.tag), ns)
        if seen and not seq[i][2]:
            return "%s: <%s> given twice" % (what, name)
        seen += 1
    for j in range(i, len(seq)):
        if seq[j][1] and not (j == i and seen):
            return "%s: missing <%s>" % (what, seq[j][0])
    return None


def check_request(op, ns, body_el):
    seq = REQUEST_SEQ.get(op)
    if seq is None:
        return None
    err = check_sequence(body_el, ns, seq, op)
    if err:
        return err
    for name, sub in _NESTED_SEQ.items():
        c = child(body_el, name)
        if c is not None:
            err = check_sequence(c, TT, sub, op + "/" + name, open_end=True)
            if err:
                return err
    conf = child(body_el, "Configuration")
    if conf is not None:
        if conf.get("token") is None:
            return op + "/Configuration: missing token attribute"
        for name, sub in (("Resolution", [("Width", True, False), ("Height", True, False)]),
                          ("RateControl", [("FrameRateLimit", True, False),
                                           ("EncodingInterval", True, False),
                                           ("BitrateLimit", True, False)]),
                          ("H264", [("GovLength", True, False), ("H264Profile", True, False)]),
                          ("MPEG4", [("GovLength", True, False), ("Mpeg4Profile", True, False)])):
            c = child(conf, name)
            if c is not None:
                err = check_sequence(c, TT, sub, op + "/Configuration/" + name)
                if err:
                    return err
    return None


def _float(elem, attr):
    if elem is None or elem.get(attr) is None:
        return None
    return float(elem.get(attr))


def _int(v):
    return int(v) if v is not None else None


def _bool(v):
    return None if v is None else v.strip().lower() in ("true", "1")


def request_values(op, b):
    """The fields of a request that tests assert on (ValueError on bad numbers)."""
    v = {}
    for k in ("ProfileToken", "ConfigurationToken", "NodeToken", "PresetToken", "PresetName"):
        t = text(b, k)
        if t is not None:
            v[k] = t
    if op == "GetCapabilities":
        v["Category"] = [c.text.strip() for c in b if local(c.tag) == "Category" and c.text]
    elif op == "GetStreamUri":
        ss = child(b, "StreamSetup")
        v["Stream"] = text(ss, "Stream")
        v["Protocol"] = text(child(ss, "Transport") if ss is not None else None, "Protocol")
    elif op == "ContinuousMove":
        vel = child(b, "Velocity")
        pt = child(vel, "PanTilt") if vel is not None else None
        z = child(vel, "Zoom") if vel is not None else None
        v.update(pan=_float(pt, "x"), tilt=_float(pt, "y"), zoom=_float(z, "x"),
                 space=any(e is not None and e.get("space") is not None for e in (pt, z)),
                 timeout=text(b, "Timeout"))
    elif op == "Stop":
        v.update(PanTilt=_bool(text(b, "PanTilt")), Zoom=_bool(text(b, "Zoom")))
    elif op == "SetVideoEncoderConfiguration":
        c = child(b, "Configuration")
        res = child(c, "Resolution") if c is not None else None
        rc = child(c, "RateControl") if c is not None else None
        h = child(c, "H264") if c is not None else None
        m = child(c, "MPEG4") if c is not None else None
        q = text(c, "Quality")
        v.update(token=c.get("token") if c is not None else None,
                 name=text(c, "Name"), encoding=text(c, "Encoding"),
                 width=_int(text(res, "Width")), height=_int(text(res, "Height")),
                 quality=float(q) if q is not None else None,
                 fps=_int(text(rc, "FrameRateLimit")),
                 interval=_int(text(rc, "EncodingInterval")),
                 bitrate=_int(text(rc, "BitrateLimit")),
                 gov=_int(text(h, "GovLength")), h264_profile=text(h, "H264Profile"),
                 mpeg4_gov=_int(text(m, "GovLength")), mpeg4_profile=text(m, "Mpeg4Profile"),
                 force_persistence=_bool(text(b, "ForcePersistence")))
    return v
