"""Puts the public modulus, a message, and signatures of it, good and bad ones, into the folder of the probe `cng`:
cng_stage.py FOLDER KEY"""

import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2]))
from lab.openssl import openssl  # noqa: E402

folder, key = Path(sys.argv[1]), sys.argv[2]
(folder / "modulus").write_bytes(bytes.fromhex(openssl("rsa", "-in", key, "-noout", "-modulus").decode().split("=")[1]))
(folder / "message").write_bytes(b"what is signed")
PSS = ["-sigopt", "rsa_padding_mode:pss", "-sigopt"]
for name, options in {**{f"salt-{salt}": ["-sha256", *PSS, f"rsa_pss_saltlen:{salt}"] for salt in (0, 20, 31, 32, 33)},
                      "pkcs1": ["-sha256"], "sha384": ["-sha384", *PSS, "rsa_pss_saltlen:32"]}.items():
    (folder / name).write_bytes(openssl("dgst", *options, "-sign", key, data=b"what is signed"))
