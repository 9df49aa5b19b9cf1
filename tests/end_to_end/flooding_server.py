"""Peers that would keep a transfer in one phase for ever: they send nothing, or records that TLS takes in without
handing on a byte of HTTP."""

import ctypes
import os
import socket
import threading
import time

# A HelloRequest, which a client passes over while a handshake is under way (RFC 5246, section 7.4.1.1).
HELLO_REQUESTS = bytes.fromhex("160303000400000000") * 8192

CHUNKED = b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
SENT_BEFORE_THE_FLOOD = {
    "/head": b"",
    "/body": b"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nabc",
    "/trailers": CHUNKED + b"3\r\nabc\r\n0\r\nX-First: 1\r\n",
}


class OpenSSL:
    """What Python's own module does not offer: HelloRequests as often as one likes."""

    def __init__(self):
        self.library = ctypes.CDLL("libssl.so.3")

    def __getattr__(self, name):
        function = getattr(self.library, name)
        function.restype = ctypes.c_void_p if name in ("TLS_server_method", "SSL_CTX_new", "SSL_new") else ctypes.c_int
        return function


class Renegotiator:
    """The server's side of one TLS 1.2 connection."""

    def __init__(self, connection, certificate):
        self.tls = OpenSSL()
        self.context = ctypes.c_void_p(self.tls.SSL_CTX_new(ctypes.c_void_p(self.tls.TLS_server_method())))
        for loaded in (self.tls.SSL_CTX_use_certificate_chain_file(self.context, certificate.encode()),
                       self.tls.SSL_CTX_use_PrivateKey_file(self.context, certificate.encode(), 1)):
            if loaded != 1:
                raise RuntimeError("no certificate in " + certificate)
        set_max_proto_version, tls_1_2 = 124, ctypes.c_long(0x0303)
        self.tls.SSL_CTX_ctrl(self.context, set_max_proto_version, tls_1_2, None)
        self.connection = ctypes.c_void_p(self.tls.SSL_new(self.context))
        self.tls.SSL_set_fd(self.connection, connection.fileno())

    def accept(self):
        return self.tls.SSL_accept(self.connection) == 1

    def receive(self):
        buffer = ctypes.create_string_buffer(65536)
        count = self.tls.SSL_read(self.connection, buffer, len(buffer))
        return buffer.raw[:max(0, count)]

    def send(self, data):
        return not data or self.tls.SSL_write(self.connection, data, len(data)) > 0

    def request_hello(self):
        return self.tls.SSL_renegotiate(self.connection) == 1 and self.tls.SSL_do_handshake(self.connection) == 1

    def close(self):
        self.tls.SSL_free(self.connection)
        self.tls.SSL_CTX_free(self.context)


class FloodingServer:
    """Floods with HelloRequests: in plain instead of a handshake, or encrypted in the phase that the path names. `sent`
    may add paths with what is sent before the flood."""

    def __init__(self, certificate, without_handshake=False, sent=()):
        self.certificate = certificate
        self.without_handshake = without_handshake
        self.sent = {**SENT_BEFORE_THE_FLOOD, **dict(sent)}
        self.reached = threading.Event()
        self.serving = []
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.url = "https://localhost:%d" % self.listener.getsockname()[1]
        self.acceptor = threading.Thread(target=self.accept, daemon=True)
        self.acceptor.start()

    def accept(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            thread = threading.Thread(target=self.serve, args=(connection,), daemon=True)
            thread.start()
            self.serving.append((thread, connection))

    def serve(self, connection):
        try:
            if self.without_handshake:
                self.flood_handshake(connection)
            else:
                self.flood(connection)
        except OSError:
            pass  # the client has left

    def flood_handshake(self, connection):
        connection.recv(65536)
        while True:
            connection.sendall(HELLO_REQUESTS)
            self.reached.set()

    def flood(self, connection):
        peer = Renegotiator(connection, self.certificate)
        if peer.accept():
            head = peer.receive()
            if head and peer.send(self.sent[head.split(b" ")[1].decode()]):
                count = 0
                while peer.request_hello():
                    count += 1
                    if count == 1000:
                        self.reached.set()
        peer.close()

    def close(self):
        self.listener.shutdown(socket.SHUT_RDWR)
        self.acceptor.join()
        self.listener.close()
        for thread, connection in self.serving:
            try:
                connection.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass  # it has gone already
            thread.join()
            connection.close()


class FullListener:
    """A port whose queue of connections is full: the next one is neither accepted nor refused. Needs a network of its
    own, in which nobody else connects."""

    def __init__(self):
        self.listener = socket.create_server(("127.0.0.1", 0), backlog=0)
        self.url = "https://localhost:%d" % self.listener.getsockname()[1]
        self.waiting = []
        while not self.has_more_connecting_than(1):
            self.waiting.append(socket.socket())
            self.waiting[-1].setblocking(False)
            self.waiting[-1].connect_ex(self.listener.getsockname())
        self.reached = self

    @staticmethod
    def has_more_connecting_than(count):
        with open("/proc/net/tcp") as table:
            return sum(line.split()[3] == "02" for line in table) > count  # SYN_SENT

    def wait(self, timeout):
        """Until somebody else connects."""
        deadline = time.monotonic() + timeout
        while not self.has_more_connecting_than(2) and time.monotonic() < deadline:
            time.sleep(0.02)
        return self.has_more_connecting_than(2)

    def close(self):
        for connection in (*self.waiting, self.listener):
            connection.close()


class SilentNameServer:
    """Takes every question and answers none. Needs a network of its own, for its port is fixed, and mounts a file over
    the system's."""

    url = "https://nobody.test"

    def __init__(self, folder, mount):
        self.reached = threading.Event()
        self.socket = socket.socket(type=socket.SOCK_DGRAM)
        self.socket.bind(("127.0.0.1", 53))
        settings = os.path.join(folder, "resolv.conf")
        with open(settings, "w") as out:
            out.write("nameserver 127.0.0.1\noptions timeout:30 attempts:5\n")
        mount(settings, "/etc/resolv.conf")
        self.listening = threading.Thread(target=self.listen, daemon=True)
        self.listening.start()

    def listen(self):
        while self.socket.recv(65536) != b"end":
            self.reached.set()

    def close(self):
        with socket.socket(type=socket.SOCK_DGRAM) as end:
            end.sendto(b"end", ("127.0.0.1", 53))
        self.listening.join()
        self.socket.close()
