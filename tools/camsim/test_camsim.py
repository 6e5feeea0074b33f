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
import time
import unittest
import xml.etree.ElementTree as ET

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
import camsim_soap as S  # noqa: E402
from camsim_server import password_digest  # noqa: E402

CONFIG = {
    "reject_reused_nonce": True,
    "auth_exempt": ["GetDeviceInformation"],
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
    """The real executable: port file, digest check, record file."""
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

    def test_records_before_answering(self):
        self.call('<tptz:ContinuousMove><tptz:ProfileToken>MainProfile</tptz:ProfileToken>'
                  '<tptz:Velocity><tt:PanTilt x="0.5" y="-0.25"/></tptz:Velocity>'
                  '</tptz:ContinuousMove>', path="/onvif/ptz_service")
        with self.assertRaises((http.client.HTTPException, ConnectionError)):
            self.call("<tptz:GetNodes/>")
        with self.assertRaises(socket.timeout):
            self.call('<trt:GetStreamUri><trt:StreamSetup><tt:Stream>RTP-Unicast</tt:Stream>'
                      '<tt:Transport><tt:Protocol>RTSP</tt:Protocol></tt:Transport></trt:StreamSetup>'
                      '<trt:ProfileToken>MainProfile</trt:ProfileToken></trt:GetStreamUri>',
                      timeout=0.5)
        recs = self.records()
        self.assertEqual([r["seq"] for r in recs], list(range(1, len(recs) + 1)))
        move, drop, hang = recs[-3:]
        self.assertEqual((move["op"], move["ns"], move["path"], move["action"], move["token"],
                          move["auth"], move["answer"]),
                         ("ContinuousMove", S.TPTZ, "/onvif/ptz_service", "urn:x", "fresh", "ok", "ok"))
        self.assertEqual(move["values"], {"ProfileToken": "MainProfile", "pan": 0.5, "tilt": -0.25,
                                          "zoom": None, "space": False, "timeout": None})
        self.assertEqual([drop["answer"], hang["answer"]], ["drop", "hang"])
        self.assertIn("<tt:Stream>RTP-Unicast</tt:Stream>", hang["body"])


if __name__ == "__main__":
    unittest.main()
