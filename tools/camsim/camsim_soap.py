"""SOAP 1.2 answers and request parsing for camsim.

Answers are written in the element order the ONVIF schema prescribes: the
daemon's strict gSOAP deserializers reject anything out of sequence, and a
camsim that is more lenient than a real camera would hide exactly the bugs
the end-to-end tests are there to find.
"""

from xml.sax.saxutils import escape, quoteattr
import uuid
import xml.etree.ElementTree as ET

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
WSA = {"2005": "http://www.w3.org/2005/08/addressing",
       "2004": "http://schemas.xmlsoap.org/ws/2004/08/addressing"}
XML_NS = "http://www.w3.org/XML/1998/namespace"

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


def fault_body11(fault):
    """The same fault in the SOAP 1.1 shape, as firmware answering in 1.1 writes
    it: faultcode the most specific ter: subcode (env:Client, env:Server or
    env:VersionMismatch without one), faultstring the reason, and one detail
    element holding the SOAP 1.2 code and subcodes, local names joined by "/"."""
    code = "ter:" + fault.subcodes[-1] if fault.subcodes else \
        "env:" + {"Sender": "Client", "Receiver": "Server"}.get(fault.code, fault.code)
    return el("env:Fault", el("faultcode", code), el("faultstring", fault.reason),
              el("detail", el("ter:Codes", "/".join([fault.code] + fault.subcodes))))


def resolution(w, h):
    return el("tt:Resolution", el("tt:Width", w), el("tt:Height", h))


def e_range(v):
    """-1.000000e+00, as C printf("%e") firmware writes range bounds."""
    return "%e" % float(v)


def e_short(v):
    """1E0, -2.5E-1: the shortest E form some firmware uses for positions."""
    m, ex = ("%.6E" % float(v)).split("E")
    m = m.rstrip("0").rstrip(".") if "." in m else m
    return "%sE%d" % ("0" if m in ("0", "-0") else m, int(ex))


def fnum(v, enote, short=False):
    if not enote:
        return float(v)
    return e_short(v) if short else e_range(v)


def int_range(tag, r):
    return el(tag, el("tt:Min", int(r[0])), el("tt:Max", int(r[1])))


def float_range(tag, r, enote=False):
    return el(tag, el("tt:Min", fnum(r[0], enote)), el("tt:Max", fnum(r[1], enote)))


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
    one = fnum(1, cam.enotation, True)
    return el("tt:PTZConfiguration",
              el("tt:Name", "PTZConfig_" + node_token), el("tt:UseCount", users),
              el("tt:NodeToken", node_token),
              el("tt:DefaultAbsolutePantTiltPositionSpace", PT_POS),
              el("tt:DefaultAbsoluteZoomPositionSpace", Z_POS) if zoom else None,
              el("tt:DefaultRelativePanTiltTranslationSpace", PT_TRANS),
              el("tt:DefaultRelativeZoomTranslationSpace", Z_TRANS) if zoom else None,
              el("tt:DefaultContinuousPanTiltVelocitySpace", PT_VEL),
              el("tt:DefaultContinuousZoomVelocitySpace", Z_VEL) if zoom else None,
              el("tt:DefaultPTZSpeed", el("tt:PanTilt", x=one, y=one, space=PT_SPEED),
                 el("tt:Zoom", x=one, space=Z_SPEED) if zoom else None),
              el("tt:DefaultPTZTimeout", "PT5S"),
              token=node_token if cam.numbered else "PTZConfig_" + node_token)


def profile_xml(tag, cam, p):
    encs = [pp["encoder"] for pp in cam.profiles]
    w = max(e.width for e in encs)
    h = max(e.height for e in encs)
    vsc = el("tt:VideoSourceConfiguration",
             el("tt:Name", "VideoSourceConfig"), el("tt:UseCount", len(cam.profiles)),
             el("tt:SourceToken", "000" if cam.numbered else "VideoSource0"),
             '<tt:Bounds x="0" y="0" width="%d" height="%d"></tt:Bounds>' % (w, h),
             token="000" if cam.numbered else "VideoSourceConfig")
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


def node_xml(tag, n, enote=False):
    vx = n.get("velocity_x") or [-1.0, 1.0]
    vy = n.get("velocity_y") or [-1.0, 1.0]
    vz = n.get("velocity_zoom")

    def s2(tag_, uri, x, y):
        return el(tag_, el("tt:URI", uri), float_range("tt:XRange", x, enote),
                  float_range("tt:YRange", y, enote))

    def s1(tag_, uri, x):
        return el(tag_, el("tt:URI", uri), float_range("tt:XRange", x, enote))

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


def preset_xml(pr, enote=False):
    def f(k):
        return fnum(pr.get(k, 0.0), enote, True)
    pos = el("tt:PTZPosition",
             el("tt:PanTilt", x=f("pan"), y=f("tilt"), space=PT_POS),
             el("tt:Zoom", x=f("zoom"), space=Z_POS))
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


# ---------------------------------------------------------------- styles
# Answers are built with the fixed prefixes below (style "plain"); the other
# styles re-serialise that tree the way one family of firmware writes it.
PLAIN_NS = {"env": ENV, "tt": TT, "tds": TDS, "trt": TRT, "tptz": TPTZ, "tptz1": TPTZ1, "ter": TER}
XSI = "http://www.w3.org/2001/XMLSchema-instance"
XSD = "http://www.w3.org/2001/XMLSchema"
_IMG, _EV, _AN = ("http://www.onvif.org/ver20/imaging/wsdl", "http://www.onvif.org/ver10/events/wsdl",
                  "http://www.onvif.org/ver20/analytics/wsdl")
STYLES = ("plain", "gsoap", "wcf", "numbered")


def _gsoap_ns(wsa):
    # What a gSOAP-generated server declares: every namespace of its table,
    # used or not, on the Envelope.
    return [("SOAP-ENV", ENV), ("SOAP-ENC", "http://www.w3.org/2003/05/soap-encoding"),
            ("xsi", XSI), ("xsd", XSD), ("c14n", "http://www.w3.org/2001/10/xml-exc-c14n#"),
            ("wsu", WSU), ("xenc", "http://www.w3.org/2001/04/xmlenc#"),
            ("ds", "http://www.w3.org/2000/09/xmldsig#"), ("wsse", WSSE), ("wsa5", wsa),
            ("xmime", "http://tempuri.org/xmime.xsd"), ("xop", "http://www.w3.org/2004/08/xop/include"),
            ("tt", TT), ("wsrfbf", "http://docs.oasis-open.org/wsrf/bf-2"),
            ("wstop", "http://docs.oasis-open.org/wsn/t-1"), ("wsnt", "http://docs.oasis-open.org/wsn/b-2"),
            ("tds", TDS), ("tev", _EV), ("timg", _IMG), ("tmd", "http://www.onvif.org/ver10/deviceIO/wsdl"),
            ("tptz", TPTZ), ("tptz10", TPTZ1), ("trt", TRT), ("tan", _AN), ("ter", TER),
            ("tns1", "http://www.onvif.org/ver10/topics")]


def _numbered_ns():
    return [("SOAP-ENV", ENV), ("SOAP-ENC", "http://www.w3.org/2003/05/soap-encoding"),
            ("xsi", XSI), ("xsd", XSD)] + [
        ("ns%d" % (i + 1), u) for i, u in enumerate((TT, TDS, TRT, TPTZ, TPTZ1, TER, _IMG, _EV, _AN))]


def wsa_header(blocks, wsa_prefix, env, request_id, action):
    """WS-Addressing header blocks as gSOAP firmware adds them to every answer."""
    mu = ' %s:mustUnderstand="true"' % env
    anon = escape(WSA_ANON)
    out = []
    for b in blocks:
        if b == "MessageID":
            out.append("<%s:MessageID>urn:uuid:%s</%s:MessageID>" % (wsa_prefix, uuid.uuid4(), wsa_prefix))
        elif b == "RelatesTo" and request_id:
            out.append("<%s:RelatesTo%s>%s</%s:RelatesTo>" % (wsa_prefix, mu, escape(request_id), wsa_prefix))
        elif b == "ReplyTo":
            out.append("<{0}:ReplyTo{1}><{0}:Address>{2}</{0}:Address></{0}:ReplyTo>".format(wsa_prefix, mu, anon))
        elif b == "To":
            out.append("<%s:To%s>%s</%s:To>" % (wsa_prefix, mu, anon, wsa_prefix))
        elif b == "Action" and action:
            out.append("<%s:Action%s>%s</%s:Action>" % (wsa_prefix, mu, escape(action), wsa_prefix))
    return "<%s:Header>%s</%s:Header>" % (env, "".join(out), env) if out else ""


WSA_ANON = "http://www.w3.org/2005/08/addressing/anonymous"
WSA_BLOCKS = ["RelatesTo", "ReplyTo", "To", "Action"]


def _write(e, prefix, default_ns, pretty, depth, out):
    """Serialise e; prefix maps namespace -> prefix, default_ns=None means
    prefixes everywhere, else the namespace in effect (body elements then get
    xmlns="..." where their namespace changes)."""
    ns, name = ns_of(e.tag), local(e.tag)
    attrs = ""
    if ns == "" and default_ns is None:  # the unqualified children of a SOAP 1.1 Fault
        tag = name
    elif default_ns is not None and ns not in prefix:
        tag = name
        if ns != default_ns:
            attrs = ' xmlns="%s"' % ns
            default_ns = ns
    else:
        tag = prefix[ns] + ":" + name
    for k, v in e.attrib.items():
        if k.startswith("{"):
            k = ("xml" if ns_of(k) == XML_NS else prefix[ns_of(k)]) + ":" + local(k)
        attrs += " %s=%s" % (k, quoteattr(v))
    txt = e.text or ""
    if e.tag in ("{%s}Value" % ENV, "faultcode") and ":" in txt:  # fault codes are QNames
        p, _, ln = txt.partition(":")
        qns = PLAIN_NS[p]
        if qns not in prefix:
            attrs += ' xmlns:a="%s"' % qns
            txt = "a:" + ln
        else:
            txt = prefix[qns] + ":" + ln
    kids = list(e)
    if not kids:
        out.append("<%s%s/>" % (tag, attrs) if pretty and not txt else
                   "<%s%s>%s</%s>" % (tag, attrs, escape(txt), tag))
        return
    out.append("<%s%s>" % (tag, attrs))
    for c in kids:
        if pretty:
            out.append("\n" + "  " * (depth + 1))
        _write(c, prefix, default_ns, pretty, depth + 1, out)
    if pretty:
        out.append("\n" + "  " * depth)
    out.append("</%s>" % tag)


def render(style, body, wsa="2005", blocks=None, request_id=None, action=None, soap11=False):
    """The answer envelope around body (built with the plain prefixes)."""
    if style == "plain":
        text = envelope(body)
    else:
        tree = ET.fromstring(envelope(body))
        out = []
        if style == "wcf":
            decls = [("s", ENV)]
            default_ns = ""
        else:
            decls = _gsoap_ns(WSA[wsa]) if style == "gsoap" else _numbered_ns()
            default_ns = None
        prefix = {u: p for p, u in reversed(decls)}
        env = prefix[ENV]
        pretty = style == "wcf"
        head = wsa_header(WSA_BLOCKS if blocks is None else blocks, "wsa5", env, request_id,
                          action) if style == "gsoap" else ""
        _write(tree[0], prefix, default_ns, pretty, 1, out)
        nl = "\n  " if pretty else ""
        text = "%s<%s:Envelope %s>%s%s%s%s%s</%s:Envelope>\n" % (
            "" if style == "wcf" else '<?xml version="1.0" encoding="UTF-8"?>\n', env,
            " ".join('xmlns:%s="%s"' % d for d in decls), nl, head, nl if head else "",
            "".join(out), "\n" if pretty else "", env)
    if soap11:  # the same answer in the SOAP 1.1 envelope namespace
        text = text.replace('"%s"' % ENV, '"%s"' % ENV11)
    return text


ENC12 = "http://www.w3.org/2003/05/soap-encoding"
ENC11 = "http://schemas.xmlsoap.org/soap/encoding/"


def render11(style, body, wsa="2005", blocks=None, request_id=None, action=None):
    """The answer as firmware speaking SOAP 1.1 writes it (soap11): the 1.1
    envelope, and where the style declares them the 1.1 encoding namespace
    and mustUnderstand="1" (an xsd:boolean there is 0 or 1)."""
    text = render(style, body, wsa, blocks, request_id, action, soap11=True)
    return text.replace('"%s"' % ENC12, '"%s"' % ENC11).replace(':mustUnderstand="true"', ':mustUnderstand="1"')
