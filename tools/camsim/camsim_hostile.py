"""camsim hostile: a camera that answers every request in one bad way, for
trying what a daemon does when firmware misbehaves (camsim hostile MODE).

silent     accepts and reads, never answers
byte       a good capabilities answer, one byte a second
gzip       capabilities, gzip-compressed, inflating to SIZE_KB kilobytes
big        capabilities with a SIZE_KB kilobyte service address
padded     capabilities with SIZE_KB kilobytes of blanks between elements, sent
           without a length (read until the camera closes)
self       capabilities naming the daemon's own command port as services
empty      200 with an empty body
html       500 with an HTML page
truncated  capabilities cut off in the middle of an element
Anything but GetCapabilities is answered with a SOAP fault. Each request's
operation is printed: "request GetProfiles".
"""
import gzip
import random
import socket
import threading
import time

CAPABILITIES = (
    '<?xml version="1.0" encoding="UTF-8"?>\n'
    '<env:Envelope xmlns:env="http://www.w3.org/2003/05/soap-envelope"'
    ' xmlns:tds="http://www.onvif.org/ver10/device/wsdl" xmlns:tt="http://www.onvif.org/ver10/schema">'
    '<env:Body><tds:GetCapabilitiesResponse><tds:Capabilities>'
    '<tt:Media><tt:XAddr>{media}</tt:XAddr><tt:StreamingCapabilities/></tt:Media>'
    '<tt:PTZ><tt:XAddr>{ptz}</tt:XAddr></tt:PTZ>'
    '</tds:Capabilities></tds:GetCapabilitiesResponse></env:Body></env:Envelope>')
FAULT = (
    '<?xml version="1.0" encoding="UTF-8"?>\n'
    '<env:Envelope xmlns:env="http://www.w3.org/2003/05/soap-envelope"><env:Body><env:Fault>'
    '<env:Code><env:Value>env:Receiver</env:Value></env:Code>'
    '<env:Reason><env:Text xml:lang="en">not here</env:Text></env:Reason>'
    '</env:Fault></env:Body></env:Envelope>')


def http(status, body, content_type="application/soap+xml; charset=utf-8", extra="", length=True):
    size = f"Content-Length: {len(body)}\r\n" if length else ""
    head = f"HTTP/1.1 {status}\r\nContent-Type: {content_type}\r\n{extra}{size}Connection: close\r\n\r\n"
    return head.encode() + body


def read_request(conn):
    """Up to the end of the SOAP envelope, however the request is framed."""
    data = b""
    while not data.rstrip().endswith((b"Envelope>", b"\r\n0")):
        chunk = conn.recv(65536)
        if not chunk:
            break
        data += chunk
    return data


def answer(mode, size, own):
    size *= 1024
    if mode == "self":
        return http("200 OK", CAPABILITIES.format(media="http://127.0.0.1:1997/onvif/media_service",
                                                  ptz="http://127.0.0.1:1997/onvif/ptz_service").encode())
    if mode == "empty":
        return http("200 OK", b"")
    if mode == "html":
        return http("500 Internal Server Error", b"<html><body><h1>500</h1>Server error</body></html>",
                    "text/html")
    if mode in ("big", "gzip"):
        # Mostly one letter with a few others: compresses well, though not
        # so well that the toolkit's own ratio check would catch it.
        rng = random.Random(1)
        filler = bytearray(b"x" * size)
        for i in range(0, size, 600):
            filler[i] = rng.randrange(97, 123)
        xml = CAPABILITIES.format(media=own + "/media", ptz=own + "/ptz/" + filler.decode())
        if mode == "big":
            return http("200 OK", xml.encode())
        return http("200 OK", gzip.compress(xml.encode(), 6), extra="Content-Encoding: gzip\r\n")
    if mode == "padded":
        xml = CAPABILITIES.format(media=own + "/media", ptz=own + "/ptz")
        return http("200 OK", xml.replace("<tt:PTZ>", " " * size + "<tt:PTZ>").encode(), length=False)
    whole = http("200 OK", CAPABILITIES.format(media=own + "/media", ptz=own + "/ptz").encode())
    if mode == "truncated":
        cut = whole.index(b"<tt:PTZ>") + 5
        body = whole[whole.index(b"\r\n\r\n") + 4:cut]
        return http("200 OK", body)
    return whole  # byte


def serve(conn, mode, reply):
    with conn:
        request = read_request(conn)
        body = request[request.find(b"Body>"):]
        print("request", body[body.find(b":", 5) + 1:].split(b">")[0].split(b" ")[0].decode(errors="replace"),
              flush=True)
        if mode == "silent":
            while conn.recv(65536):
                pass
            return
        if b"GetCapabilities" not in request:
            conn.sendall(http("500 Internal Server Error", FAULT.encode()))
            return
        if mode == "byte":
            for i in range(len(reply)):
                conn.sendall(reply[i:i + 1])
                time.sleep(1)
        else:
            conn.sendall(reply)


MODES = ("silent", "byte", "gzip", "big", "padded", "self", "empty", "html", "truncated")


def run(srv_socket, mode, size_kb, started):
    own = "http://127.0.0.1:%d/onvif" % srv_socket.getsockname()[1]
    reply = answer(mode, size_kb, own)
    started()
    while True:
        conn, _ = srv_socket.accept()
        threading.Thread(target=serve, args=(conn, mode, reply), daemon=True).start()
