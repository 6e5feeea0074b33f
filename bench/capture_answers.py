"""Turns camsim's --record of one run into the replay camera's answers.

Every recorded request is posted to camsim again and its answer is stored as
DIR/OP.xml, or DIR/OP@TOKEN.xml when the request names a token, the same key
replay_camera.c computes. camsim's own address in an answer becomes
@HOSTPORT@, which the replay camera fills with its own.

    capture_answers.py RECORD.jsonl CAMSIM_PORT DIR
"""
import http.client
import json
import os
import re
import sys


def request_key(body):
    m = re.search(r"Body[^>]*>\s*<(?:[\w.-]+:)?([\w.-]+)", body)
    if not m:
        return None
    key = m.group(1)
    t = re.search(r"Token[^>]*>([^<]+)<", body[m.end():])
    return key + "@" + t.group(1) if t else key


def main():
    record, port, out = sys.argv[1], int(sys.argv[2]), sys.argv[3]
    os.makedirs(out, exist_ok=True)
    own = "127.0.0.1:%d" % port
    with open(record, encoding="utf-8") as f:
        entries = [json.loads(line) for line in f if line.strip()]
    for e in entries:
        key = request_key(e["body"])
        if key is None:
            sys.exit("capture: no operation in request %d" % e["seq"])
        if e["answer"] != "ok":
            sys.exit("capture: %s was answered %s" % (key, e["answer"]))
        conn = http.client.HTTPConnection("127.0.0.1", port, timeout=10)
        ctype = "application/soap+xml; charset=utf-8"
        if e.get("action"):
            ctype += '; action="%s"' % e["action"]
        conn.request("POST", e["path"], e["body"].encode("utf-8"), {"Content-Type": ctype})
        answer = conn.getresponse().read().decode("utf-8")
        conn.close()
        with open(os.path.join(out, key + ".xml"), "w", encoding="utf-8") as f:
            f.write(answer.replace(own, "@HOSTPORT@"))
    print("capture: %d requests, %d answers" % (len(entries), len(os.listdir(out))))


if __name__ == "__main__":
    main()
