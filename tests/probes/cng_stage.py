"""Puts the public modulus, a message, and signatures of it, good and bad ones, into the folder of the probe `cng`:
cng_stage.py FOLDER KEY"""

import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2]))
from lab.openssl import openssl  # noqa: E402
from lab.pss import pss_signature  # noqa: E402

folder, key = Path(sys.argv[1]), sys.argv[2]
(folder / "modulus").write_bytes(bytes.fromhex(openssl("rsa", "-in", key, "-noout", "-modulus").decode().split("=")[1]))
(folder / "message").write_bytes(b"what is signed")
for salt in (0, 20, 31, 32, 33):
    (folder / f"salt-{salt}").write_bytes(pss_signature(b"what is signed", key, salt))
(folder / "sha384").write_bytes(pss_signature(b"what is signed", key, digest="sha384"))
(folder / "pkcs1").write_bytes(openssl("dgst", "-sha256", "-sign", key, data=b"what is signed"))
