"""An update endpoint that can be scripted: HTTPS with TLS 1.2, a release to serve, and answers that go wrong."""

import socket
import ssl
import time
from dataclasses import dataclass, field
from urllib.parse import parse_qs, urlsplit

from .relay import receive_head, reset, serve_in_threads


@dataclass
class Answer:
    """One HTTP answer. `sent` bytes of the body are delivered (None: all), then the connection stands still for
    `stall` seconds, and is reset with `reset`, or closed in order if fewer were sent than the head says."""
    body: bytes = b""
    status: int = 200
    headers: dict = field(default_factory=dict)
    sent: int | None = None
    reset: bool = False
    stall: float = 0.0
    pause: float = 0.0  # seconds between two pieces of 64 KiB


@dataclass
class Request:
    target: str  # path and query, as they stood on the wire
    headers: str
    query: dict  # the query's members, decoded


class Endpoint:
    """Serves `manifest` and `files` (content by path) on `port` of 127.0.0.1, until close(). `script`, a function of a
    Request, may give an Answer of its own, or None for the ordinary one. All that is asked for is kept in `requests`.
    A connection that fails is dropped without a word: its client has seen it."""

    def __init__(self, certificate, key):
        self.clear()
        self._context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self._context.minimum_version = self._context.maximum_version = ssl.TLSVersion.TLSv1_2
        self._context.load_cert_chain(certificate, key)
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.port = self._listener.getsockname()[1]
        serve_in_threads(self._listener, self._serve)

    def serve(self, release, key):
        """Makes `release` (a Release) the one that is served, signed with the private key file `key`."""
        self.manifest = release.manifest(key)
        self.files = dict(release.files)

    def downloads(self):
        """The paths of the files that were asked for, in order."""
        return [request.query["file"] for request in self.requests if request.query.get("action") == "download"]

    def clear(self):
        """Healthy, with nothing to serve, and nothing asked for."""
        self.manifest, self.files, self.script, self.requests = b"", {}, None, []

    def close(self):
        self._listener.close()

    def _serve(self, plain):
        try:
            connection = self._context.wrap_socket(plain, server_side=True)
        except (OSError, ssl.SSLError):
            return plain.close()
        try:
            while self._serve_request(connection):
                pass
        except (OSError, ssl.SSLError):
            pass
        connection.close()

    def _serve_request(self, connection):
        head = receive_head(connection)
        if head is None:
            return False
        line, _, headers = head.decode().partition("\r\n")
        # Asked through a proxy, as the relay is, Wine names the whole URL.
        target = urlsplit(line.split(" ")[1])._replace(scheme="", netloc="").geturl()
        query = {name: values[0] for name, values in parse_qs(urlsplit(target).query).items()}
        request = Request(target, headers, query)
        self.requests.append(request)
        answer = (self.script(request) if self.script else None) or self._ordinary(query)
        return self._send(connection, answer)

    def _ordinary(self, query):
        body = self.manifest if query.get("action") == "manifest" else self.files.get(query.get("file"))
        return Answer(status=404) if body is None else Answer(body)

    @staticmethod
    def _send(connection, answer):
        headers = {"Content-Length": str(len(answer.body)), **answer.headers}
        head = f"HTTP/1.1 {answer.status} Scripted\r\n" + "".join(f"{k}: {v}\r\n" for k, v in headers.items()) + "\r\n"
        connection.sendall(head.encode())
        body = answer.body if answer.sent is None else answer.body[:answer.sent]
        for start in range(0, len(body), 65536):
            connection.sendall(body[start:start + 65536])
            time.sleep(answer.pause)
        time.sleep(answer.stall)
        if answer.reset:
            time.sleep(0.5)  # a reader that hasn't come to its wait would take the reset for an end
            reset(connection)
        return not answer.reset and answer.sent is None
