"""TLS for camsim: the server context, its certificate (given, or self-signed
and made with the openssl tool) and the switch to a new one on SIGUSR1.

Built once in the main thread; `current` (context and fingerprint) is read by
connection threads and replaced whole by `renew` (the signal handler, main
thread), so a connection handshakes with the old certificate or the new one
and its record names the one it got.
"""

import hashlib
import os
import shutil
import ssl
import subprocess
import tempfile

KEY_TYPES = {
    "ec": ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1"],
    "rsa": ["-newkey", "rsa:2048"],
}
KEY_NAMES = {"ec": "EC P-256", "rsa": "RSA 2048"}


def self_signed(key_type):
    """(certificate PEM, key PEM) of a new self-signed certificate, as the
    camera's factory certificate: CN camsim, ten years, a key never used before."""
    d = tempfile.mkdtemp(prefix="camsim-tls-")  # mode 0700: the key is nobody else's
    try:
        cert, key = os.path.join(d, "cert.pem"), os.path.join(d, "key.pem")
        cmd = ["openssl", "req", "-x509", *KEY_TYPES[key_type], "-nodes", "-days", "3650",
               "-subj", "/CN=camsim", "-keyout", key, "-out", cert]
        try:
            subprocess.run(cmd, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                           stderr=subprocess.PIPE)
        except FileNotFoundError:
            raise OSError("the openssl tool is needed to make a certificate (Debian package openssl)")
        except subprocess.CalledProcessError as e:
            raise OSError("openssl req failed: %s" % e.stderr.decode(errors="replace").strip())
        with open(cert) as c, open(key) as k:
            return c.read(), k.read()
    finally:
        # Loaded into memory, the files are of no further use: nothing is
        # left behind, even if camsim is killed.
        shutil.rmtree(d, ignore_errors=True)


def fingerprint(cert_pem):
    """SHA-256 of the certificate, as `openssl x509 -fingerprint -sha256` writes it."""
    digest = hashlib.sha256(ssl.PEM_cert_to_DER_cert(cert_pem)).hexdigest().upper()
    return ":".join(digest[i:i + 2] for i in range(0, len(digest), 2))


def server_context(cert_pem, key_pem, tls12_only=False):
    ctx = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    ctx.minimum_version = ssl.TLSVersion.TLSv1_2
    if tls12_only:  # older firmware: sessions resumed by their ID, no tickets
        ctx.maximum_version = ssl.TLSVersion.TLSv1_2
        ctx.options |= ssl.OP_NO_TICKET
    # load_cert_chain reads files only; a private directory again, gone at once.
    d = tempfile.mkdtemp(prefix="camsim-tls-")
    try:
        cert, key = os.path.join(d, "cert.pem"), os.path.join(d, "key.pem")
        with open(cert, "w") as c, open(key, "w") as k:
            c.write(cert_pem)
            k.write(key_pem)
        ctx.load_cert_chain(cert, key)
    finally:
        shutil.rmtree(d, ignore_errors=True)
    return ctx


class Tls:
    """The listener's TLS state: context and what the banner and record say of it."""

    def __init__(self, cfg):
        self.key_type = cfg.get("tls_key_type") or "ec"
        self.tls12_only = bool(cfg.get("tls12"))
        cert_file, key_file = cfg.get("tls_cert"), cfg.get("tls_key")
        if cert_file:
            with open(cert_file) as f:
                cert_pem = f.read()
            key_pem = cert_pem
            if key_file:
                with open(key_file) as f:
                    key_pem = f.read()
            self.source = "certificate " + cert_file
        else:
            cert_pem, key_pem = self_signed(self.key_type)
            self.source = "self-signed %s certificate" % KEY_NAMES[self.key_type]
        self._use(cert_pem, key_pem)

    def _use(self, cert_pem, key_pem):
        # One assignment: a connection thread sees the old pair or the new one.
        self.current = (server_context(cert_pem, key_pem, self.tls12_only), fingerprint(cert_pem))

    @property
    def fingerprint(self):
        return self.current[1]

    def renew(self):
        """A new self-signed certificate with a new key, as a camera that was reset
        or re-keyed; sessions of the old one are no longer resumed."""
        self._use(*self_signed(self.key_type))
        self.source = "self-signed %s certificate" % KEY_NAMES[self.key_type]
