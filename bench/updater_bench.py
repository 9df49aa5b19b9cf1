#!/usr/bin/env python3
"""sign-manifest and check-and-stage against the tools that do the same work: openssl's digest and curl.

The answers are compared with the peers' before anything is timed.
"""

import base64
import json
import os
import shutil

from comparison import MIB, Comparison
import world


def random_file(path, size):
    with open(path, "wb") as out:
        for _ in range(size // MIB):
            out.write(os.urandom(MIB))


def run():
    publisher = world.Scenario()
    publisher.setUp()
    feed, folder = publisher.feed, publisher.folder
    updater = world.World.current.updater
    bench = Comparison("updater")

    for size in (1, 512):
        archive = feed.path("a%d.zip" % size)
        random_file(archive, size * MIB)
        publisher.archive, publisher.manifest = archive, feed.path("m%d.json" % size)
        publisher.publish(artifact_url="%s/a%d.zip" % (feed.url, size))
        digest = world.run_quietly("openssl", "dgst", "-sha256", "-r", archive).stdout.split()[0].decode()
        with open(publisher.manifest, "rb") as file:
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
