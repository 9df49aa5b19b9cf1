"""One text, one meaning: what the built program takes for JSON and for base64, against the readers of Python."""

import base64
import json
import os
import random
import stat

import world
from world import Scenario, options, tree, updater

MALFORMED_ENVELOPE = "The update manifest is malformed."
MALFORMED_KEY = "This build has an invalid update verification key."

# Members that no reader of ours knows. Which of them are JSON, Python says.
VALUES = ["1e400", "-1e400", "1e-400", "1E+999999", "9" * 5000, "-" + "9" * 5000, "1." + "0" * 5000, "-0", "0.5", "1e5", "01", "1.",
          "-", "+1", ".5", "1e", "0x1", "NaN", "-Infinity", "true", "True", "nul", '""', '"\\u00e9\\ud83d\\ude00"', '"\\x"', '"\\u12"',
          '"\t"', '"é"', "[1e400]", "[1e400,]", "[1 2]", '{"x":1,"x":1e400}', '{"x":1e400}}', "{1:1}", "[" * 200 + "]" * 200, "",
          '1,"x":2', '1,"\\u0078":1e400', "1,", "1 1", '1,"x"', '1e400,"y":[}', '[1e400],"y":{}', "\f1", "1\u00a0", "/**/1"]


class NotJSON(ValueError):
    pass


class Real(float):
    """A number with a fraction or an exponent, which is no integer, however small."""


def no_constant(text):
    raise NotJSON(text)


def has_half_a_pair(value):
    """Python takes half a surrogate pair for a character; no UTF-8 can hold it."""
    if isinstance(value, (list, tuple)):
        return any(map(has_half_a_pair, value))
    return isinstance(value, str) and any("\ud800" <= character <= "\udfff" for character in value)


def members(text):
    """What Python reads: the members of the outermost object, in order; None for what is no JSON."""
    try:
        value = json.loads(text.decode("utf-8").removeprefix("\ufeff"), object_pairs_hook=lambda pairs: tuple(pairs),
                           parse_int=lambda digits: digits.encode(), parse_float=Real, parse_constant=no_constant)
    except ValueError:
        return None
    return value if isinstance(value, tuple) and not has_half_a_pair(value) else None


def says(found, key, kind):
    """The value of a member that must stand there once; integers come as their digits."""
    values = [value for name, value in found or () if name == key]
    if len(values) != 1 or type(values[0]) is not kind:
        return None
    if kind is bytes and not (len(values[0]) < 30 and -2**63 <= int(values[0]) < 2**63):
        return None
    return values[0]


def spoiled(text, randomness):
    """A few bytes inserted, replaced or left out."""
    for _ in range(randomness.randint(1, 2)):
        at = randomness.randrange(len(text))
        byte = randomness.choice([b"{", b"}", b"[", b"]", b":", b",", b'"', b"\\", b"e", b"-", b".", b"0", b"9", b" ", b"\n", b"\0",
                                  b"\x1f", b"\x80", b"\xc3\xa9", b"\xff", b"u", b"true"])
        text = text[:at] + byte + text[at + randomness.randint(0, 1):]
    return text


def variants(text):
    """A document with other members before and behind its own, with something behind its end, and spoiled."""
    yield text
    for value in VALUES:
        yield b'{"x":' + value.encode() + b"," + text[1:]
        yield text[:-1] + b',"x":' + value.encode() + b"}"
    for rubbish in (b"x", b"}", b"{}", b",", b"\0", b" \r\n\t", b"\xc2\xa0", b"\xef\xbb\xbf"):
        for document in (text, b'{"x":1e400,' + text[1:], text[:-1] + b',"x":1e400}'):
            yield document + rubbish
            yield rubbish + document
    for cut in range(1, len(text), 7):
        yield b'{"x":1e400,' + text[1:cut]
    randomness = random.Random(8259)
    for _ in range(150):
        yield spoiled(b'{"x":[-1e400,{"y":"\\u00e9"}],' + text[1:], randomness)


class Receipts(Scenario):
    """The receipt of a staged update that names another format is malformed; one that cannot be read fails safely. So
    each text shows how it was read, long before anything else counts."""

    TEXTS = {"schemaVersion": bytes, "version": str, "build": bytes, "artifactFileName": str, "artifactSHA256": str,
             "manifestPayload": str, "manifestSignature": str}

    def test_are_read_as_python_reads_them(self):
        staged = os.path.join(self.home, "staged")
        os.mkdir(staged, 0o700)
        receipt = os.path.join(staged, "receipt.json")
        good = json.dumps({"artifactFileName": "Other.zip", "artifactSHA256": "0", "build": 118, "manifestPayload": "e30=",
                           "manifestSignature": "", "schemaVersion": 1, "version": "2.4.0"}, separators=(",", ":")).encode()
        counts = {MALFORMED_ENVELOPE: 0, world.FAILED_SAFELY: 0}
        for text in variants(good):
            with open(receipt, "wb") as file:
                file.write(text)
            found = members(text)
            isRead = all(says(found, key, kind) is not None for key, kind in self.TEXTS.items())
            isForeign = isRead and (says(found, "artifactFileName", str) != "BrindlewickUpdate.zip"
                                    or int(says(found, "schemaVersion", bytes)) != 1)
            self.assertEqual(isRead, isForeign, text)
            expected = MALFORMED_ENVELOPE if isRead else world.FAILED_SAFELY
            run = updater("prepare-install", *options(public_key=self.public_key, app_identifier=self.identifier,
                                                      current_version="2.3.0", current_build="100", staged_directory=staged,
                                                      installed_app=self.home + "/Brindlewick.app"))
            self.assertEqual((run.output, run.errors, run.status), (world.failure(expected), b"", 1), text)
            counts[expected] += 1
        self.assertGreater(min(counts.values()), 50)
        self.assertEqual(stat.S_IMODE(os.stat(staged).st_mode), 0o700)


class Envelopes(Scenario):
    def serve(self, text):
        with open(self.manifest, "wb") as file:
            file.write(text)

    def published(self):
        with open(self.manifest, "rb") as file:
            return file.read()

    def test_are_read_as_python_reads_them(self):
        self.publish()
        good = self.published()
        counts, spoiled_count = {b"upToDate": 0, b"failed": 0}, 0
        for text in list(variants(good))[::3]:
            self.serve(text)
            read, published = ([says(members(document), key, str) for key in ("payload", "signature")] for document in (text, good))
            run = self.check(current_version="2.4.0", current_build="118")
            # What is read, but is not what was signed, fails in one way or another.
            expected = b"upToDate" if read == published else b"failed"
            self.assertIn(b'"outcome":"%s"' % expected, run.output, text)
            if None in read:
                self.assert_failed(run, MALFORMED_ENVELOPE)
            counts[expected] += 1
            spoiled_count += None not in read and read != published
        self.assertGreater(min(counts.values()), 10)
        self.assertGreater(spoiled_count, 3)
        self.assertEqual(tree(self.home), [])

    def test_with_members_that_no_reader_can_hold_are_staged(self):
        self.publish()
        text = self.published()
        self.serve(b'{"note":1e400,' + text[1:-1] + b',"note":-1e400,"note":{"payload":""}}')
        self.assert_staged(self.check())

    def test_with_a_letter_in_place_of_two_slashes_are_malformed(self):
        for build in range(118, 5000):
            self.publish(build=build)
            text = self.published()
            signature = json.loads(text)["signature"]
            if "//" in signature:
                break
        self.serve(text.replace(signature.encode(), signature.replace("//", "é", 1).encode()))
        self.assert_failed(self.check(), MALFORMED_ENVELOPE)
        self.serve(text)
        self.assert_staged(self.check(), build=build)


class Keys(Scenario):
    def test_with_a_letter_in_place_of_two_slashes_are_malformed(self):
        self.publish()
        public = base64.b64encode(b"\xff" * 32).decode()
        self.assert_failed(self.check(public_key=public.replace("//", "é", 1)), MALFORMED_KEY)
        self.assert_failed(self.check(public_key=public), "The update manifest signature is invalid.")


if __name__ == "__main__":
    world.enter()
