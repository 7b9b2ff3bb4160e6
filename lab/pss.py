"""RSASSA-PSS signatures that are the same each time: the salt is made of what is signed. For tests and trials alone."""

import hashlib

from .openssl import openssl

KEY_BYTES = 384  # RSA-3072


def _mask(seed, size, digest):
    blocks = (hashlib.new(digest, seed + counter.to_bytes(4, "big")).digest() for counter in range(size // 32 + 1))
    return b"".join(blocks)[:size]


def pss_signature(message, key, salt=32, digest="sha256"):
    """By the private key in the file `key`, with so many bytes of salt. Raises what openssl() raises."""
    hashed = hashlib.new(digest, message).digest()
    grains = hashlib.shake_128(message).digest(salt)
    proof = hashlib.new(digest, bytes(8) + hashed + grains).digest()
    size = KEY_BYTES - len(proof) - 1
    block = (b"\1" + grains).rjust(size, b"\0")
    masked = bytearray(a ^ b for a, b in zip(block, _mask(proof, size, digest)))
    masked[0] &= 0x7F  # a number of 3071 bits
    # Without padding this is the private operation itself; "-sign" takes nothing longer than a hash.
    return openssl("pkeyutl", "-decrypt", "-inkey", key, "-pkeyopt", "rsa_padding_mode:none",
                   data=bytes(masked) + proof + b"\xbc")
