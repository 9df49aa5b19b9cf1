"""`open -a` on bundles whose executables this machine can and cannot run."""

import os
import plistlib
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

OPEN = os.path.realpath(sys.argv[1])
REPORT = """#!/bin/sh
streams="$(readlink /proc/$$/fd/0) $(readlink /proc/$$/fd/1) $(readlink /proc/$$/fd/2)"
echo $$ $(cut -d' ' -f6 /proc/$$/stat) $# $streams >"$0.tmp"
mv "$0.tmp" "$0.report"
"""


class Open(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="open-test.")
        self.addCleanup(shutil.rmtree, self.folder, True)
        self.bundle = os.path.join(self.folder, "Brindlewick.app")
        self.programs = os.path.join(self.bundle, "Contents/MacOS")
        os.makedirs(self.programs)

    def information(self, content):
        with open(os.path.join(self.bundle, "Contents/Info.plist"), "wb") as file:
            file.write(content)

    def program(self, name, content=REPORT, mode=0o755):
        path = os.path.join(self.programs, name)
        with open(path, "wb") as file:
            file.write(content if isinstance(content, bytes) else content.encode())
        os.chmod(path, mode)
        return path

    def open(self, *arguments):
        run = subprocess.run([OPEN] + list(arguments), stdin=subprocess.DEVNULL, capture_output=True, timeout=60, check=False)
        self.assertEqual(run.stdout, b"")
        return run.returncode, run.stderr.decode()

    def report_of(self, program):
        deadline = time.monotonic() + 30
        while not os.path.exists(program + ".report"):
            self.assertLess(time.monotonic(), deadline, "the program did not start")
            time.sleep(0.01)
        with open(program + ".report") as file:
            return file.read().split()

    def test_starts_the_executable_that_the_bundle_names(self):
        for form in (plistlib.FMT_XML, plistlib.FMT_BINARY):
            self.information(plistlib.dumps({"CFBundleExecutable": f"run{form.name}"}, fmt=form))
            program = self.program(f"run{form.name}")
            self.assertEqual(self.open("-a", self.bundle), (0, ""))
            self.report_of(program)

    def test_starts_the_executable_with_the_name_of_the_bundle_when_it_names_none(self):
        self.information(plistlib.dumps({"CFBundleName": "Other"}))
        program = self.program("Brindlewick")
        self.assertEqual(self.open("-a", self.bundle + "/"), (0, ""))
        self.report_of(program)

    def test_starts_it_in_a_session_of_its_own_without_streams_and_arguments(self):
        self.information(plistlib.dumps({"CFBundleExecutable": "run"}))
        program = self.program("run")
        self.assertEqual(self.open("-a", self.bundle), (0, ""))
        process, session, argument_count, *streams = self.report_of(program)
        self.assertEqual((session, argument_count, streams), (process, "0", ["/dev/null"] * 3))

    def test_says_that_this_machine_cannot_run_a_program_of_another_system(self):
        self.information(plistlib.dumps({"CFBundleExecutable": "run"}))
        self.program("run", b"\xca\xfe\xba\xbe" + bytes(4000))
        self.assertEqual(self.open("-a", self.bundle),
                         (1, f"open: {self.bundle}: this machine cannot run the application\n"))

    def test_says_that_there_is_no_program(self):
        self.information(plistlib.dumps({"CFBundleExecutable": "absent"}))
        self.assertEqual(self.open("-a", self.bundle), (1, f"open: {self.bundle}: No such file or directory\n"))
        self.program("absent", mode=0o644)
        self.assertEqual(self.open("-a", self.bundle), (1, f"open: {self.bundle}: Permission denied\n"))

    def test_starts_nothing_outside_the_bundle(self):
        outside = os.path.join(self.folder, "outside")
        shutil.copy("/bin/true", outside)
        for name in ("../../../outside", outside, "..", ".", "", "sub/run", 5, ["run"]):
            with self.subTest(name=name):
                self.information(plistlib.dumps({"CFBundleExecutable": name}))
                self.assertEqual(self.open("-a", self.bundle), (1, f"open: {self.bundle}: not an application\n"))

    def test_reads_property_lists_as_macos_does(self):
        self.information(b"\n<plist version='0.9'><dict ><key>CFBundleExecutable</key ><string><![CDATA[run]]></string>"
                         b"<key>CFBundleVersion</key><integer>0x76</integer></dict></plist><!-- end -->")
        program = self.program("run")
        self.assertEqual(self.open("-a", self.bundle), (0, ""))
        self.report_of(program)

    def test_refuses_a_property_list_that_unfolds_without_end(self):
        # Arrays of two references to the next one, under the key of the first object.
        objects = [b"\xd1\x01\x02", b"\x51k"] + [b"\xa2" + bytes([i, i]) for i in range(3, 203)] + [b"\x09"]
        content, offsets = b"bplist00", b""
        for item in objects:
            offsets += len(content).to_bytes(2, "big")
            content += item
        trailer = bytes(6) + b"\x02\x01" + b"".join(n.to_bytes(8, "big") for n in (len(objects), 0, len(content)))
        self.information(content + offsets + trailer)
        self.assertEqual(self.open("-a", self.bundle), (1, f"open: {self.bundle}: not an application\n"))

    def test_refuses_what_is_no_application(self):
        self.assertEqual(self.open("-a", self.bundle), (1, f"open: {self.bundle}: not an application\n"))
        for content in (b"", b"no property list", b"<plist><array/></plist>", plistlib.dumps(["a"])):
            self.information(content)
            self.assertEqual(self.open("-a", self.bundle), (1, f"open: {self.bundle}: not an application\n"))
        os.remove(os.path.join(self.bundle, "Contents/Info.plist"))
        os.mkfifo(os.path.join(self.bundle, "Contents/Info.plist"))
        self.assertEqual(self.open("-a", self.bundle), (1, f"open: {self.bundle}: not an application\n"))
        missing = os.path.join(self.folder, "Missing.app")
        self.assertEqual(self.open("-a", missing), (1, f"open: {missing}: No such file or directory\n"))

    def test_refuses_every_other_usage(self):
        for arguments in ((), ("-a",), ("-a", ""), (self.bundle,), ("-b", self.bundle), ("-a", self.bundle, "file"), ("--help",)):
            self.assertEqual(self.open(*arguments), (2, "usage: open -a APPLICATION\n"))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + sys.argv[2:], verbosity=2)
