"""camsim tests: run with /usr/bin/python3 -m unittest discover -s tools/camsim"""

import base64
import datetime
import http.client
import json
import os
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import xml.etree.ElementTree as ET

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
import camsim_soap as S  # noqa: E402
from camsim_model import Camera, load_config  # noqa: E402
from camsim_server import CamServer, Recorder, password_digest  # noqa: E402

CONFIG = {
    "reject_reused_nonce": True,
    "auth_exempt": ["GetDeviceInformation"],
    "faults": [{"op": "SetVideoEncoderConfiguration", "times": 1, "match": "SubEncoder",
                "subcode": "ter:InvalidArgVal/ter:ConfigModify"}],
    "no_answer": {"GetStreamUri": "hang", "GetNodes": "drop"},
}


def envelope(body, user="admin", password="admin", nonce=None):
    header = ""
    if user is not None:
        nonce = nonce or os.urandom(16)
        created = datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")
        header = (
            '<env:Header><wsse:Security xmlns:wsse="%s" xmlns:wsu="%s"><wsse:UsernameToken>'
            '<wsse:Username>%s</wsse:Username><wsse:Password Type="http://docs.oasis-open.org/wss/'
            '2004/01/oasis-200401-wss-username-token-profile-1.0#PasswordDigest">%s</wsse:Password>'
            '<wsse:Nonce>%s</wsse:Nonce><wsu:Created>%s</wsu:Created></wsse:UsernameToken>'
            '</wsse:Security></env:Header>' % (S.WSSE, S.WSU, user,
                                               password_digest(nonce, created, password),
                                               base64.b64encode(nonce).decode(), created))
    return ('<env:Envelope xmlns:env="%s" xmlns:tt="%s" xmlns:tds="%s" xmlns:trt="%s" '
            'xmlns:tptz="%s" xmlns:tptz1="%s">%s<env:Body>%s</env:Body></env:Envelope>'
            % (S.ENV, S.TT, S.TDS, S.TRT, S.TPTZ, S.TPTZ1, header, body))


def post(port, body, path="/onvif/device_service", timeout=5, **auth):
    c = http.client.HTTPConnection("127.0.0.1", port, timeout=timeout)
    try:
        c.request("POST", path, envelope(body, **auth).encode(),
                  {"Content-Type": 'application/soap+xml; charset=utf-8; action="urn:x"'})
        r = c.getresponse()
        return r.status, ET.fromstring(r.read())
    finally:
        c.close()


def subcodes(root):
    return [v.text for v in root.iter("{%s}Value" % S.ENV)][1:]


class CamsimTest(unittest.TestCase):
    """The real executable: CLI, port file, auth, injected faults, record file."""
    @classmethod
    def setUpClass(cls):
        cls.tmp = tempfile.TemporaryDirectory()
        d = cls.tmp.name
        cfg, cls.port_file, cls.record = (os.path.join(d, n) for n in ("c.json", "port", "rec"))
        with open(cfg, "w") as f:
            json.dump(CONFIG, f)
        cls.proc = subprocess.Popen(
            [os.path.join(HERE, "camsim"), "--port", "0", "--port-file", cls.port_file,
             "--config", cfg, "--record", cls.record], stdout=subprocess.DEVNULL)
        for _ in range(100):
            if os.path.exists(cls.port_file):
                break
            time.sleep(0.05)
        with open(cls.port_file) as f:
            cls.port = int(f.read())

    @classmethod
    def tearDownClass(cls):
        cls.proc.terminate()
        cls.proc.wait(5)
        cls.tmp.cleanup()

    def call(self, body, path="/onvif/device_service", timeout=5, **auth):
        return post(self.port, body, path, timeout, **auth)

    def records(self):
        with open(self.record) as f:
            return [json.loads(line) for line in f]

    def test_digest(self):
        st, _ = self.call("<tds:GetCapabilities/>")
        self.assertEqual(st, 200)
        st, root = self.call("<tds:GetCapabilities/>", password="wrong")
        self.assertEqual((st, subcodes(root)), (400, ["ter:NotAuthorized"]))
        st, root = self.call("<tds:GetCapabilities/>", user=None)
        self.assertEqual((st, subcodes(root)), (400, ["ter:NotAuthorized"]))
        st, _ = self.call("<tds:GetDeviceInformation/>", user=None)  # exempt
        self.assertEqual(st, 200)
        nonce = os.urandom(16)
        self.assertEqual(self.call("<trt:GetProfiles/>", nonce=nonce)[0], 200)
        st, root = self.call("<trt:GetProfiles/>", nonce=nonce)
        self.assertEqual((st, subcodes(root)), (400, ["ter:NotAuthorized"]))
        last = self.records()[-1]
        self.assertEqual((last["token"], last["auth"], last["answer"]),
                         ("reused", "bad", "ter:NotAuthorized"))

    def set_sub(self, encoding, w, h, h264=""):
        return self.call(
            '<trt:SetVideoEncoderConfiguration><trt:Configuration token="SubEncoder">'
            '<tt:Name>Sub</tt:Name><tt:UseCount>1</tt:UseCount><tt:Encoding>%s</tt:Encoding>'
            '<tt:Resolution><tt:Width>%d</tt:Width><tt:Height>%d</tt:Height></tt:Resolution>'
            '<tt:Quality>4.9</tt:Quality><tt:RateControl><tt:FrameRateLimit>12</tt:FrameRateLimit>'
            '<tt:EncodingInterval>1</tt:EncodingInterval><tt:BitrateLimit>768</tt:BitrateLimit>'
            '</tt:RateControl>%s<tt:Multicast><tt:Address><tt:Type>IPv4</tt:Type></tt:Address>'
            '<tt:Port>0</tt:Port><tt:TTL>1</tt:TTL><tt:AutoStart>false</tt:AutoStart></tt:Multicast>'
            '<tt:SessionTimeout>PT60S</tt:SessionTimeout></trt:Configuration>'
            '<trt:ForcePersistence>true</trt:ForcePersistence></trt:SetVideoEncoderConfiguration>'
            % (encoding, w, h, h264), path="/onvif/media_service")

    def test_set_then_get_with_injected_fault(self):
        st, root = self.set_sub("H264", 352, 288)  # first try: injected fault
        self.assertEqual((st, subcodes(root)), (400, ["ter:InvalidArgVal", "ter:ConfigModify"]))
        st, root = self.set_sub("H264", 352, 287)  # not an offered resolution
        self.assertEqual(subcodes(root), ["ter:InvalidArgVal", "ter:ConfigModify"])
        self.assertEqual(self.set_sub("H264", 352, 288)[0], 200)
        rec = self.records()[-1]
        self.assertEqual(rec["values"]["gov"], None)
        self.assertEqual((rec["values"]["quality"], rec["values"]["bitrate"]), (4.9, 768))
        st, root = self.call("<trt:GetVideoEncoderConfiguration><trt:ConfigurationToken>"
                             "SubEncoder</trt:ConfigurationToken></trt:GetVideoEncoderConfiguration>")
        conf = root.find(".//{%s}Configuration" % S.TRT)
        got = [e.text for e in conf.iter() if e.text and e.tag.startswith("{%s}" % S.TT)]
        self.assertEqual(got, ["Sub", "1", "H264", "352", "288", "4.9", "12", "1", "768",
                               "24", "Main", "IPv4", "0.0.0.0", "0", "5", "false", "PT60S"])

    def test_records_and_misbehaviour(self):
        self.call('<tptz:ContinuousMove><tptz:ProfileToken>MainProfile</tptz:ProfileToken>'
                  '<tptz:Velocity><tt:PanTilt x="0.5" y="-0.25"/></tptz:Velocity>'
                  '</tptz:ContinuousMove>', path="/onvif/ptz_service")
        st, root = self.call('<tptz1:Stop><tptz1:ProfileToken>MainProfile</tptz1:ProfileToken>'
                             '<tptz1:PanTilt>true</tptz1:PanTilt></tptz1:Stop>')
        self.assertEqual(root.find(".//{%s}StopResponse" % S.TPTZ1).tag, "{%s}StopResponse" % S.TPTZ1)
        st, root = self.call("<tds:NoSuchThing/>")
        self.assertEqual(subcodes(root), ["ter:ActionNotSupported"])
        with self.assertRaises((http.client.HTTPException, ConnectionError)):
            self.call("<tptz:GetNodes/>")
        with self.assertRaises(socket.timeout):
            self.call('<trt:GetStreamUri><trt:StreamSetup><tt:Stream>RTP-Unicast</tt:Stream>'
                      '<tt:Transport><tt:Protocol>RTSP</tt:Protocol></tt:Transport></trt:StreamSetup>'
                      '<trt:ProfileToken>MainProfile</trt:ProfileToken></trt:GetStreamUri>',
                      timeout=0.5)
        recs = self.records()
        self.assertEqual([r["seq"] for r in recs], list(range(1, len(recs) + 1)))
        move, stop, unknown, drop, hang = recs[-5:]
        self.assertEqual((move["op"], move["ns"], move["path"], move["action"], move["token"],
                          move["auth"], move["answer"]),
                         ("ContinuousMove", S.TPTZ, "/onvif/ptz_service", "urn:x", "fresh", "ok", "ok"))
        self.assertEqual(move["values"], {"ProfileToken": "MainProfile", "pan": 0.5, "tilt": -0.25,
                                          "zoom": None, "space": False, "timeout": None})
        self.assertEqual((stop["ns"], stop["values"]["PanTilt"], stop["values"]["Zoom"]),
                         (S.TPTZ1, True, None))
        self.assertEqual([unknown["answer"], drop["answer"], hang["answer"]],
                         ["ter:ActionNotSupported", "drop", "hang"])
        self.assertIn("<tt:Stream>RTP-Unicast</tt:Stream>", hang["body"])


class AnswersTest(unittest.TestCase):
    """Config merging and answer shapes, against an in-process server per camera."""

    def serve(self, **extra):
        cam = Camera(load_config("default", extra=extra))
        srv = CamServer(("127.0.0.1", 0), cam, Recorder(None), quiet=True)
        threading.Thread(target=srv.serve_forever, args=(0.05,), daemon=True).start()
        self.addCleanup(srv.server_close)
        self.addCleanup(srv.shutdown)
        return lambda body, **kw: post(srv.server_address[1], body, user=None, **kw)

    def test_config_merge(self):
        cfg = load_config("default", extra={"profiles": [{}, {"encoder": {"quality": 4.9}}],
                                            "profile_count": 3})
        cam = Camera(cfg)
        self.assertEqual([p["token"] for p in cam.profiles], ["MainProfile", "SubProfile", "Stream3"])
        self.assertEqual([e.quality for e in cam.encoders.values()], [5, 4.9, 4.9])
        self.assertEqual(cam.profiles[0]["encoder"].h264, {"gov": 50, "profile": "Main"})

    def test_ptz_capability_variants(self):
        for mode, xaddr in (("present", "/onvif/ptz_service"), ("empty", ""), ("absent", "-")):
            _, root = self.serve(ptz=mode, auth_required=False)("<tds:GetCapabilities/>")
            ptz = root.find(".//{%s}PTZ" % S.TT)
            got = "-" if ptz is None else ptz.findtext("{%s}XAddr" % S.TT)
            self.assertTrue(got == xaddr if xaddr in ("-", "") else got.endswith(xaddr), mode)

    def test_long_option_lists_in_order(self):
        res = [[160 + 16 * i, 120 + 9 * i] for i in range(30)]
        call = self.serve(auth_required=False, profiles=[{"encoder": {"options": {"h264": {
            "resolutions": res, "profiles": ["Main", "High"]}}}}])
        _, root = call("<trt:GetVideoEncoderConfigurationOptions><trt:ProfileToken>MainProfile"
                       "</trt:ProfileToken></trt:GetVideoEncoderConfigurationOptions>")
        h264 = root.find(".//{%s}H264" % S.TT)
        names = [S.local(c.tag) for c in h264]
        self.assertEqual(names, ["ResolutionsAvailable"] * 30 + [
            "GovLengthRange", "FrameRateRange", "EncodingIntervalRange",
            "H264ProfilesSupported", "H264ProfilesSupported"])
        self.assertEqual(h264[29].findtext("{%s}Width" % S.TT), str(res[29][0]))

    def test_requests_checked_and_presets(self):
        call = self.serve(auth_required=False)
        _, root = call("<trt:GetStreamUri><trt:ProfileToken>MainProfile</trt:ProfileToken>"
                       "<trt:StreamSetup/></trt:GetStreamUri>")
        self.assertEqual(subcodes(root), ["ter:InvalidArgs"])
        _, root = call("<tptz:SetPreset><tptz:ProfileToken>MainProfile</tptz:ProfileToken>"
                       "<tptz:PresetName>Door</tptz:PresetName></tptz:SetPreset>")
        self.assertEqual(root.findtext(".//{%s}PresetToken" % S.TPTZ), "4")
        _, root = call("<tptz:GotoPreset><tptz:ProfileToken>MainProfile</tptz:ProfileToken>"
                       "<tptz:PresetToken>9</tptz:PresetToken></tptz:GotoPreset>")
        self.assertEqual(subcodes(root), ["ter:InvalidArgVal", "ter:NoToken"])
        st, root = call("<tptz1:RemovePreset><tptz1:ProfileToken>MainProfile</tptz1:ProfileToken>"
                        "<tptz1:PresetToken>4</tptz1:PresetToken></tptz1:RemovePreset>")
        self.assertIsNotNone(root.find(".//{%s}RemovePresetResponse" % S.TPTZ1))
        _, root = call("<trt:GetProfile><trt:ProfileToken>Nope</trt:ProfileToken></trt:GetProfile>")
        self.assertEqual(subcodes(root), ["ter:InvalidArgVal", "ter:NoProfile"])


if __name__ == "__main__":
    unittest.main()
