"""A CONNECT relay. The helper asks for the host that is compiled into it; the relay, which Wine takes for the system's
proxy, brings it to an endpoint of this machine instead. So the executable is used as it was built, whatever its URL."""

import socket
import struct
import threading


def reset(connection):
    """Closes a connection with a reset instead of an orderly end."""
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    try:
        connection.shutdown(socket.SHUT_RD)  # wakes a thread that is reading: until then it would stay open
    except OSError:
        pass
    connection.close()


def send_at_once(connection):
    """Nothing waits for the other side's acknowledgement, which may take 40 ms."""
    connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)


def serve_in_threads(listener, serve):
    """Hands each connection of `listener` to `serve` in a thread of its own, until the listener is closed."""
    def accept():
        while True:
            try:
                connection, _ = listener.accept()
            except OSError:
                return
            send_at_once(connection)
            threading.Thread(target=serve, args=(connection,), daemon=True).start()
    threading.Thread(target=accept, daemon=True).start()


def receive_head(connection):
    """The head of a request, blank line included; None if the connection ends before."""
    head = b""
    while b"\r\n\r\n" not in head:
        data = connection.recv(4096)
        if not data:
            return None
        head += data
    return head


class Relay:
    """`address` is for the environment variable http_proxy; `port` is where connections go (None: nobody listens).
    Listens on 127.0.0.1 until close()."""

    def __init__(self):
        self.port = None
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.address = "127.0.0.1:%d" % self._listener.getsockname()[1]
        serve_in_threads(self._listener, self._serve)

    def _serve(self, connection):
        if receive_head(connection) is None:
            return connection.close()
        try:
            server = socket.create_connection(("127.0.0.1", self.port or 1))
        except OSError:
            return reset(connection)
        send_at_once(server)
        connection.sendall(b"HTTP/1.1 200 Connection established\r\n\r\n")
        other_way = threading.Thread(target=self._pump, args=(connection, server), daemon=True)
        other_way.start()
        self._pump(server, connection)
        other_way.join()
        connection.close()
        server.close()

    @staticmethod
    def _pump(source, sink):
        try:
            while data := source.recv(65536):
                sink.sendall(data)
            sink.shutdown(socket.SHUT_WR)
        except OSError:
            if sink.fileno() >= 0:
                reset(sink)

    def close(self):
        self._listener.close()
