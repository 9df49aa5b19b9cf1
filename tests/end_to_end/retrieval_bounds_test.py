"""What surrounds a body has bounds too: heads, trailers, the bodies of redirects, declared lengths; and memory stays
flat under each server that sends without end."""

import world
from flooding_server import CHUNKED, FloodingServer
from retrieval_test import ARTIFACT_TOO_LARGE, CAP, INVALID_RESPONSE, MANIFEST_TOO_LARGE, Dishonest

HEAD_BOUND = 65_536
REDIRECT_BODY_BOUND = 65_536
LINE = b"X-Fill: " + b"y" * 990 + b"\r\n"
INTERIM = b"HTTP/1.1 103 Early Hints\r\n" + LINE + b"\r\n"


class Endless(Dishonest):
    """Routes that never end, and how much of them went out."""

    def setUp(self):
        super().setUp()
        self.sent = 0

    def endless(self, start, piece):
        def serve(exchange):
            exchange.send(start)
            while True:
                exchange.send(piece)
                self.sent += len(piece)
        return serve

    def assert_left(self, path, route, message):
        """The route of a path is left soon, with this message."""
        self.sent = 0
        self.server.routes[path] = route
        self.assert_failed(self.check(), message)
        self.assert_nothing_staged()
        self.assertLess(self.sent, 16 << 20)

    def peak_kib(self, feed_url, *prefix):
        return world.peak_kib(*prefix, self.world.updater, "check-and-stage",
                              *self.check_options(feed_url=feed_url, current_version="9.0.0"))

    def assert_flat_memory(self, feed_url, *prefix):
        self.assertLess(self.peak_kib(feed_url, *prefix), self.peak_kib(self.server.url + "/plain.json") + 4 * 1024)


class Heads(Endless):
    def test_with_endless_trailers_are_refused_whatever_the_status(self):
        for status in (b"200 OK", b"404 x", b"302 x\r\nLocation: http://localhost/"):
            start = CHUNKED.replace(b"200 OK", status) + b"0\r\n"
            for path in ("/a.zip", "/manifest.json"):
                self.assert_left(path, self.endless(start, LINE * 16), world.FAILED_SAFELY)
                honest = self.manifest if path == "/manifest.json" else self.archive
                self.server.routes[path] = self.honest(honest)

    def test_without_end_before_the_answer_are_refused(self):
        self.assert_left("/manifest.json", self.endless(b"", INTERIM * 16), world.FAILED_SAFELY)

    def test_of_the_shortest_lines_are_refused_in_flat_memory(self):
        for start in (b"HTTP/1.1 200 OK\r\n", CHUNKED + b"0\r\n"):
            self.assert_left("/manifest.json", self.endless(start, b"a:\r\n" * 4096), world.FAILED_SAFELY)
            self.assert_flat_memory(self.server.url + "/manifest.json")

    def test_with_endless_trailers_leave_memory_flat(self):
        self.server.routes["/manifest.json"] = self.endless(CHUNKED + b"0\r\n", LINE * 16)
        self.assert_flat_memory(self.server.url + "/manifest.json")

    def fill(self, count):
        """Header lines of so many bytes."""
        lines = LINE * (count // len(LINE) - 1)
        return lines + b"X: " + b"y" * (count - len(lines) - 5) + b"\r\n"

    def serve_manifest_with_head_of(self, byte_count):
        """An interim head, a head and trailers, this many bytes together."""
        with open(self.manifest, "rb") as file:
            body = file.read()
        rest = byte_count - len(INTERIM) - len(CHUNKED)
        data = (INTERIM + CHUNKED[:-2] + self.fill(rest // 2) + b"\r\n" + b"%x\r\n%s\r\n0\r\n" % (len(body), body)
                + self.fill(rest - rest // 2) + b"\r\n")
        self.server.routes["/manifest.json"] = lambda exchange: exchange.send(data)

    def test_may_have_their_bound_together_and_not_a_byte_more(self):
        self.serve_manifest_with_head_of(HEAD_BOUND)
        self.assert_staged(self.check())
        self.serve_manifest_with_head_of(HEAD_BOUND + 1)
        self.assert_failed(self.check(), world.FAILED_SAFELY)

    def test_of_all_hops_count_together(self):
        def hop(location):
            return lambda exchange: exchange.send(b"HTTP/1.1 302 x\r\nContent-Length: 0\r\nLocation: %s\r\n" % location
                                                  + self.fill(20_000) + b"\r\n")
        for index in range(4):
            self.server.routes["/hop%d" % index] = hop(b"/hop%d" % (index + 1))
        self.server.routes["/hop4"] = self.honest(self.manifest)
        self.assertEqual(self.check(feed_url=self.server.url + "/hop1").answer["outcome"], "staged")
        self.assert_failed(self.check(feed_url=self.server.url + "/hop0"), world.FAILED_SAFELY)


class RedirectBodies(Endless):
    def start(self, location, length=b"Transfer-Encoding: chunked"):
        return b"HTTP/1.1 302 x\r\nLocation: %s\r\n%s\r\n\r\n" % (location, length)

    def test_without_end_are_left_and_the_redirect_is_followed(self):
        chunk = b"10000\r\n" + b"z" * 65536 + b"\r\n"
        self.server.routes["/manifest.json"] = self.endless(self.start(b"/plain.json"), chunk)
        self.assertEqual(self.check(current_version="9.0.0").answer["outcome"], "upToDate")
        self.assertLess(self.sent, 16 << 20)
        self.assert_flat_memory(self.server.url + "/manifest.json")

    def test_without_end_leave_a_refused_redirect_what_it_is(self):
        for length in (b"X: 1", b"Content-Length: %d" % (1 << 62), b"Content-Length: %d" % (1 << 63)):
            for path in ("/a.zip", "/manifest.json"):
                route = self.endless(self.start(b"http://localhost/", length), b"z" * 65536)
                self.assert_left(path, route, INVALID_RESPONSE)
                self.server.routes["/a.zip"] = self.honest(self.archive)
                self.server.routes["/manifest.json"] = self.honest(self.manifest)

    def test_are_read_to_their_bound_and_not_beyond(self):
        for byte_count, outcome in ((REDIRECT_BODY_BOUND, "failed"), (REDIRECT_BODY_BOUND + 1, "upToDate")):
            head = self.start(b"/plain.json", b"Content-Length: %d" % byte_count)
            # It breaks off, which only a reader notices.
            self.server.routes["/manifest.json"] = lambda exchange: exchange.send(head + b"moved")
            self.assertEqual(self.check(current_version="9.0.0").answer["outcome"], outcome)


class DeclaredLengths(Dishonest):
    def serve(self, path, *lines, status=b"200 OK", chunked=False):
        with open(self.archive if path == "/a.zip" else self.manifest, "rb") as file:
            body = file.read()
        fields = b"".join(b"Content-Length:" + line.replace(b"N", b"%d" % len(body)) + b"\r\n" for line in lines)
        if chunked:
            fields += b"Transfer-Encoding: chunked\r\n"
            body = b"%x\r\n%s\r\n0\r\n\r\n" % (len(body), body)
        response = b"HTTP/1.1 " + status + b"\r\n" + fields + b"\r\n" + body
        self.server.routes[path] = lambda exchange: exchange.send(response)

    def each(self, check, *lines, **options):
        """Calls `check` with the manifest served so, then with the archive."""
        for path in ("/manifest.json", "/a.zip"):
            honest = self.server.routes[path]
            self.serve(path, *lines, **options)
            with self.subTest(path=path, lines=lines, **options):
                check(path)
            self.server.routes[path] = honest

    def refused_with(self, manifest_message, artifact_message=None):
        def check(path):
            self.assert_failed(self.check(), (artifact_message if path == "/a.zip" else None) or manifest_message)
            self.assert_nothing_staged()
        return check

    def staged(self, _):
        self.assert_staged(self.check())

    TOO_LONG = (b" 9223372036854775808", b" 18446744073709551615", b" 18446744073709551616", b" 99999999999999999999",
                b" " + b"9" * 400, b" 9223372036854775808, 9223372036854775808")

    def test_beyond_64_bits_are_larger_than_any_limit(self):
        for line in self.TOO_LONG:
            self.each(self.refused_with(MANIFEST_TOO_LARGE, ARTIFACT_TOO_LARGE), line)

    def test_beyond_64_bits_count_only_after_the_status(self):
        for line in self.TOO_LONG:
            self.each(self.refused_with(INVALID_RESPONSE), line, status=b"404 x")

    def test_count_nothing_with_chunked_coding(self):
        for lines in ([b" 9223372036854775808"], [b" %d" % (CAP + 1)], [b" 1"], [b" 5", b" 6"], [b" 5, 6"]):
            self.each(self.staged, *lines, chunked=True)

    def test_may_be_said_more_than_once(self):
        for lines in ([b"N"], [b"\tN\t "], [b" N", b" N"], [b" N, N"], [b" N ,N", b" N"], [b" " + b"0" * 400 + b"N"]):
            self.each(self.staged, *lines)

    def test_that_are_none_are_a_broken_transfer(self):
        for lines in ([b""], [b" "], [b" -5"], [b" +N"], [b" 0x10"], [b" N N"], [b" N,"], [b" ,N"], [b" N, 6"],
                      [b" N;x"], [b" N.0"], [b" \"N\""], [b" N", b" 6"], [b" 6", b" N"], [b" N", b" -1"],
                      [b" 9223372036854775808", b" N"]):
            self.each(self.refused_with(world.FAILED_SAFELY), *lines)


class Floods(Endless):
    def test_beneath_http_leave_memory_flat(self):
        for without_handshake, path in ((True, "/"), (False, "/head"), (False, "/body"), (False, "/trailers")):
            flooding = FloodingServer(self.certificate, without_handshake)
            try:
                # Ended from outside, for its own limits are long; by then it has read as much as fits into two seconds.
                self.assert_flat_memory(flooding.url + path, "timeout", "--signal=TERM", "2")
                self.assertTrue(flooding.reached.is_set())
            finally:
                flooding.close()


if __name__ == "__main__":
    world.enter()
