"""What surrounds a run and must not matter: the variables of its environment, and files that nobody named to it. Every
command is run, in the order of an update."""

import json
import os
import re
import subprocess
import tempfile

from install_world import PROGRAMS, InstallScenario, InstallWorld, wait_until
from world import INVALID_ARGUMENTS, TRUSTED_ROOTS, enter, failure, options, run_quietly, traceable_environment

# What is there before anything of the program runs; the loader reads its own variables whatever a program does.
LOADERS_OWN = re.compile(r"LD_|GLIBC_TUNABLES$")
SANITIZERS = re.compile(r"lib(asan|ubsan|lsan|tsan)\.so")
SANITIZERS_OWN = {"/proc/self/cmdline", "/proc/self/environ", "/proc/self/maps"}
# A text in a library that could name a variable.
NAME = re.compile(rb"(?<![A-Za-z0-9_])(?:[A-Z][A-Za-z0-9]*(?:_[A-Za-z0-9]+)*_?|[a-z]+_proxy)(?=\0)")
# What libcrypto takes for the abilities of the processor, before main.
ABILITIES = {"x86_64": "OPENSSL_ia32cap", "aarch64": "OPENSSL_armcap"}[os.uname().machine]
# Names with a known effect: each must be among those that were found, and is tried alone as well.
NOTORIOUS = ("ALL_PROXY", "GNUTLS_DEBUG_LEVEL", "GNUTLS_SYSTEM_PRIORITY_FILE", "HOSTALIASES", "KRB5_CONFIG", "KRB5_TRACE",
             "LDAPCONF", "LOCALDOMAIN", "LOCPATH", "MALLOC_CHECK_", "NETTLE_FAT_VERBOSE", "NLSPATH", "OPENSSL_CONF",
             "OPENSSL_MODULES", "P11_KIT_DEBUG", "P11_KIT_STRICT", "RES_OPTIONS", "RESOLV_HOST_CONF",
             "SSLKEYLOGFILE", "SSL_CERT_FILE", "TZ", "http_proxy", ABILITIES)
OWN_LIBRARIES = {"libc.so.6", "libcrypto.so.3", "libgcc_s.so.1", "libm.so.6", "libsodium.so.23",
                 "libstdc++.so.6"}
# The C library looks there for any conversion of a time, and for the number of processors.
TIME_ZONE, PROCESSORS = "/etc/localtime", "/sys/devices/system/cpu/online"
NAME_LOOKUP = {"/etc/gai.conf", "/etc/host.conf", "/etc/hosts", "/etc/nsswitch.conf", "/etc/resolv.conf"}
UUID = re.compile(rb"[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}")
OPENING = re.compile(r'^(?:open|openat|openat2|creat)\((?:(?:AT_FDCWD|\d+)<([^>]*)>, )?"([^"]*)"', re.MULTILINE)
LIBRARY = re.compile(r"(?:/usr)?/lib(?:64)?/(?:[^/]+/)*(lib[^/]+\.so(?:\.[0-9]+)*)")


def loaded_with(path):
    """A program or library, with every library that the loader brings with it."""
    return {os.path.realpath(path)} | {os.path.realpath(found) for found in re.findall(
        r"(/\S+) \(0x", run_quietly("ldd", path).stdout.decode())}


def library(name):
    for folder in run_quietly("ldconfig", "-p").stdout.decode().splitlines():
        if folder.strip().startswith(name + " "):
            return folder.split(" => ")[1]
    raise FileNotFoundError(name)


class Surroundings(InstallScenario):
    def setUp(self):
        super().setUp()
        self.stage()

    # The commands

    def commands(self, run):
        """Runs every command by this function, which is given a name, the arguments and what it shall answer."""
        self.install(version="2.3.0", build=100)
        run("nothing")
        run("sign-manifest", *self.sign_options())
        os.chmod(self.manifest, 0o644)
        self.staged = os.path.dirname(run("check-and-stage", *self.check_options())["stagedArtifactPath"])
        self.prepared = run("prepare-install", *options(**self.install_options()))["preparationDirectoryPath"]
        run("apply-install", *self.apply_options())
        wait_until(lambda: os.path.exists(self.opened), "the application was not opened")
        os.remove(self.opened)

    def answers(self, environment):
        """What every command answers in this environment: status and output, without what is random in them."""
        found = {}

        def run(name, *arguments):
            words = [self.world.updater] + ([name, *arguments] if arguments else [])
            done = subprocess.run(words, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, timeout=120)
            self.assertEqual(done.stderr, b"", name)
            found[name] = done.returncode, UUID.sub(b"UUID", done.stdout)
            return json.loads(done.stdout or b"null")

        self.commands(run)
        return found

    # The environment

    def libraries(self):
        """All that the program may load: at its start, for a transfer, and for the look-up of a name."""
        found = loaded_with(self.world.updater) | loaded_with(library("libcurl.so.4"))
        folder = os.path.dirname(library("libc.so.6"))
        for name in os.listdir(folder):
            if name.startswith("libnss_"):
                found |= loaded_with(os.path.join(folder, name))
        if self.is_sanitized():
            # Its own texts are then those of debugging information, too many for one environment.
            found.discard(self.world.updater)
        return [path for path in found if not SANITIZERS.search(path)]

    def is_sanitized(self):
        return any(SANITIZERS.search(path) for path in loaded_with(self.world.updater))

    def variables(self):
        found = set()
        for path in self.libraries():
            with open(path, "rb") as file:
                found |= {name.decode() for name in NAME.findall(file.read())}
        return sorted(name for name in found if not LOADERS_OWN.match(name))

    def hostile_values(self):
        pipe, file = os.path.join(self.folder, "pipe"), os.path.join(self.folder, "file")
        os.mkfifo(pipe, 0o600)
        with open(file, "w") as out:
            out.write("untouched")
        return "9", "0xffffffffffffffff:0xffffffffffffffff", pipe, file

    def test_variables_of_all_libraries_change_nothing(self):
        names, expected = self.variables(), self.answers({})
        self.assertEqual(set(NOTORIOUS) - set(names), set())
        self.assertEqual([status for status, _ in expected.values()], [1, 0, 0, 0, 0])
        for value in self.hostile_values():
            self.assertEqual(self.answers({name: value for name in names}), expected, value)
        with open(os.path.join(self.folder, "file")) as file:
            self.assertEqual(file.read(), "untouched")

    def test_no_variable_is_read_before_the_environment_is_emptied(self):
        for value in self.hostile_values():
            for name in NOTORIOUS:
                done = subprocess.run([self.world.updater], env={name: value}, stdin=subprocess.DEVNULL, capture_output=True,
                                      check=False, timeout=120)
                self.assertEqual((done.stdout, done.stderr, done.returncode), (failure(INVALID_ARGUMENTS), b"", 1), name)

    # Files

    def opened_by(self, *words):
        """The output of a program, and the paths of all that it tried to open; not what its children opened."""
        with tempfile.TemporaryDirectory(dir=self.world.folder) as folder:
            # A sanitized tool that is traced answers nothing: it looks for leaks, which tracing forbids.
            follow = [] if self.is_sanitized() and words[1:2] != ["check-and-stage"] else ["-ff"]
            done = subprocess.run(["strace", *follow, "-y", "-s", "4096", "-e", "signal=none", "-e",
                                   "trace=?open,openat,?openat2,?creat,execve", "-o", folder + "/trace", *words],
                                  env=traceable_environment(), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, timeout=240)
            found = set()
            for name in os.listdir(folder):
                with open(os.path.join(folder, name)) as file:
                    calls = file.read()
                # A child begins as a copy of this program, which ends where it becomes another.
                if calls.startswith("execve(") and '"%s"' % words[0] in calls.split("\n", 1)[0] or "execve(" not in calls:
                    found |= {os.path.normpath(os.path.join(where, path)) for where, path in OPENING.findall(calls)}
        return done.stdout, {path for path in found if not (path + "/").startswith(self.world.folder + "/")}

    def look_names_up_simply(self):
        """Other ways than files and DNS are other libraries, which this machine may have."""
        ways = os.path.join(self.folder, "nsswitch.conf")
        with open(ways, "w") as file:
            file.write("hosts: files dns\n")
        run_quietly("mount", "--bind", ways, "/etc/nsswitch.conf")
        self.addCleanup(run_quietly, "umount", "/etc/nsswitch.conf")

    def test_nothing_is_opened_that_nobody_named(self):
        self.look_names_up_simply()
        for_transfers = {os.path.basename(path) for path in run_quietly("ldd", library("libcurl.so.4")).stdout.decode().split()}
        surplus = {}

        def run(name, *arguments):
            output, paths = self.opened_by(self.world.updater, *([name, *arguments] if arguments else []))
            allowed = {"/dev/null", "/etc/ld.so.cache"}
            libraries = set(OWN_LIBRARIES)
            if name == "check-and-stage":
                allowed |= NAME_LOOKUP | {TRUSTED_ROOTS, TIME_ZONE}
                libraries |= for_transfers | {"libcurl.so.4"}
            if name in ("prepare-install", "apply-install"):
                allowed |= {TIME_ZONE, PROCESSORS}
            if self.is_sanitized():
                allowed |= SANITIZERS_OWN
                paths = {path for path in paths if not SANITIZERS.search(path)}
            surplus[name] = sorted(path for path in paths - allowed
                                   if not (LIBRARY.fullmatch(path) and os.path.basename(path) in libraries))
            return json.loads(output or b"null")

        self.commands(run)
        self.assertEqual(surplus, {name: [] for name in surplus})


if __name__ == "__main__":
    enter(InstallWorld, PROGRAMS)
