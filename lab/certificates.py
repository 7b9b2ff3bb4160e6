"""A certificate authority for tests, and server certificates of it."""

from pathlib import Path

from .openssl import openssl


class Authority:
    """Makes and leaves in `folder`: ca.pem, ca.der, ca.key, and for each host server-HOST.pem with server-HOST.key.
    What stands there already is used again. Raises what openssl() raises."""

    def __init__(self, folder):
        self.folder = Path(folder)
        self.certificate = self.folder / "ca.der"

    def create(self):
        if self.certificate.exists():
            return
        self.folder.mkdir(parents=True, exist_ok=True)
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-sha256", "-days", "3650", "-subj",
                "/CN=Test authority of the Vandrel updater", "-keyout", self.folder / "ca.key", "-out",
                self.folder / "ca.pem", "-addext", "keyUsage=critical,keyCertSign")
        openssl("x509", "-in", self.folder / "ca.pem", "-outform", "DER", "-out", self.certificate)

    def server(self, host):
        """Gives the certificate and key files for a host name."""
        certificate, key = self.folder / f"server-{host}.pem", self.folder / f"server-{host}.key"
        if not certificate.exists():
            request, extensions = self.folder / f"{host}.csr", self.folder / f"{host}.ext"
            extensions.write_text(f"subjectAltName=DNS:{host}\nbasicConstraints=CA:FALSE\n"
                                  "extendedKeyUsage=serverAuth\n")
            openssl("req", "-newkey", "rsa:2048", "-nodes", "-subj", f"/CN={host}", "-keyout", key, "-out", request)
            openssl("x509", "-req", "-sha256", "-days", "3650", "-in", request, "-CA", self.folder / "ca.pem", "-CAkey",
                    self.folder / "ca.key", "-CAcreateserial", "-extfile", extensions, "-out", certificate)
        return certificate, key
