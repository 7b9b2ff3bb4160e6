"""The openssl program."""

import subprocess


def openssl(*arguments, data=b""):
    """Gives what it prints; raises subprocess.CalledProcessError if it fails."""
    return subprocess.run(["openssl", *map(str, arguments)], input=data, capture_output=True, check=True).stdout
