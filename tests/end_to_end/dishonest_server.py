"""A TLS server that answers as each test tells it to, however wrong, and remembers what it was sent."""

import socket
import ssl
import struct
import threading
import warnings


class Exchange:
    """One request and the connection to answer it on."""

    def __init__(self, connection, head):
        self.connection = connection
        self.head = head
        self.path = head.split(b" ")[1].decode()

    def send(self, data):
        self.connection.sendall(data)

    def respond(self, status, headers=(), body=b"", length=True):
        lines = ["HTTP/1.1 %s" % status, *headers, "Connection: close"]
        if length:
            lines.append("Content-Length: %d" % len(body))
        self.send("\r\n".join(lines).encode() + b"\r\n\r\n" + body)

    def redirect(self, location, status="302 Found"):
        self.respond(status, ["Location: " + location], b"moved")

    def reset(self):
        """Ends the connection with a reset instead of a proper close."""
        self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.connection.close()


class DishonestServer:
    """`routes` maps a path to a function that is given an Exchange."""

    def __init__(self, certificate, routes, host="localhost", address="127.0.0.1", only_tls_1_1=False):
        self.routes = routes
        self.requests = []
        self.connections = 0
        self.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self.context.load_cert_chain(certificate)
        if only_tls_1_1:
            self.context.set_ciphers("ALL:@SECLEVEL=0")
            with warnings.catch_warnings():
                warnings.simplefilter("ignore")  # that it is old is the point
                self.context.minimum_version = self.context.maximum_version = ssl.TLSVersion.TLSv1_1
        family = socket.AF_INET6 if ":" in address else socket.AF_INET
        self.listener = socket.socket(family)
        self.listener.bind((address, 0))
        self.listener.listen(16)
        self.port = self.listener.getsockname()[1]
        self.url = "https://%s:%d" % (host, self.port)
        self.acceptor = threading.Thread(target=self.accept, daemon=True)
        self.acceptor.start()

    def accept(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            self.connections += 1
            threading.Thread(target=self.serve, args=(connection,), daemon=True).start()

    def serve(self, plain):
        try:
            with self.context.wrap_socket(plain, server_side=True) as connection:
                connection.settimeout(60)
                while True:
                    head = b""
                    while b"\r\n\r\n" not in head:
                        received = connection.recv(65536)
                        if not received:
                            return
                        head += received
                    self.requests.append(head)
                    exchange = Exchange(connection, head)
                    self.routes[exchange.path](exchange)
                    if b"onnection: close" not in head:
                        connection.unwrap()
                        return
        except (OSError, ssl.SSLError, KeyError, ValueError):
            return  # the client may leave whenever it likes

    def close(self):
        """Ends the accepting thread before the descriptor: otherwise it could accept for the next server, which may be
        given the same number."""
        self.listener.shutdown(socket.SHUT_RDWR)
        self.acceptor.join()
        self.listener.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()
