#!/usr/bin/env python3
"""sign-manifest and check-and-stage against the tools that do the same work: openssl's digest and curl.

Each pair runs in turns, after one run that warms the caches; the table shows the medians and their ratio, and the peak
memory of the updater. The answers are compared with the peers' before anything is timed.
"""

import json
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests" / "end_to_end"))
import world  # noqa: E402

ROUNDS = int(os.environ.get("BENCH_ROUNDS", "7"))
MIB = 1 << 20


def timed(*commands):
    """Seconds that commands take one after the other."""
    started = time.perf_counter()
    for command in commands:
        subprocess.run(command, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    return time.perf_counter() - started


class Bench:
    def __init__(self, publisher):
        self.publisher = publisher
        self.rows = []

    def compare(self, name, ours, peers, target, prepare=lambda: None):
        rounds = []
        for number in range(ROUNDS + 1):
            prepare()
            mine = timed(ours)
            prepare()
            theirs = timed(*peers)
            if number > 0:
                rounds.append((mine, theirs))
        prepare()
        memory = world.peak_kib(*ours)
        mine, theirs = (statistics.median(column) for column in zip(*rounds))
        ratio = statistics.median(a / b for a, b in rounds)
        self.rows.append((name, mine, theirs, ratio, target, memory))
        print("  %-44s %7.1f ms %7.1f ms   %5.2f (at most %.2f)   %5.1f MiB" %
              (name, mine * 1000, theirs * 1000, ratio, target, memory / 1024), flush=True)


def random_file(path, size):
    with open(path, "wb") as out:
        for _ in range(size // MIB):
            out.write(os.urandom(MIB))


def run():
    publisher = world.Scenario()
    publisher.setUp()
    feed, folder = publisher.feed, publisher.folder
    updater = world.World.current.updater
    bench = Bench(publisher)
    print("  %-44s %10s %10s   %s" % ("", "updater", "peers", "ratio of the pairs        peak memory"))

    for size in (1, 512):
        archive = feed.path("a%d.zip" % size)
        random_file(archive, size * MIB)
        publisher.archive, publisher.manifest = archive, feed.path("m%d.json" % size)
        publisher.publish(artifact_url="%s/a%d.zip" % (feed.url, size))
        digest = world.run_quietly("openssl", "dgst", "-sha256", "-r", archive).stdout.split()[0].decode()
        with open(publisher.manifest, "rb") as file:
            import base64
            assert json.loads(base64.b64decode(json.load(file)["payload"]))["artifactSHA256"] == digest

        sign = [updater, "sign-manifest", *world.options(
            private_key_file=publisher.key, app_identifier=publisher.identifier, version="2.4.0", build="118",
            minimum_system_version="12.0", artifact_url=feed.url + "/a.zip", artifact_file=archive, output=folder + "/m")]
        dgst = ["openssl", "dgst", "-sha256", archive]
        bench.compare("sign-manifest, %d MiB" % size, sign, [dgst], 1.05)

        stage = [updater, "check-and-stage", *publisher.check_options(feed_url="%s/m%d.json" % (feed.url, size))]
        curl = ["curl", "-s", "-o", folder + "/download", "--cacert", world.TRUSTED_ROOTS, "%s/a%d.zip" % (feed.url, size)]

        def clean():
            shutil.rmtree(publisher.staging, ignore_errors=True)
            if os.path.exists(folder + "/download"):
                os.remove(folder + "/download")
            os.sync()

        bench.compare("check-and-stage, %d MiB" % size, stage, [curl, dgst, dgst], 1.10, clean)

    ask = [updater, "check-and-stage", *publisher.check_options(feed_url=feed.url + "/m1.json", current_version="9.0.0")]
    bench.compare("check-and-stage, up to date", ask, [["curl", "-s", feed.url + "/m1.json"]], 1.25)


class Everything(world.Scenario):
    def test_run(self):
        run()


if __name__ == "__main__":
    world.enter()
