"""check-and-stage against servers that lie, stall, redirect and break off."""

import gzip
import json
import os
import socket
import threading

import world
from dishonest_server import DishonestServer
from world import Authority, Scenario, tree, updater

INVALID_RESPONSE = "The update service returned an invalid response."
INSECURE_FEED = "The update feed does not use a secure HTTPS URL."
INSECURE_ARTIFACT = "The update artifact does not use a secure HTTPS URL."
MANIFEST_TOO_LARGE = "The update manifest exceeded the safety limit."
ARTIFACT_TOO_LARGE = "The update artifact exceeded the safety limit."
CAP = 536_870_912


class Dishonest(Scenario):
    """A server whose routes a test fills; /manifest.json and /a.zip are honest unless it says otherwise."""

    def setUp(self):
        super().setUp()
        cls = type(self)
        if not hasattr(Dishonest, "certificate"):
            Dishonest.certificate = self.world.authority.issue("dishonest")
        self.server = DishonestServer(self.certificate, {})
        self.addCleanup(self.server.close)
        self.manifest = os.path.join(self.folder, "manifest.json")
        self.publish(artifact_url=self.server.url + "/a.zip")
        for path in ("/manifest.json", "/plain.json"):
            self.server.routes[path] = self.honest(self.manifest)
        self.server.routes["/a.zip"] = self.honest(self.archive)

    def honest(self, path):
        def serve(exchange):
            with open(path, "rb") as file:
                exchange.respond("200 OK", body=file.read())
        return serve

    def check(self, **changes):
        return super().check(**{"feed_url": self.server.url + "/manifest.json", **changes})

    def assert_nothing_staged(self):
        self.assertEqual(tree(self.home), [])
        self.assert_no_leftovers()

    def both(self, route, message, artifact_message=None):
        """Lets the manifest, then the archive, be answered by a route."""
        for path in ("/manifest.json", "/a.zip"):
            honest = self.server.routes[path]
            self.server.routes[path] = route
            self.assert_failed(self.check(), (artifact_message if path == "/a.zip" else None) or message)
            self.assert_nothing_staged()
            self.server.routes[path] = honest


class Requests(Dishonest):
    def heads(self):
        return [request.decode().replace(str(self.server.port), "PORT") for request in self.server.requests]

    def test_carry_these_headers_and_no_others(self):
        self.assert_staged(self.check())
        self.assertEqual(self.heads(), [
            "GET /manifest.json HTTP/1.1\r\nHost: localhost:PORT\r\nAccept: application/json\r\nCache-Control: no-cache\r\n\r\n",
            "GET /a.zip HTTP/1.1\r\nHost: localhost:PORT\r\nAccept: application/zip\r\nCache-Control: no-cache\r\n\r\n"])

    def test_carry_no_more_on_any_hop_and_no_cookie_back(self):
        def hop(exchange):
            exchange.respond("302 Found", ["Location: https://mirror.test:%d/b?x=1" % self.server.port,
                                           "Set-Cookie: id=1; Path=/", "WWW-Authenticate: Basic"], b"moved")
        self.server.routes["/a.zip"] = hop
        self.server.routes["/b?x=1"] = self.honest(self.archive)
        self.assert_staged(self.check())
        self.assertEqual(self.heads()[2],
                         "GET /b?x=1 HTTP/1.1\r\nHost: mirror.test:PORT\r\nAccept: application/zip\r\nCache-Control: no-cache\r\n\r\n")

    def test_ask_for_exactly_the_checked_url(self):
        self.server.routes["/x/./%2e%2e/m;p?a=%20b&c"] = self.honest(self.manifest)
        self.assert_staged(self.check(feed_url=self.server.url + "/x/./%2e%2e/m;p?a=%20b&c"))
        self.assertTrue(self.heads()[0].startswith("GET /x/./%2e%2e/m;p?a=%20b&c HTTP/1.1\r\n"))

    def test_are_not_sent_for_a_refused_url(self):
        port = self.server.port
        for url in ("http://localhost:%d/m" % port, "https://user@localhost:%d/m" % port, "https://u:p@localhost:%d/m" % port,
                    "https://@localhost:%d/m" % port, "https://:@localhost:%d/m" % port, "https://localhost:%d/m#f" % port,
                    "https://localhost:%d/m#" % port, "https:///m", "https:m", "//localhost:%d/m" % port, "m.json",
                    "ftp://localhost:%d/m" % port, "file:///etc/passwd", "httpsx://localhost:%d/m" % port):
            self.assert_failed(self.check(feed_url=url), INSECURE_FEED)
        for url in ("https://localhost\\@evil.test:%d/m" % port, "https://localhost:%d x/m" % port,
                    "https://localhost:%dx/m" % port, "https://[::1:%d/m" % port):
            self.assert_failed(self.check(feed_url=url), world.INVALID_ARGUMENTS)
        for url in ("https://localhost:0/m", "https://localhost:65536/m", "https://localhost:99999999999999999999/m"):
            self.assert_failed(self.check(feed_url=url), world.FAILED_SAFELY)
        self.assertEqual(self.server.connections, 0)

    def test_reach_accepted_spellings(self):
        port = self.server.port
        for url in ("HTTPS://LocalHost:%d/manifest.json", "https://127.0.0.1:%d/manifest.json",
                    "https://localhost.:%d/manifest.json", "https://feed.test:%d/manifest.json"):
            self.assertEqual(self.check(feed_url=url % port, current_version="2.4.0", current_build="118").answer["outcome"],
                             "upToDate", url)
        with DishonestServer(self.certificate, self.server.routes, address="::1") as server:
            self.assertEqual(self.check(feed_url="https://[::1]:%d/manifest.json" % server.port, current_version="9.0.0")
                             .answer["outcome"], "upToDate")


class Statuses(Dishonest):
    def test_only_200_is_an_answer(self):
        for status in ("201 Created", "202 Accepted", "203 x", "206 Partial Content", "300 Multiple Choices", "304 Not Modified",
                       "305 Use Proxy", "400 x", "401 Unauthorized", "403 Forbidden", "404 Not Found", "407 x", "416 x", "429 x",
                       "500 x", "502 x", "503 x", "599 x"):
            with open(self.manifest, "rb") as file:
                body = b"" if status.startswith("304") else file.read()
            self.both(lambda exchange: exchange.respond(status, ["Retry-After: 1"], body), INVALID_RESPONSE)
        self.both(lambda exchange: exchange.respond("204 No Content", length=False), INVALID_RESPONSE)

    def test_what_is_not_http_is_no_answer(self):
        for data in (b"SSH-2.0-x\r\n", b"\x00\x01\x02\r\n\r\n", b"HTTP/1.1\r\n\r\n", b"", b"ICY 200 OK\r\n\r\n{}"):
            self.both(lambda exchange: exchange.send(data), world.FAILED_SAFELY)

    def test_an_interim_answer_is_passed_over(self):
        def early(exchange):
            exchange.send(b"HTTP/1.1 103 Early Hints\r\nLink: </x>\r\nContent-Length: 999999999999\r\n\r\n")
            self.honest(self.archive)(exchange)
        self.server.routes["/a.zip"] = early
        self.assert_staged(self.check())

    def test_a_body_is_taken_as_it_comes(self):
        def encoded(exchange):
            with open(self.manifest, "rb") as file:
                exchange.respond("200 OK", ["Content-Encoding: gzip"], gzip.compress(file.read()))
        self.server.routes["/manifest.json"] = encoded
        self.assert_failed(self.check(), "The update manifest is malformed.")


class Redirects(Dishonest):
    def redirect(self, path, location, status="302 Found"):
        self.server.routes[path] = lambda exchange: exchange.redirect(location, status)

    def test_to_https_are_followed_anywhere(self):
        for status in ("301 x", "302 x", "303 x", "307 x", "308 x"):
            for location in ("/moved", "moved", "//mirror.test:%d/moved" % self.server.port,
                             "HTTPS://mirror.test:%d/moved#fragment" % self.server.port):
                self.redirect("/manifest.json", location, status)
                self.server.routes["/moved"] = self.honest(self.manifest)
                self.assertEqual(self.check(current_version="9.0.0").answer["outcome"], "upToDate", location)

    def test_elsewhere_are_refused(self):
        plain = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(plain.close)
        plain.settimeout(0)
        port = plain.getsockname()[1]
        for location in ("http://localhost:%d/a.zip" % port, "ftp://localhost/a", "file:///etc/passwd", "data:,x", "javascript:1",
                         "https://user@localhost:%d/a.zip" % self.server.port, "https://u:p@localhost:%d/a" % self.server.port,
                         "https://@localhost:%d/a.zip" % self.server.port, "https://exa mple/", "http:/x"):
            self.both(lambda exchange: exchange.redirect(location), INVALID_RESPONSE)
        with self.assertRaises(BlockingIOError):
            plain.accept()

    def test_downgraded_at_a_later_hop_are_refused(self):
        self.redirect("/one", "/two")
        self.redirect("/two", "http://localhost/a.zip")
        self.both(lambda exchange: exchange.redirect("/one"), INVALID_RESPONSE)

    def test_without_a_place_are_refused(self):
        self.both(lambda exchange: exchange.respond("302 Found", body=b"lost"), INVALID_RESPONSE)

    def test_to_https_without_a_host_that_can_be_asked_are_a_transport_error(self):
        for location in ("https:///x", "https://h%20/"):
            self.both(lambda exchange: exchange.redirect(location), world.FAILED_SAFELY)

    def test_are_bounded(self):
        for hop in range(30):
            self.redirect("/hop%d" % hop, "/hop%d" % (hop + 1))
        self.redirect("/manifest.json", "/hop0")
        self.assert_failed(self.check(), world.FAILED_SAFELY)
        self.assertEqual(len(self.server.requests), 21)
        self.server.routes["/hop19"] = self.honest(self.manifest)
        self.assertEqual(self.check(current_version="9.0.0").answer["outcome"], "upToDate")
        self.redirect("/loop", "/loop")
        self.redirect("/a.zip", "/loop")
        self.redirect("/hop19", "/x")
        self.server.routes["/manifest.json"] = self.honest(self.manifest)
        self.assert_failed(self.check(), world.FAILED_SAFELY)
        self.assert_nothing_staged()


class Sizes(Dishonest):
    def pad_manifest(self, size):
        with open(self.manifest, "rb") as file:
            body = file.read()
        return body + b" " * (size - len(body))

    def test_a_manifest_may_have_exactly_its_cap(self):
        self.server.routes["/manifest.json"] = lambda exchange: exchange.respond("200 OK", body=self.pad_manifest(1_048_576))
        self.assert_staged(self.check())

    def test_a_larger_manifest_is_refused(self):
        self.server.routes["/manifest.json"] = lambda exchange: exchange.respond("200 OK", body=self.pad_manifest(1_048_577))
        self.assert_failed(self.check(), MANIFEST_TOO_LARGE)
        self.server.routes["/manifest.json"] = lambda exchange: exchange.respond(
            "200 OK", body=self.pad_manifest(1_048_577), length=False)
        self.assert_failed(self.check(), MANIFEST_TOO_LARGE)

    def test_a_manifest_declared_too_large_is_not_read(self):
        def declare(exchange):
            exchange.send(b"HTTP/1.1 200 OK\r\nContent-Length: 1048577\r\n\r\n")
            exchange.connection.recv(1)  # the client leaves without waiting for a body
        self.server.routes["/manifest.json"] = declare
        self.assert_failed(self.check(), MANIFEST_TOO_LARGE)

    def stream(self, head, chunk, sent):
        def serve(exchange):
            exchange.send(head)
            try:
                while True:
                    exchange.send(chunk)
                    sent.append(len(chunk))
            except OSError:
                pass
        return serve

    def assert_flat_memory(self):
        """No more memory than a run that is told at once that there is nothing, but for the manifest and two buffers."""
        command = [self.world.updater, "check-and-stage"]
        endless = world.peak_kib(*command, *self.check_options(feed_url=self.server.url + "/manifest.json"))
        plain = world.peak_kib(*command, *self.check_options(feed_url=self.server.url + "/plain.json", current_version="9.0.0"))
        self.assertLess(endless, plain + 5 * 1024)

    def test_an_endless_manifest_is_left_at_the_cap(self):
        chunk = b"%x\r\n%s\r\n" % (65536, b" " * 65536)
        sent = []
        self.server.routes["/manifest.json"] = self.stream(b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n", chunk, sent)
        self.assert_failed(self.check(), MANIFEST_TOO_LARGE)
        self.assertLess(sum(sent), 16 << 20)
        self.assert_flat_memory()

    def test_an_endless_header_is_refused(self):
        self.both(self.stream(b"HTTP/1.1 200 OK\r\n", b"X-Fill: " + b"y" * 60000 + b"\r\n", []), world.FAILED_SAFELY)

    def test_an_endless_wrong_answer_is_a_wrong_answer(self):
        self.server.routes["/manifest.json"] = self.stream(b"HTTP/1.1 404 Not Found\r\n\r\n", b"x" * 65536, [])
        self.assert_failed(self.check(), INVALID_RESPONSE)

    def test_an_endless_archive_is_cancelled_at_its_cap_in_flat_memory(self):
        sent = []
        self.server.routes["/a.zip"] = self.stream(b"HTTP/1.1 200 OK\r\n\r\n", b"z" * (1 << 20), sent)
        self.assert_failed(self.check(), ARTIFACT_TOO_LARGE)
        self.assert_nothing_staged()
        self.assertLess(sum(sent), CAP + (64 << 20))
        self.assert_flat_memory()

    def test_an_archive_declared_too_large_is_refused_at_once(self):
        for length in (CAP + 1, 1 << 62):
            sent = []
            self.server.routes["/a.zip"] = self.stream(b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n" % length, b"z" * 65536, sent)
            self.assert_failed(self.check(), ARTIFACT_TOO_LARGE)
            self.assert_nothing_staged()
            self.assertLess(sum(sent), 16 << 20)

    def test_the_status_is_judged_before_the_declared_length(self):
        self.server.routes["/a.zip"] = self.stream(b"HTTP/1.1 404 x\r\nContent-Length: %d\r\n\r\n" % (CAP + 1), b"z" * 65536, [])
        self.assert_failed(self.check(), INVALID_RESPONSE)
        self.assert_nothing_staged()

    def test_a_declared_length_that_lies_is_a_broken_transfer(self):
        for declared in (b"200001", b"1048576"):
            self.both(lambda exchange: exchange.send(b"HTTP/1.1 200 OK\r\nContent-Length: " + declared + b"\r\n\r\n" + b"z" * 1000),
                      world.FAILED_SAFELY)

    def test_bytes_behind_the_declared_length_are_not_read(self):
        def longer(exchange):
            with open(self.archive, "rb") as file:
                body = file.read()
            exchange.send(b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n" % len(body) + body + b"more")
        self.server.routes["/a.zip"] = longer
        self.assert_staged(self.check())


class BrokenTransfers(Dishonest):
    def test_fail_safely_and_leave_nothing(self):
        def truncated_chunks(exchange):
            exchange.send(b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nffff\r\nabc")

        def reset(exchange):
            exchange.send(b"HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\nabc")
            exchange.reset()

        for route in (truncated_chunks, reset, lambda exchange: exchange.reset()):
            self.both(route, world.FAILED_SAFELY)


class Certificates(Dishonest):
    def refuse(self, certificate, host="localhost", **options):
        with DishonestServer(certificate, self.server.routes, **options) as server:
            run = self.check(feed_url="https://%s:%d/manifest.json" % (host, server.port))
            self.assert_failed(run, world.FAILED_SAFELY)
            self.assertEqual(server.requests, [])

    def test_that_do_not_prove_the_host_are_refused(self):
        authority = self.world.authority
        other = Authority(os.path.join(self.folder, "other"), "Another authority")
        self.refuse(authority.issue("elsewhere", ("elsewhere.test",)))
        self.refuse(authority.issue("expired", world.HOSTS, "20200101000000Z", "20210101000000Z"))
        self.refuse(authority.issue("future", world.HOSTS, "20900101000000Z", "20910101000000Z"))
        self.refuse(other.issue("unknown"))
        self.refuse(authority.issue("self", self_signed=True))
        self.refuse(self.certificate, host="127.0.0.2", address="127.0.0.2")

    def test_are_not_enough_below_tls_1_2(self):
        self.refuse(self.certificate, only_tls_1_1=True)

    def test_are_checked_on_every_hop(self):
        wrong = self.world.authority.issue("hop", ("elsewhere.test",))
        with DishonestServer(wrong, self.server.routes) as server:
            self.server.routes["/a.zip"] = lambda exchange: exchange.redirect(server.url + "/a.zip")
            self.assert_failed(self.check(), world.FAILED_SAFELY)
            self.assertEqual(server.requests, [])
        self.assert_nothing_staged()


if __name__ == "__main__":
    world.enter()
