"""A CONNECT relay. The helper asks for the host that is compiled into it; the relay, which Wine takes for the system's
proxy, brings it to the test's own server instead. So the executable is tested as it was built, whatever its endpoint."""

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


class Relay:
    """`address` is for the environment variable http_proxy; `port` is where connections go (None: nobody listens)."""

    def __init__(self):
        self.port = None
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.address = "127.0.0.1:%d" % self._listener.getsockname()[1]
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        while True:
            try:
                connection, _ = self._listener.accept()
            except OSError:
                return
            threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    def _serve(self, connection):
        head = b""
        while b"\r\n\r\n" not in head:
            data = connection.recv(4096)
            if not data:
                return connection.close()
            head += data
        try:
            server = socket.create_connection(("127.0.0.1", self.port or 1))
        except OSError:
            return reset(connection)
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
