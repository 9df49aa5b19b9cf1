"""libcurl belongs to the system, which may have another one than the program was built with, or none."""

import os
import re
import subprocess

import world
from world import INVALID_ARGUMENTS, Scenario, run_quietly, tree

OLDEST = 0x075800
ASYNCHRONOUS_NAMES = 1 << 7  # CURL_VERSION_ASYNCHDNS
INSECURE = "The update feed does not use a secure HTTPS URL."


def library(name):
    """Where the loader finds a library."""
    for line in run_quietly("ldconfig", "-p").stdout.decode().splitlines():
        if line.strip().startswith(name + " "):
            return os.path.realpath(line.split(" => ")[1])
    raise FileNotFoundError(name)


class LibCurl(Scenario):
    def replace(self, other):
        place = library("libcurl.so.4")
        run_quietly("mount", "--bind", other, place)
        self.addCleanup(run_quietly, "umount", place)

    def put_back(self):
        self.doCleanups()

    def functions(self):
        """All that the program asks a libcurl for, by its own texts."""
        with open(self.world.updater, "rb") as file:
            found = {name.decode() for name in re.findall(rb"(?<=\0)curl_[a-z_]+(?=\0)", file.read())}
        # A program with debugging information names types too.
        found &= set(run_quietly("nm", "-D", library("libcurl.so.4")).stdout.decode().replace("@", " ").split())
        self.assertIn("curl_version_info", found)
        self.assertGreater(len(found), 10)
        return sorted(found)

    def imitation(self, functions, version=OLDEST, features=ASYNCHRONOUS_NAMES):
        """A library with these functions, of which all but the version end the process, and the first that readies it
        leaves a mark and refuses."""
        lines = ["#include <stdlib.h>", "#include <fcntl.h>"]
        for name in functions:
            if name == "curl_version_info":
                lines.append("static struct { int age; const char *version; unsigned number; const char *host; int features; } "
                             'info = {10, "", %d, "", %d};' % (version, features))
                lines.append("void* curl_version_info(void) { return &info; }")
            elif name == "curl_global_init":
                lines.append('int curl_global_init(void) { open("%s", O_CREAT | O_WRONLY, 0600); return 2; }' % self.mark)
            elif name == "curl_easy_strerror":
                lines.append('const char* curl_easy_strerror(void) { return ""; }')
            else:
                lines.append("void %s(void) { abort(); }" % name)
        path = os.path.join(self.folder, "imitation.so")
        subprocess.run(["cc", "-shared", "-fPIC", "-o", path, "-x", "c", "-"], input="\n".join(lines).encode(), check=True)
        return path

    def setUp(self):
        super().setUp()
        self.mark = os.path.join(self.folder, "readied")
        self.publish()

    def assert_check_fails(self):
        """But neither before the texts were checked, nor anything else."""
        self.assert_failed(self.check(), world.FAILED_SAFELY)
        self.assert_failed(self.check(feed_url="http://localhost/"), INSECURE)
        self.assert_failed(world.updater(), INVALID_ARGUMENTS)
        self.assertEqual(self.sign().status, 0)
        self.assertEqual(tree(self.home), [])

    def test_that_cannot_be_loaded_is_a_transport_error(self):
        empty, text = (os.path.join(self.folder, name) for name in ("empty", "text"))
        for path, content in ((empty, ""), (text, "no library\n" * 100)):
            with open(path, "w") as file:
                file.write(content)
            self.replace(path)
            self.assert_check_fails()
            self.put_back()

    def test_that_lacks_any_one_function_is_a_transport_error(self):
        functions = self.functions()
        for missing in functions:
            self.replace(self.imitation([name for name in functions if name != missing]))
            self.assert_check_fails()
            self.put_back()
        self.assertFalse(os.path.exists(self.mark))

    def test_that_is_too_old_is_not_even_readied(self):
        for version, isReadied in ((0x075702, False), (0x074000, False), (OLDEST, True), (0x080000, True)):
            self.replace(self.imitation(self.functions(), version))
            self.assert_check_fails()
            self.put_back()
            self.assertEqual(os.path.exists(self.mark), isReadied, hex(version))
            if isReadied:
                os.remove(self.mark)

    def test_that_looks_names_up_on_our_thread_is_not_even_readied(self):
        self.replace(self.imitation(self.functions(), features=~ASYNCHRONOUS_NAMES & 0xFFFF))
        self.assert_check_fails()
        self.assertFalse(os.path.exists(self.mark))

    def test_on_another_library_for_TLS_trusts_the_same_roots(self):
        self.replace(library("libcurl-gnutls.so.4"))
        self.assert_staged(self.check())
        stranger = world.Authority(os.path.join(self.folder, "stranger"), "Another authority")
        feed = world.Nginx(os.path.join(self.folder, "other-feed"), stranger)
        self.addCleanup(feed.close)
        self.assert_failed(self.check(feed_url=feed.url + "/manifest.json"), world.FAILED_SAFELY)


if __name__ == "__main__":
    world.enter()
