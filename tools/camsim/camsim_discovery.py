"""WS-Discovery for camsim: a UDP responder that answers a Probe for a
NetworkVideoTransmitter (or for any type) with a ProbeMatches naming the
camera's device service, as a camera on the network does.  One thread,
started by the camsim script after the HTTP server is up."""

import json
import select
import socket
import struct
import threading
import time
import urllib.parse
import uuid
import xml.etree.ElementTree as ET
from xml.sax.saxutils import escape

SOAP = "http://www.w3.org/2003/05/soap-envelope"
WSA = "http://schemas.xmlsoap.org/ws/2004/08/addressing"
WSD = "http://schemas.xmlsoap.org/ws/2005/04/discovery"
DN = "http://www.onvif.org/ver10/network/wsdl"
GROUP, PORT = "239.255.255.250", 3702
DEFAULT_LOCATION = "Test bench"


def add_options(ap):
    ap.add_argument("--discovery-port", type=int, metavar="N",
                    help="answer WS-Discovery probes on this UDP port of --host, 0 = ephemeral")
    ap.add_argument("--discovery-port-file", metavar="PATH", help="write the bound discovery port here")
    ap.add_argument("--discovery-multicast", action="store_true",
                    help="also answer probes sent to %s:%d (joins the group on every interface)" % (GROUP, PORT))


def read_probe(data):
    """(MessageID, wanted) of a SOAP 1.2 Probe, wanted True when its Types name a
    NetworkVideoTransmitter or it has none; None for anything else."""
    parser = ET.XMLPullParser(events=("start-ns", "end"))
    declared, root = set(), None
    try:
        parser.feed(data)
        parser.close()
        for event, item in parser.read_events():
            if event == "start-ns":
                declared.add(item)
            else:
                root = item
    except ET.ParseError:
        return None
    if root is None or root.tag != "{%s}Envelope" % SOAP:
        return None
    probe = root.find("{%s}Body/{%s}Probe" % (SOAP, WSD))
    message_id = root.findtext("{%s}Header/{%s}MessageID" % (SOAP, WSA))
    if probe is None or not message_id:
        return None
    types = (probe.findtext("{%s}Types" % WSD) or "").split()
    # Prefixes as declared anywhere in the probe: enough for one message.
    wanted = not types or any(q.rpartition(":")[2] == "NetworkVideoTransmitter" and
                              (q.rpartition(":")[0], DN) in declared for q in types)
    return message_id.strip(), wanted


def endpoint_uuid(cfg):
    """The same camera configuration keeps its EndpointReference across runs."""
    return "urn:uuid:%s" % uuid.uuid5(uuid.NAMESPACE_URL, "camsim:" + json.dumps(cfg, sort_keys=True, default=str))


def scopes(cam):
    c = cam.cfg
    quote = lambda text: urllib.parse.quote(str(text), safe="")  # noqa: E731
    items = ["onvif://www.onvif.org/type/video_encoder", "onvif://www.onvif.org/Profile/Streaming"]
    if cam.has_ptz:
        items.append("onvif://www.onvif.org/type/ptz")
    items += ["onvif://www.onvif.org/name/" + quote("%s %s" % (c["manufacturer"], c["model"])),
              "onvif://www.onvif.org/hardware/" + quote(c["model"]),
              "onvif://www.onvif.org/location/" + quote(c.get("location") or DEFAULT_LOCATION)]
    return " ".join(items)


class Responder(threading.Thread):
    def __init__(self, socks, srv):
        super().__init__(daemon=True, name="camsim-discovery")
        self.socks, self.srv, self.cam = socks, srv, srv.camera
        self.endpoint = endpoint_uuid(self.cam.cfg)
        self.instance = int(time.time())
        self.number = 0

    def xaddr(self, peer):
        host, port = self.srv.server_address[:2]
        if host in ("", "0.0.0.0"):
            # Bound to every interface: name the one the prober reaches us on.
            with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
                s.connect(peer)
                host = s.getsockname()[0]
        return "http://%s:%d/onvif/device_service" % (host, port)

    def answer(self, relates_to, peer):
        self.number += 1
        return ('<?xml version="1.0" encoding="UTF-8"?>\n'
                '<env:Envelope xmlns:env="%s" xmlns:wsa="%s" xmlns:d="%s" xmlns:dn="%s">'
                '<env:Header><wsa:MessageID>urn:uuid:%s</wsa:MessageID><wsa:RelatesTo>%s</wsa:RelatesTo>'
                '<wsa:To>%s/role/anonymous</wsa:To><wsa:Action>%s/ProbeMatches</wsa:Action>'
                '<d:AppSequence InstanceId="%d" MessageNumber="%d"/></env:Header>'
                '<env:Body><d:ProbeMatches><d:ProbeMatch>'
                '<wsa:EndpointReference><wsa:Address>%s</wsa:Address></wsa:EndpointReference>'
                '<d:Types>dn:NetworkVideoTransmitter</d:Types><d:Scopes>%s</d:Scopes>'
                '<d:XAddrs>%s</d:XAddrs><d:MetadataVersion>1</d:MetadataVersion>'
                '</d:ProbeMatch></d:ProbeMatches></env:Body></env:Envelope>' % (
                    SOAP, WSA, WSD, DN, uuid.uuid4(), escape(relates_to), WSA, WSD, self.instance, self.number,
                    self.endpoint, escape(scopes(self.cam)), escape(self.xaddr(peer)))).encode()

    def run(self):
        while True:
            for s in select.select(self.socks, [], [])[0]:
                try:
                    data, peer = s.recvfrom(65536)
                except OSError:
                    continue
                try:
                    probe = read_probe(data)
                    if probe and probe[1]:
                        s.sendto(self.answer(probe[0], peer), peer)
                    verdict = "ProbeMatches" if probe and probe[1] else "other Types" if probe else "not a Probe"
                except Exception as e:  # noqa: BLE001 -- no datagram may stop the responder
                    verdict = "not answered: %s" % e
                self.srv.log("probe from %s:%d -> %s" % (peer[0], peer[1], verdict))


def start(args, srv, write_port_file):
    """The responder for camsim's --discovery-* options, or None without them."""
    socks = []
    if args.discovery_port is not None:
        s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        s.bind((args.host, args.discovery_port))
        socks.append(s)
    if args.discovery_multicast:
        m = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        m.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)  # beside other listeners of the group
        m.bind(("", PORT))
        m.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP,
                     struct.pack("4s4s", socket.inet_aton(GROUP), socket.inet_aton("0.0.0.0")))
        socks.append(m)
    if not socks:
        return None
    responder = Responder(socks, srv)
    responder.start()
    if args.discovery_port_file and args.discovery_port is not None:
        write_port_file(args.discovery_port_file, socks[0].getsockname()[1])
    srv.log("camsim answering WS-Discovery probes on udp %s as %s" % (
        ", ".join("%s:%d" % s.getsockname() for s in socks), responder.endpoint))
    return responder
