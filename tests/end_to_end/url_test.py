"""URLs of feed, redirects and archive: what was checked is what is asked for, byte for byte."""

import world
from retrieval_test import INSECURE_ARTIFACT, INSECURE_FEED, INVALID_RESPONSE, Dishonest

# Request targets that a reader could be tempted to rewrite.
TARGETS = ("/a%2Fb/%E4?x=%2F", "/a%2fb/%e4?x=%2f", "/a%2Fb%2fc%eF%Fe?%2F%2f%aB", "/%61%7E/%2e%2E/", "/a/./b/../c//d/", "//a//",
           "/a?", "/a??", "/?", "/a?x=1&y=%26&&", "/a?/?x/../y", "/-._~!$&'()*+,;=:@", "/%00%0d%0A", "/;p=1/a;x,y")


class RequestTargets(Dishonest):
    def target(self, hop):
        """What the request line of a hop asked for, as bytes."""
        method, target, version = self.server.requests[hop].split(b"\r\n")[0].split(b" ")
        self.assertEqual((method, version), (b"GET", b"HTTP/1.1"))
        return target.decode()

    def assert_up_to_date(self, run):
        self.assertEqual((run.errors, run.status), (b"", 0), run.output)
        self.assertEqual(run.answer["outcome"], "upToDate")

    def test_of_a_feed_are_its_own_text(self):
        for target in TARGETS:
            self.server.requests.clear()
            self.server.routes[target] = self.honest(self.manifest)
            self.assert_up_to_date(self.check(feed_url=self.server.url + target, current_version="9.0.0"))
            self.assertEqual(self.target(0), target)

    def test_without_a_path_are_the_root(self):
        for text, target in (("", "/"), ("?", "/?"), ("?q=%2F", "/?q=%2F")):
            self.server.requests.clear()
            self.server.routes[target] = self.honest(self.manifest)
            self.assert_up_to_date(self.check(feed_url=self.server.url + text, current_version="9.0.0"))
            self.assertEqual(self.target(0), target)

    def test_of_an_archive_are_its_own_text(self):
        for target in ("/%E4%2Fb/%c3.zip?sig=%2F%2b", "/%e4%2fb%2F/a.ZIP?", "/x/../a.zip/?a=%aB"):
            self.server.requests.clear()
            self.server.routes[target] = self.honest(self.archive)
            self.publish(artifact_url=self.server.url + target)
            self.assert_staged(self.check())
            self.assertEqual(self.target(1), target)

    def test_of_a_redirect_are_the_text_of_its_location(self):
        mirror = "https://mirror.test:%d" % self.server.port
        for target in TARGETS:
            for location in ((mirror + target, "HTTPS:" + mirror[6:] + target + "#f%2F") +
                             ((target,) if not target.startswith("//") else ())):
                resolved = target.replace("/a/./b/../c//d/", "/a/c//d/")
                self.server.routes[resolved] = self.honest(self.manifest)
                self.server.requests.clear()
                self.server.routes["/from%2f"] = lambda exchange: exchange.redirect(location)
                self.assert_up_to_date(self.check(feed_url=self.server.url + "/from%2f", current_version="9.0.0"))
                self.assertEqual([self.target(0), self.target(1)], ["/from%2f", resolved], location)

    def test_of_a_relative_redirect_are_resolved_and_not_rewritten(self):
        for location, target in (("/group%2Fproject/-/a.zip", "/group%2Fproject/-/a.zip"), ("/%61", "/%61"), ("/../x", "/x"),
                                 ("x%2Fy?%2f", "/one%2Ftwo/x%2Fy?%2f"), ("?q=%2F", "/one%2Ftwo/from?q=%2F"),
                                 ("../%2E%2e/x", "/%2E%2e/x"), ("./", "/one%2Ftwo/"), ("..?", "/?"), ("#f", None)):
            self.server.requests.clear()
            self.server.routes["/one%2Ftwo/from?%3f"] = lambda exchange: exchange.redirect(location)
            if target:
                self.server.routes[target] = self.honest(self.manifest)
            run = self.check(feed_url=self.server.url + "/one%2Ftwo/from?%3f", current_version="9.0.0")
            if target:
                self.assert_up_to_date(run)
                self.assertEqual(self.target(1), target)
            else:
                self.assert_failed(run, world.FAILED_SAFELY)
                self.assertEqual({self.target(hop) for hop in range(21)}, {"/one%2Ftwo/from?%3f"})

    def test_belong_to_each_hop_also_on_one_connection(self):
        hops = ["/a%2Fb", "/%c3?x=%2f", "/%C3?", "/%7e/a.zip"]

        def serve(exchange):
            for location in hops[1:]:
                exchange.send(b"HTTP/1.1 307 x\r\nContent-Length: 0\r\nLocation: %s\r\n\r\n" % location.encode())
                self.server.requests.append(exchange.connection.recv(65536))
            self.honest(self.archive)(exchange)
        self.server.routes[hops[0]] = serve
        self.server.routes["/a.zip"] = lambda exchange: exchange.redirect(hops[0])
        self.assert_staged(self.check())
        self.assertEqual([self.target(hop) for hop in range(6)], ["/manifest.json", "/a.zip"] + hops)
        self.assertEqual(self.server.connections, 3)


class Hosts(Dishonest):
    def test_that_begin_like_an_address_are_names(self):
        for host in ("1.2.3.4.feed.test", "10.0.0.1.mirror.test"):
            run = self.check(feed_url="https://%s:%d/manifest.json" % (host, self.server.port), current_version="9.0.0")
            self.assertEqual((run.errors, run.status), (b"", 0), run.output)
            self.assertIn(("Host: %s:%d" % (host, self.server.port)).encode(), self.server.requests[-1])

    def test_with_an_escape_are_names_that_nobody_is_asked_for(self):
        port = self.server.port
        for host in ("localhos%%74:%d", "localhost%%3A%d", "%%6c%%6F%%63alhost:%d", "localhost%%2F:%d", "127.0.0.%%31:%d"):
            url = "https://" + host % port
            self.assert_failed(self.check(feed_url=url + "/manifest.json"), world.FAILED_SAFELY)
            self.assertEqual(self.server.connections, 0)
            self.publish(artifact_url=url + "/a.zip")  # a valid name passes what is checked of the text
            self.server.routes["/manifest.json"] = lambda exchange: exchange.redirect(url + "/plain.json")
            self.assert_failed(self.check(feed_url=self.server.url + "/manifest.json"), world.FAILED_SAFELY)
            self.server.routes["/manifest.json"] = self.honest(self.manifest)
            self.assert_failed(self.check(), world.FAILED_SAFELY)
            self.assertEqual(self.server.connections, 2)
            self.server.connections = 0
        self.assert_nothing_staged()

    def test_with_a_zone_are_none(self):
        for host in ("[fe80::1%25eth0]", "[fe80::1%eth0]", "[fe80::1%25]", "[::1", "[::1]x", "[1.2.3.4]", "[v.x]"):
            url = "https://" + host + "/a.zip"
            self.assert_failed(self.check(feed_url=url), world.INVALID_ARGUMENTS)
            self.assert_failed(self.sign(artifact_url=url), world.INVALID_ARGUMENTS)
            self.server.routes["/manifest.json"] = lambda exchange: exchange.redirect(url)
            self.assert_failed(self.check(), INVALID_RESPONSE)


class References(Dishonest):
    def test_without_a_host_are_not_secure(self):
        for text in ("https:?x", "https:#x", "s:?q", "mailto:?to=x", "https:", "https://", "https://?x", "https:///a.zip",
                     "https://:443/a.zip", "?", "#", "a.zip", "//", "1.2.3.4.", "urn:x", "https:a.zip"):
            self.assert_failed(self.check(feed_url=text), INSECURE_FEED)
            self.assert_failed(self.sign(artifact_url=text), INSECURE_ARTIFACT)
        self.assertEqual(self.server.connections, 0)

    def test_that_break_the_grammar_are_invalid_arguments(self):
        for text in ("", " ", "1s:x", ":", ":x", "https://h/%", "https://h/%4", "https://h/%4g", "https://h/[", "https://a@b@c/",
                     "https://h/#a#b", "https://h:1:2/", "https://h|/", "https://h/\\", "https://h/{}", "https://h/^", "s:\x7f"):
            self.assert_failed(self.check(feed_url=text), world.INVALID_ARGUMENTS)
            self.assert_failed(self.sign(artifact_url=text), world.INVALID_ARGUMENTS)


if __name__ == "__main__":
    world.enter()
