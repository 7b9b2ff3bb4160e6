"""A test authority and a server certificate of it, made with the openssl program."""

import subprocess
from pathlib import Path


def _openssl(*arguments):
    subprocess.run(["openssl", *map(str, arguments)], check=True, capture_output=True)


class TestCertificates:
    """In `folder`: ca.pem, ca.der, and for each host server-HOST.pem with server-HOST.key."""

    __test__ = False

    def __init__(self, folder):
        self.folder = Path(folder)
        self.authority = self.folder / "ca.der"

    def create_authority(self):
        if self.authority.exists():
            return
        self.folder.mkdir(parents=True, exist_ok=True)
        _openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-sha256", "-days", "30", "-subj",
                 "/CN=Test authority of the Vandrel updater", "-keyout", self.folder / "ca.key", "-out",
                 self.folder / "ca.pem", "-addext", "keyUsage=critical,keyCertSign")
        _openssl("x509", "-in", self.folder / "ca.pem", "-outform", "DER", "-out", self.authority)

    def server(self, host):
        """Gives the certificate and key files for a host name."""
        certificate, key = self.folder / f"server-{host}.pem", self.folder / f"server-{host}.key"
        if not certificate.exists():
            request, extensions = self.folder / f"{host}.csr", self.folder / f"{host}.ext"
            extensions.write_text(f"subjectAltName=DNS:{host}\nbasicConstraints=CA:FALSE\n"
                                  "extendedKeyUsage=serverAuth\n")
            _openssl("req", "-newkey", "rsa:2048", "-nodes", "-subj", f"/CN={host}", "-keyout", key, "-out", request)
            _openssl("x509", "-req", "-sha256", "-days", "30", "-in", request, "-CA", self.folder / "ca.pem", "-CAkey",
                     self.folder / "ca.key", "-CAcreateserial", "-extfile", extensions, "-out", certificate)
        return certificate, key
