"""A private world for end-to-end tests: mounts that only this process tree sees, a throwaway certificate authority that
the system's trust store of this world holds, an honest feed on nginx, and runs of the built program.

The program under test is the one that ships, unchanged: what it trusts is decided by the files of this world.
"""

import fcntl
import json
import os
import re
import shutil
import signal
import socket
import ssl
import stat
import struct
import subprocess
import sys
import tempfile
import time
import unittest

TRUSTED_ROOTS = "/etc/ssl/certs/ca-certificates.crt"
HOSTS = ("localhost", "feed.test", "mirror.test", "1.2.3.4.feed.test", "10.0.0.1.mirror.test")
FAILED_SAFELY = "The update check failed safely."
TEMPORARY_NAME = re.compile(r"^\.Brindlewick|[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$")
INVALID_ARGUMENTS = "The updater was invoked with an invalid configuration."


def enter(make_world=None, programs=1, own_network=False):
    """Runs this script again inside namespaces of its own. Call it before anything else. The first arguments of the
    script name programs; the rest is for unittest. A network of its own has nothing but loopback, with every port."""
    if os.environ.get("BRINDLEWICK_WORLD") != "entered":
        os.environ["BRINDLEWICK_WORLD"] = "entered"
        os.execvp("unshare", ["unshare", "-Urmn" if own_network else "-Urm", sys.executable, "-B"] + sys.argv)
    if own_network:
        switch_on_loopback()
    folder = tempfile.mkdtemp(prefix="brindlewick-world.", dir="/var/tmp")
    try:
        world = (make_world or World)(folder)
        arguments = [sys.argv[0]] + sys.argv[1 + programs:]
        result = unittest.main(module="__main__", argv=arguments, exit=False, verbosity=2).result
        world.close()
    finally:
        # Not rmtree alone: tests leave folders without permissions behind.
        subprocess.run(["chmod", "-R", "u+rwX", folder], check=False, stderr=subprocess.DEVNULL)
        shutil.rmtree(folder, ignore_errors=True)
    if result.skipped or result.testsRun == 0:
        print("A test was skipped or none ran.", file=sys.stderr)
        sys.exit(1)
    sys.exit(0 if result.wasSuccessful() else 1)


def switch_on_loopback():
    set_flags, up = 0x8914, 1  # SIOCSIFFLAGS, IFF_UP
    with socket.socket() as any_socket:
        fcntl.ioctl(any_socket, set_flags, struct.pack("16sh14x", b"lo", up))


def run_quietly(*arguments, **options):
    return subprocess.run(arguments, check=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)


class World:
    current = None

    def __init__(self, folder):
        World.current = self
        self.folder = folder
        self.updater = os.path.realpath(sys.argv[1])
        self.authority = Authority(os.path.join(folder, "authority"))
        roots = os.path.join(folder, "roots.pem")
        with open(TRUSTED_ROOTS, "rb") as system, open(self.authority.certificate, "rb") as ours, open(roots, "wb") as out:
            out.write(system.read() + b"\n" + ours.read())
        hosts = os.path.join(folder, "hosts")
        with open(hosts, "w") as out:
            out.write("127.0.0.1 " + " ".join(HOSTS) + " localhost.\n")
        self.temporary = os.path.join(folder, "var-tmp")
        os.mkdir(self.temporary, 0o1777)
        os.chmod(self.temporary, 0o1777)
        run_quietly("mount", "--bind", roots, TRUSTED_ROOTS)
        run_quietly("mount", "--bind", hosts, "/etc/hosts")
        self.feed = Nginx(os.path.join(folder, "feed"), self.authority)
        # Last: the world's own folder lies in what this hides, and stays open to us by the mount made before.
        self.inside = os.path.join(folder, "inside")
        os.mkdir(self.inside)

    def close(self):
        self.feed.close()


class Authority:
    """A certificate authority that lives as long as its folder."""

    def __init__(self, folder, name="Brindlewick test authority"):
        os.makedirs(folder)
        self.folder = folder
        self.key = os.path.join(folder, "root.key")
        self.certificate = os.path.join(folder, "root.pem")
        run_quietly("openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                    "-keyout", self.key, "-out", self.certificate, "-days", "30", "-subj", "/CN=" + name,
                    "-addext", "basicConstraints=critical,CA:TRUE", "-addext", "keyUsage=critical,keyCertSign")

    def issue(self, name, hosts=HOSTS, *dates, self_signed=False):
        """A server certificate and its key in one file. `dates` are not-before and not-after, YYYYMMDDHHMMSSZ."""
        base = os.path.join(self.folder, name)
        names = ",".join("DNS:" + host for host in hosts) + ",IP:127.0.0.1,IP:::1" * ("localhost" in hosts)
        with open(base + ".cnf", "w") as out:
            out.write("[ca]\ndefault_ca=a\n[a]\ndatabase=%s.db\nserial=%s.serial\nnew_certs_dir=%s\ndefault_md=sha256\n"
                      "policy=p\nx509_extensions=e\nunique_subject=no\n[p]\ncommonName=supplied\n"
                      "[e]\nsubjectAltName=%s\nextendedKeyUsage=serverAuth\n" % (base, base, self.folder, names))
        open(base + ".db", "w").close()
        run_quietly("openssl", "req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-keyout",
                    base + ".key", "-out", base + ".csr", "-subj", "/CN=" + name)
        signer = ["-selfsign", "-keyfile", base + ".key"] if self_signed else ["-cert", self.certificate, "-keyfile", self.key]
        period = ["-startdate", dates[0], "-enddate", dates[1]] if dates else ["-days", "20"]
        run_quietly("openssl", "ca", "-batch", "-notext", "-rand_serial", "-config", base + ".cnf", "-in", base + ".csr",
                    "-out", base + ".crt", *period, *signer)
        with open(base + ".pem", "wb") as out:
            for part in (base + ".crt", base + ".key"):
                with open(part, "rb") as source:
                    out.write(source.read())
        return base + ".pem"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Nginx:
    """The honest feed: nginx serving a folder over TLS on loopback."""

    def __init__(self, folder, authority, host="localhost"):
        self.root = os.path.join(folder, "www")
        os.makedirs(self.root)
        self.port = free_port()
        self.url = "https://%s:%d" % (host, self.port)
        certificate = authority.issue("nginx")
        self.log = os.path.join(folder, "access.log")
        config = os.path.join(folder, "nginx.conf")
        with open(config, "w") as out:
            out.write("""user root; daemon off; master_process off; pid %(f)s/pid; error_log %(f)s/error.log;
events {}
http {
  types { application/json json; application/zip zip; }
  access_log %(f)s/access.log; sendfile on; client_body_temp_path %(f)s/t1; proxy_temp_path %(f)s/t2;
  fastcgi_temp_path %(f)s/t3; uwsgi_temp_path %(f)s/t4; scgi_temp_path %(f)s/t5;
  server { listen 127.0.0.1:%(p)d ssl; ssl_certificate %(c)s; ssl_certificate_key %(c)s; root %(f)s/www; }
}
""" % {"f": folder, "p": self.port, "c": certificate})
        self.process = subprocess.Popen(["nginx", "-p", folder, "-c", config], stdin=subprocess.DEVNULL,
                                        stdout=subprocess.DEVNULL, stderr=open(folder + "/stderr", "wb"))
        for _ in range(500):
            with socket.socket() as probe:
                if probe.connect_ex(("127.0.0.1", self.port)) == 0:
                    return
            if self.process.poll() is not None:
                break
            time.sleep(0.02)
        raise RuntimeError("nginx did not start: " + open(os.path.join(folder, "stderr")).read())

    def path(self, name):
        return os.path.join(self.root, name)

    def close(self):
        self.process.terminate()
        self.process.wait()


class Run:
    """What one run of the program answered."""

    def __init__(self, status, output, errors):
        self.status, self.output, self.errors = status, output, errors

    @property
    def answer(self):
        return json.loads(self.output)


def updater(*arguments, stdout=subprocess.PIPE, environment=None, umask=-1):
    """Runs the program to its end."""
    done = subprocess.run([World.current.updater, *arguments], stdin=subprocess.DEVNULL, stdout=stdout,
                          stderr=subprocess.PIPE, env=environment, umask=umask, timeout=400)
    return Run(done.returncode, done.stdout, done.stderr)


def traceable_environment():
    """For a program that strace runs: no leak can be looked for in a process that is traced."""
    return {**os.environ, "ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":detect_leaks=0"}


def peak_kib(*command):
    """The peak resident memory of a command. Measured from a small program, since a child's peak begins with that of
    the process that started it."""
    with tempfile.NamedTemporaryFile(dir=World.current.inside) as report:
        subprocess.run(["/usr/bin/time", "-f", "%M", "-q", "-o", report.name, *command], stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=400)
        return int(report.read())


def options(**values):
    """Options in order; underscores stand for hyphens."""
    return [word for name, value in values.items() for word in ("--" + name.replace("_", "-"), str(value))]


def failure(message):
    return json.dumps({"message": message, "outcome": "failed"}, separators=(",", ":")).encode() + b"\n"


def temporary_items():
    """What a program of ours has in the folders that everybody shares."""
    return [os.path.join(folder, name) for folder in ("/var/tmp", "/tmp") for name in os.listdir(folder)
            if TEMPORARY_NAME.search(name)]


def tree(*folders):
    """Every item below folders with its type, mode, size or target: two equal listings are two equal trees."""
    lines = []
    for folder in folders:
        for parent, directories, files in os.walk(folder):
            for name in sorted(directories + files):
                path = os.path.join(parent, name)
                status = os.lstat(path)
                detail = os.readlink(path) if stat.S_ISLNK(status.st_mode) else (
                    status.st_size if stat.S_ISREG(status.st_mode) else "")
                lines.append("%s %s %s" % (stat.filemode(status.st_mode), os.path.relpath(path, folder), detail))
    return sorted(lines)


class Scenario(unittest.TestCase):
    """A publisher with a key, a feed, and a folder of its own for each test."""

    maxDiff = None
    identifier = "com.brindlewick.app"

    def setUp(self):
        self.world = World.current
        self.feed = self.world.feed
        self.folder = tempfile.mkdtemp(dir=self.world.inside)
        self.home = os.path.join(self.folder, "home")
        os.mkdir(self.home, 0o700)
        self.staging = os.path.join(self.home, "staging")
        self.key = os.path.join(self.folder, "key")
        self.public_key = make_key(self.key)
        self.archive = self.feed.path("Brindlewick.zip")
        make_archive(self.archive)
        self.manifest = self.feed.path("manifest.json")

    def sign_options(self, **changes):
        values = {"private_key_file": self.key, "app_identifier": self.identifier, "version": "2.4.0", "build": "118",
                  "minimum_system_version": "12.0", "artifact_url": self.feed.url + "/Brindlewick.zip",
                  "artifact_file": self.archive, "output": self.manifest}
        values.update(changes)
        return options(**values)

    def sign(self, umask=-1, stdout=subprocess.PIPE, **changes):
        return updater("sign-manifest", *self.sign_options(**changes), umask=umask, stdout=stdout)

    def check_options(self, **changes):
        values = {"feed_url": self.feed.url + "/manifest.json", "public_key": self.public_key,
                  "app_identifier": self.identifier, "current_version": "2.3.0", "current_build": "100",
                  "staging_directory": self.staging}
        values.update(changes)
        return options(**values)

    def check(self, **changes):
        return updater("check-and-stage", *self.check_options(**changes))

    def publish(self, **changes):
        self.assertEqual(self.sign(**changes).status, 0)
        os.chmod(self.manifest, 0o644)

    def assert_failed(self, run, message):
        self.assertEqual(run.errors, b"")
        self.assertEqual(run.output, failure(message))
        self.assertEqual(run.status, 1)

    def assert_no_leftovers(self):
        """No download and no hidden file anywhere where the program may write, and nothing named by it in the shared
        folders: all its temporary names end in a UUID."""
        self.assertEqual([line for line in tree(self.home) if " ." in line or "/." in line], [])
        # What other tests have there at this moment goes by itself; what this one left stays.
        deadline = time.monotonic() + 20
        while temporary_items() and time.monotonic() < deadline:
            time.sleep(0.02)
        self.assertEqual(temporary_items(), [])

    def assert_staged(self, run, version="2.4.0", build=118):
        self.assertEqual((run.errors, run.status), (b"", 0), run.output)
        answer = run.answer
        self.assertEqual(answer["outcome"], "staged")
        candidate = os.path.dirname(answer["stagedArtifactPath"])
        self.assertRegex(os.path.basename(candidate), "^%s-%d-[0-9A-F-]{36}$" % (version.replace(".", r"\."), build))
        self.assertEqual(
            run.output.decode(),
            '{"build":%d,"message":"Verified and staged; choose Install and Relaunch to run final bundle, Developer ID, '
            'Gatekeeper, and rollback checks.","outcome":"staged","receiptPath":"%s/receipt.json",'
            '"stagedArtifactPath":"%s/BrindlewickUpdate.zip","version":"%s"}\n' % (build, candidate, candidate, version))
        with open(answer["stagedArtifactPath"], "rb") as staged, open(self.archive, "rb") as published:
            self.assertEqual(staged.read(), published.read())
        self.assertEqual(stat.S_IMODE(os.stat(candidate).st_mode), 0o700)
        self.assertEqual([stat.S_IMODE(os.stat(os.path.join(candidate, name)).st_mode) for name in os.listdir(candidate)],
                         [0o600, 0o600])
        self.assert_no_leftovers()
        return candidate


def make_key(path):
    """A key file as a publisher makes it; returns the public key."""
    run_quietly("sh", "-c", 'umask 077; openssl genpkey -algorithm ed25519 -outform DER -out "$0.der" && '
                            'tail -c 32 "$0.der" | base64 > "$0"', path)
    public = run_quietly("sh", "-c", 'openssl pkey -inform DER -in "$0.der" -pubout -outform DER | tail -c 32 | base64', path)
    return public.stdout.decode().strip()


def make_archive(path, size=100_000):
    folder = tempfile.mkdtemp(dir=World.current.inside)
    os.makedirs(os.path.join(folder, "Brindlewick.app/Contents/MacOS"))
    with open(os.path.join(folder, "Brindlewick.app/Contents/MacOS/Brindlewick"), "wb") as out:
        out.write(os.urandom(size))
    if os.path.exists(path):
        os.remove(path)
    run_quietly("zip", "-q", "-r", "-X", path, "Brindlewick.app", cwd=folder)
    shutil.rmtree(folder)
