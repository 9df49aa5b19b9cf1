"""prepare-install: what it prepares, and every rule that an archive, a bundle, the installed application or a tool can
break, each with its sentence and without a trace on disk."""

import binascii
import json
import os
import plistlib
import shutil
import signal
import stat
import struct
import subprocess

from install_world import (GATEKEEPER, HASH_MISMATCH, INVALID_BUNDLE, INVALID_SIGNATURE, MALFORMED, NOT_SIGNED, PROGRAMS,
                           UNSAFE_ARCHIVE, UNSAFE_STAGING, WRONG_ARCHITECTURE, WRONG_IDENTITY, WRONG_TEAM, WRONG_VERSION, InstallScenario,
                           InstallWorld, fill_up, snapshot, snapshot_without_times, wait_until)
from world import FAILED_SAFELY, INVALID_ARGUMENTS, enter, failure, options, run_quietly, updater
from zip_bytes import AMIGA, DARWIN, LINK, MS_DOS, PIPE, VMS, Entry, archive, field, unicode_path

APP = "Brindlewick.app"


class Prepare(InstallScenario):
    def test_leaves_the_bundle_and_a_receipt(self):
        folder = self.update()
        self.stage_folder(folder)
        before = snapshot(self.folder)
        directory = self.assert_prepared(self.prepare())
        self.assertEqual(snapshot_without_times(os.path.join(directory, APP)), snapshot_without_times(os.path.join(folder, APP)))
        receipt = os.path.join(directory, "install-preparation.json")
        with open(self.archive, "rb") as file:
            digest = subprocess.run(["sha256sum"], stdin=file, capture_output=True, check=True).stdout.decode()[:64]
        with open(receipt) as file:
            self.assertEqual(file.read(), '{"applicationIdentifier":"%s","artifactSHA256":"%s","build":118,"candidateDirectoryName":'
                             '"Brindlewick.app","schemaVersion":1,"version":"2.4.0"}' % (self.identifier, digest))
        self.assertEqual(stat.S_IMODE(os.stat(receipt).st_mode), 0o600)
        inside = os.path.relpath(directory, self.folder)
        after = {path: item for path, item in snapshot(self.folder).items() if not path.startswith(inside)}
        self.assertEqual(after, before)

    def test_twice_leaves_two_directories(self):
        self.stage()
        first = self.assert_prepared(self.prepare())
        before = snapshot(first)
        second = self.assert_prepared(self.prepare())
        self.assertNotEqual(first, second)
        self.assertEqual(snapshot(first), before)

    def test_gives_implied_folders_mode_0755_whatever_the_umask(self):
        self.stage_bytes(archive(*(entry for entry in self.entries() if not entry.name.endswith(b"/"))))
        run = updater("prepare-install", *options(**self.install_options()), umask=0o077)
        directory = self.assert_prepared(run)
        for name in (APP, f"{APP}/Contents", f"{APP}/Contents/MacOS"):
            self.assertEqual(stat.S_IMODE(os.stat(os.path.join(directory, name)).st_mode), 0o755, name)

    def test_takes_an_archive_with_a_prefix_or_with_64_bit_records(self):
        self.stage_bytes(archive(*self.entries(), prefix=b"#!/bin/sh\nexit\n"))
        self.assert_prepared(self.prepare())
        self.stage_bytes(archive(*self.entries(), zip64=True))
        self.assert_prepared(self.prepare())

    def test_takes_the_environment_for_nothing(self):
        """zipinfo reads options from the environment; with these it would print headers and fail."""
        self.stage()
        environment = {"ZIPINFO": "-v", "ZIPINFOOPT": "-v", "UNZIP": "-z", "LC_ALL": "C", "PATH": "/nowhere", "TZ": "Nowhere"}
        self.assert_prepared(updater("prepare-install", *options(**self.install_options()), environment=environment))


    def test_15_passes_paths_to_tools_as_they_are(self):
        self.staging = os.path.join(self.home, "st[a]*?ging $HOME;' x")
        self.applications = os.path.join(self.home, "-a \"b\"\n'c' $(exit) `d` %s")
        os.mkdir(self.applications)
        self.installed = os.path.join(self.applications, APP)
        self.install(version="2.3.0", build=100)
        self.stage()
        self.assert_prepared(self.prepare())


class PrepareRefusesAnArchive(InstallScenario):
    def assert_refused(self, message, *extra, **form):
        entries = self.entries()
        self.stage_bytes(archive(*entries, *extra, **form))
        self.assert_prepare_fails(message)

    def test_25_with_links(self):
        for system, message in ((3, UNSAFE_ARCHIVE), (DARWIN, UNSAFE_ARCHIVE), (VMS, INVALID_BUNDLE), (MS_DOS, INVALID_BUNDLE),
                                (AMIGA, INVALID_BUNDLE)):
            with self.subTest(system=system):
                self.assert_refused(message, Entry(f"{APP}/Contents/a", b"/etc/passwd", mode=LINK, system=system))

    def test_25_with_pipes_and_devices(self):
        for mode in (PIPE, 0o020644, 0o060644, 0o140644):
            with self.subTest(mode=oct(mode)):
                self.assert_refused(UNSAFE_ARCHIVE, Entry(f"{APP}/Contents/a", mode=mode))

    def test_26_with_records_that_are_not_listed(self):
        self.assert_refused(INVALID_BUNDLE, hidden=Entry("../evil", b"evil").local_record())

    def test_27_with_local_names_that_differ(self):
        self.assert_refused(INVALID_BUNDLE, Entry(f"{APP}/Contents/a", b"a", local={"name": f"{APP}/Contents/b".encode()}))

    def test_28_with_a_unicode_path_that_differs(self):
        for name, other, message in (("../../evil", f"{APP}/a", INVALID_BUNDLE), (f"{APP}/a", "../../evil", UNSAFE_ARCHIVE)):
            with self.subTest(name=name):
                self.assert_refused(message, Entry(name, b"a", extra=unicode_path(name, other)))

    def test_29_with_control_bytes(self):
        """zipinfo prints most of them as ^I, ^J and so on, so that the listing looks harmless; the expander refuses."""
        for name, message in ((f"{APP}/a\tb", INVALID_BUNDLE), (f"{APP}/a\nb", INVALID_BUNDLE), (f"{APP}/a\x1bb", INVALID_BUNDLE),
                              (f"{APP}/a\x7fb", UNSAFE_ARCHIVE)):
            with self.subTest(name=name):
                self.assert_refused(message, Entry(name))

    def test_29_with_a_line_of_the_listing_in_a_name(self):
        """zipinfo prints what only Unicode takes for the end of a line as it is."""
        for end in ("\u0085", "\u2028", "\u2029"):
            with self.subTest(end=end):
                self.assert_refused(UNSAFE_ARCHIVE, Entry(f"{APP}/Contents/Resources/a{end}lrwxr-xr-x b", b"a"))

    def test_30_with_names_that_are_one_on_a_mac(self):
        plist = f"{APP}/Contents/Info.plist"
        for names in ((plist,), (f"{APP}/Contents/INFO.plist",), (f"{APP}/u\u0308", f"{APP}/\u00fc"), (f"{plist}/a",)):
            with self.subTest(names=names):
                self.assert_refused(INVALID_BUNDLE, *(Entry(name) for name in names))

    def test_31_with_damaged_or_encrypted_entries(self):
        for extra, form, message in (([Entry(f"{APP}/a\0b")], {}, INVALID_BUNDLE), ([Entry(f"{APP}/\xfc".encode("latin-1"))], {}, UNSAFE_ARCHIVE),
                                     ([Entry(f"{APP}/a", b"a" * 20, flags=1)], {}, INVALID_BUNDLE), ([], {"count": 3}, INVALID_BUNDLE),
                                     ([Entry(f"{APP}/a", b"a", local={"crc": 1}, central={"crc": 1})], {}, INVALID_BUNDLE)):
            with self.subTest(extra=extra, form=form):
                self.assert_refused(message, *extra, **form)

    def test_31_with_a_long_path_that_is_not_sealed(self):
        self.assert_refused(INVALID_SIGNATURE, Entry(f"{APP}/Contents/Resources/" + "/".join(["x" * 99] * 9), b"a"))

    def test_31_with_a_path_that_no_mac_has_room_for(self):
        self.assert_refused(INVALID_BUNDLE, Entry(f"{APP}/Contents/Resources/" + "/".join(["x" * 99] * 10), b"a"))

    def test_32_with_entries_without_a_type(self):
        self.assert_refused(UNSAFE_ARCHIVE, Entry(f"{APP}/Contents/a", b"a", mode=0o600))

    def test_33_with_another_top_level_item(self):
        for name in ("__MACOSX/._Brindlewick.app", "._Brindlewick.app", "Other.app/a", "Brindlewick.appx/a", "brindlewick.app/a",
                     "BrindlewickUpdate.zip", "receipt.json", "install-preparation.json"):
            with self.subTest(name=name):
                self.assert_refused(UNSAFE_ARCHIVE, Entry(name, b"a"))

    def test_34_with_an_attribute_file_that_is_not_sealed(self):
        self.assert_refused(INVALID_SIGNATURE, Entry(f"{APP}/Contents/Resources/._a", b"\0\5\x16\7"))

    def test_35_with_more_data_than_declared(self):
        change = {"size": 10}
        self.assert_refused(INVALID_BUNDLE, Entry(f"{APP}/a", b"\0" * 5_000_000, deflate=True, local=change, central=change))

    def test_35_with_overlapping_records(self):
        self.assert_refused(INVALID_BUNDLE, Entry(f"{APP}/a", b"a", central={"offset": 0}))

    def test_36_with_a_listing_beyond_the_limit(self):
        name = f"{APP}/Contents/" + "x" * 200
        self.stage_bytes(archive(*(Entry(f"{name}{i:06}") for i in range(80_000)), zip64=True))
        self.assert_prepare_fails(INVALID_BUNDLE)

    def test_whose_names_climb_or_are_absolute(self):
        for name in ("/etc/passwd", "../evil", f"{APP}/../evil", f"{APP}//a", f"{APP}/./a", f"{APP}/a\\b", f"/{APP}/a", f"{APP}//"):
            with self.subTest(name=name):
                self.assert_refused(UNSAFE_ARCHIVE, Entry(name))

    def test_that_holds_a_bundle_of_links(self):
        folder = self.update(lambda bundle: os.symlink("MacOS", os.path.join(bundle, "Contents/Link")))
        self.stage_folder(folder)
        self.assert_prepare_fails(UNSAFE_ARCHIVE)

    def test_that_holds_a_file_in_the_place_of_the_bundle(self):
        self.stage_bytes(archive(Entry(APP, b"a")))
        self.assert_prepare_fails(INVALID_BUNDLE)

    def test_that_is_empty_or_none(self):
        for content in (archive(), b"", b"no archive" * 50):
            with self.subTest(content=content[:10]):
                self.stage_bytes(content)
                self.assert_prepare_fails(INVALID_BUNDLE)

    def test_on_a_full_disk(self):
        os.mkdir(self.staging)
        run_quietly("mount", "-t", "tmpfs", "-o", "size=8m", "small", self.staging)
        self.addCleanup(run_quietly, "umount", self.staging)
        self.stage()
        fill_up(self.staging)
        self.assert_prepare_fails(INVALID_BUNDLE)


class PrepareRefusesABundle(InstallScenario):
    def assert_refused(self, message, spoil=None, **shape):
        self.stage(spoil, **shape)
        self.assert_prepare_fails(message)

    def test_without_a_readable_property_list(self):
        def remove(bundle):
            os.remove(os.path.join(bundle, "Contents/Info.plist"))

        def damage(bundle):
            with open(os.path.join(bundle, "Contents/Info.plist"), "w") as file:
                file.write("no property list")

        def enlarge(bundle):
            with open(os.path.join(bundle, "Contents/Info.plist"), "ab") as file:
                file.write(b" " * 1_048_577)

        for spoil in (remove, damage, enlarge):
            with self.subTest(spoil=spoil.__name__):
                self.assert_refused(INVALID_BUNDLE, spoil)

    def test_by_its_properties(self):
        def change(key, value):
            def spoil(bundle):
                path = os.path.join(bundle, "Contents/Info.plist")
                with open(path, "rb") as file:
                    properties = plistlib.load(file)
                properties[key] = value
                if value is None:
                    del properties[key]
                with open(path, "wb") as file:
                    plistlib.dump(properties, file)
            return spoil

        # The properties are judged before the signature, which none of these changes would survive.
        for key, value, message in (("CFBundlePackageType", "FMWK", INVALID_BUNDLE), ("CFBundlePackageType", None, INVALID_BUNDLE),
                                    ("CFBundleIdentifier", None, INVALID_BUNDLE), ("CFBundleIdentifier", 7, INVALID_BUNDLE),
                                    ("CFBundleShortVersionString", None, INVALID_BUNDLE), ("CFBundleVersion", None, INVALID_BUNDLE),
                                    ("CFBundleVersion", "118.0", INVALID_BUNDLE), ("CFBundleVersion", " 118", INVALID_BUNDLE),
                                    ("CFBundleVersion", ["118"], INVALID_BUNDLE),
                                    ("CFBundleIdentifier", self.identifier.upper(), WRONG_IDENTITY),
                                    ("CFBundleIdentifier", "com.other.app", WRONG_IDENTITY),
                                    ("CFBundleShortVersionString", "2.4", WRONG_VERSION),
                                    ("CFBundleShortVersionString", "2.4.1", WRONG_VERSION), ("CFBundleVersion", "119", WRONG_VERSION),
                                    ("CFBundleVersion", 119, WRONG_VERSION), ("CFBundleName", "changed", INVALID_SIGNATURE)):
            with self.subTest(key=key, value=value):
                self.assert_refused(message, change(key, value))

    def test_39_altered_after_signing(self):
        for place in ("executable", "resource", "info"):
            with self.subTest(place=place):
                self.assert_refused(INVALID_BUNDLE if place == "info" else INVALID_SIGNATURE, tamper=place)

    def test_39_with_something_added_or_without_its_seal(self):
        def add(bundle):
            with open(os.path.join(bundle, "Contents/Resources/added"), "w") as file:
                file.write("not sealed")

        def remove_seal(bundle):
            shutil.rmtree(os.path.join(bundle, "Contents/_CodeSignature"))

        for spoil in (add, remove_seal):
            with self.subTest(spoil=spoil.__name__):
                self.assert_refused(INVALID_SIGNATURE, spoil)

    def test_39_altered_in_nested_code(self):
        """Which the signature of the application seals by its own signature only, as macOS does; Gatekeeper looks."""
        self.assert_refused(GATEKEEPER, nested="all", tamper="nested")

    def test_44_that_is_a_script_without_a_property_list(self):
        self.stage_bytes(archive(Entry(f"{APP}/Contents/MacOS/Brindlewick", b"#!/bin/sh\n", mode=0o100755)))
        self.assert_prepare_fails(INVALID_BUNDLE)

    def test_of_another_team(self):
        self.assert_refused(WRONG_TEAM, team="OTHER98765")

    def test_unsigned_or_signed_by_nobody(self):
        self.assert_refused(INVALID_SIGNATURE, sign="none")
        self.assert_refused(INVALID_SIGNATURE, sign="adhoc")

    def test_under_a_root_that_the_program_does_not_trust(self):
        self.assert_refused(INVALID_SIGNATURE, pki="other")

    def test_for_one_architecture(self):
        self.assert_refused(WRONG_ARCHITECTURE, architectures="arm64")
        self.assert_refused(WRONG_ARCHITECTURE, architectures="x86_64")

    def test_without_a_ticket(self):
        self.assert_refused(GATEKEEPER, ticket="none")

    def test_with_a_ticket_that_was_altered(self):
        self.assert_refused(GATEKEEPER, tamper="ticket")

    def test_41_whose_executable_is_named_by_a_path(self):
        """The signature is asked for first, and its validation looks for no executable elsewhere."""
        self.assert_refused(INVALID_SIGNATURE, executable_key="../MacOS/Brindlewick")


class PrepareRefusesTheInstalledApplication(InstallScenario):
    def test_that_is_missing_or_a_link_or_no_bundle(self):
        self.stage()
        other = os.path.join(self.applications, "Other.app")
        os.rename(self.installed, other)
        self.assert_prepare_fails(INVALID_BUNDLE)
        os.symlink(other, self.installed)
        self.assert_prepare_fails(INVALID_BUNDLE)
        plain = os.path.join(self.applications, "Brindlewick")
        os.rename(other, plain)
        self.assert_prepare_fails(INVALID_BUNDLE, installed_app=plain)

    def test_that_is_another_one_or_not_signed(self):
        self.stage()
        for message, shape in ((WRONG_IDENTITY, {"identifier": "com.other.app"}), (INVALID_SIGNATURE, {"sign": "none"}),
                               (INVALID_SIGNATURE, {"sign": "adhoc"}),
                               (INVALID_SIGNATURE, {"executable_key": "../MacOS/Brindlewick"}),
                               (WRONG_ARCHITECTURE, {"architectures": "arm64"})):
            with self.subTest(shape=shape):
                self.install(version="2.3.0", build=100, **shape)
                self.assert_prepare_fails(message)

    def test_39_but_not_for_its_nested_code(self):
        """No assessment is asked for what is installed: known, and the same on macOS."""
        self.install(version="2.3.0", build=100, nested="all", tamper="nested")
        self.stage()
        self.assert_prepared(self.prepare())

    def test_19_only_when_its_own_path_is_a_link(self):
        self.stage()
        link = os.path.join(self.folder, "link")
        os.symlink(self.applications, link)
        self.assert_prepared(self.prepare(installed_app=os.path.join(link, APP)))


class PrepareRefusesWhatIsStaged(InstallScenario):
    def test_that_is_not_newer(self):
        self.stage()
        self.assert_prepare_fails(WRONG_VERSION, current_version="2.4.0", current_build="118")

    def test_that_was_altered(self):
        self.stage()
        with open(os.path.join(self.staged, "BrindlewickUpdate.zip"), "ab") as file:
            file.write(b"more")
        self.assert_prepare_fails(HASH_MISMATCH)

    def test_that_is_a_link(self):
        self.stage()
        for name in ("BrindlewickUpdate.zip", "receipt.json"):
            with self.subTest(name=name):
                path = os.path.join(self.staged, name)
                os.rename(path, path + ".real")
                os.symlink(path + ".real", path)
                self.assert_prepare_fails(UNSAFE_STAGING)
                os.rename(path + ".real", path)
        link = os.path.join(self.staging, "link")
        os.symlink(self.staged, link)
        self.assert_prepare_fails(UNSAFE_STAGING, staged_directory=link)

    def test_whose_receipt_differs_from_what_is_signed(self):
        self.stage()
        path = os.path.join(self.staged, "receipt.json")
        with open(path) as file:
            good = json.load(file)
        for key, value, message in (("schemaVersion", 2, MALFORMED), ("artifactFileName", "Other.zip", MALFORMED),
                                    ("artifactFileName", "../BrindlewickUpdate.zip", MALFORMED), ("build", 119, NOT_SIGNED),
                                    ("version", "2.4.1", NOT_SIGNED), ("artifactSHA256", "0" * 64, NOT_SIGNED),
                                    ("manifestSignature", "A" * 86 + "==", NOT_SIGNED), ("manifestSignature", "", MALFORMED),
                                    ("manifestPayload", "e30=", NOT_SIGNED), ("build", "118", FAILED_SAFELY), ("version", None, FAILED_SAFELY)):
            with self.subTest(key=key, value=value):
                with open(path, "w") as file:
                    json.dump({k: v for k, v in {**good, key: value}.items() if v is not None}, file)
                self.assert_prepare_fails(message)
        os.remove(path)
        self.assert_prepare_fails(UNSAFE_STAGING)

    def test_6_for_another_application(self):
        self.stage()
        self.assert_failed(self.prepare(app_identifier="com.other.app"), "The update is intended for a different application.")

    def test_20_that_is_exchanged_between_the_checks_and_the_expansion(self):
        """Only the hash is checked before; what is expanded is verified by what it is."""
        for shape, message in (({"team": "OTHER98765"}, WRONG_TEAM), ({"version": "2.3.9", "build": 117}, WRONG_VERSION),
                               ({"ticket": "none"}, GATEKEEPER)):
            with self.subTest(shape=shape):
                other = os.path.join(self.folder, "other.zip")
                self.stage(**shape)
                shutil.copy(self.archive, other)
                self.stage()
                victim = os.path.join(self.staged, "BrindlewickUpdate.zip")
                os.rename("/usr/bin/zipinfo", "/usr/bin/zipinfo.real")
                with open("/usr/bin/zipinfo", "w") as file:
                    file.write(f'#!/bin/sh\n/usr/bin/zipinfo.real "$@" || exit\n[ "$1" = -1 ] || cp "{other}" "{victim}"\n')
                os.chmod("/usr/bin/zipinfo", 0o755)
                try:
                    run = self.prepare()
                finally:
                    os.rename("/usr/bin/zipinfo.real", "/usr/bin/zipinfo")
                self.assert_failed(run, message)
                self.assertEqual(sorted(os.listdir(self.staged)), ["BrindlewickUpdate.zip", "receipt.json"])

    def test_with_bad_arguments(self):
        self.stage()
        for changes in ({"current_build": "0"}, {"staged_directory": "relative"}, {"installed_app": "relative"}, {"app_identifier": ""},
                        {"unknown": "x"}):
            with self.subTest(changes=changes):
                self.assert_prepare_fails(INVALID_ARGUMENTS, **changes)


class Interruption(InstallScenario):
    def test_a_signal_while_a_tool_runs_leaves_nothing_behind(self):
        self.stage()
        mark = os.path.join(self.folder, "mark")
        for tool in ("zipinfo", "ditto", "lipo", "spctl"):
            for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
                with self.subTest(tool=tool, signal=number):
                    # Ditto has written half of what it writes when the signal comes.
                    begin = ': >"$4/half"' if tool == "ditto" else ":"
                    self.replace_command(tool, f"#!/bin/sh\n{begin}\necho $$ >{mark}.tmp\nmv {mark}.tmp {mark}\nexec sleep 600\n")
                    before = snapshot(self.folder)
                    helper = subprocess.Popen([self.world.updater, "prepare-install", *options(**self.install_options())],
                                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                    wait_until(lambda: os.path.exists(mark), "the tool does not run")
                    with open(mark) as file:
                        running = int(file.read())
                    os.remove(mark)
                    helper.send_signal(number)
                    self.assertEqual(helper.communicate(timeout=60), (failure(FAILED_SAFELY), b""))
                    self.assertEqual(helper.returncode, 1)
                    self.assertFalse(os.path.exists(f"/proc/{running}"))
                    self.assertEqual(snapshot(self.folder), before)
                    self.assert_no_leftovers()
                    self.world.restore_commands()


class PrepareRefusesAToolThatFails(InstallScenario):
    SCRIPTS = {"missing": None, "fails": "#!/bin/sh\nexit 1\n", "is killed": "#!/bin/sh\nkill -9 $$\n",
               "prints too much": "#!/bin/sh\nexec head -c 20000000 /dev/zero\n", "cannot run": "\x7fELF nothing"}

    def assert_refused(self, tool, messages):
        self.stage()
        for name, script in self.SCRIPTS.items():
            with self.subTest(tool=tool, what=name):
                self.replace_command(tool, script)
                self.assert_prepare_fails(messages.get(name, messages["otherwise"]))
                self.world.restore_commands()

    def test_zipinfo(self):
        self.assert_refused("zipinfo", {"otherwise": INVALID_BUNDLE, "missing": FAILED_SAFELY, "cannot run": FAILED_SAFELY})

    def test_zipinfo_that_says_nothing(self):
        self.stage()
        self.replace_command("zipinfo", "#!/bin/sh\n")
        self.assert_prepare_fails(UNSAFE_ARCHIVE)

    def test_zipinfo_that_fails_at_one_of_its_two_listings(self):
        self.stage()
        for form in ("-1", "-l"):
            for end in ("kill -9 $$", "exit 1", "exec head -c 20000000 /dev/zero"):
                with self.subTest(form=form, end=end):
                    self.replace_command("zipinfo", f'#!/bin/sh\n[ "$1" = {form} ] || exec {self.world.commands["zipinfo"]} "$@"\n{end}\n')
                    self.assert_prepare_fails(INVALID_BUNDLE)

    def test_ditto(self):
        self.assert_refused("ditto", {"otherwise": INVALID_BUNDLE, "missing": FAILED_SAFELY, "cannot run": FAILED_SAFELY})

    def test_ditto_that_does_nothing(self):
        self.stage()
        self.replace_command("ditto", "#!/bin/sh\n")
        self.assert_prepare_fails(INVALID_BUNDLE)

    def test_ditto_that_writes_another_item_too(self):
        self.stage()
        self.replace_command("ditto", f'#!/bin/sh\n{self.world.commands["ditto"]} "$@" && : >"$4/more"\n')
        self.assert_prepare_fails(INVALID_BUNDLE)

    def test_ditto_that_makes_a_link(self):
        self.stage()
        self.replace_command("ditto", f'#!/bin/sh\n{self.world.commands["ditto"]} "$@" && ln -s / "$4/{APP}/link"\n')
        self.assert_prepare_fails(UNSAFE_ARCHIVE)

    def test_lipo(self):
        self.assert_refused("lipo", {"otherwise": INVALID_BUNDLE, "missing": FAILED_SAFELY, "cannot run": FAILED_SAFELY})

    def test_lipo_that_prints_something_else(self):
        self.stage()
        for script in ("printf 'x86_64 arm64e'", "printf 'x86_64\\narm6\\0644\\377'", ":", "printf x86_64,arm64"):
            with self.subTest(script=script):
                self.replace_command("lipo", f"#!/bin/sh\n{script}\n")
                self.assert_prepare_fails(WRONG_ARCHITECTURE)

    def test_spctl(self):
        self.assert_refused("spctl", {"otherwise": GATEKEEPER})

    def test_tools_get_no_environment_descriptor_or_stream_of_ours(self):
        self.stage()
        report = os.path.join(self.folder, "report")
        self.replace_command("ditto", f"""#!/bin/sh
(umask; tr '\\0' '\\n' </proc/$$/environ | sort; readlink /proc/$$/fd/0 /proc/$$/fd/2; ls /proc/$$/fd; grep Sig[BI] /proc/$$/status) >{report}
exec {self.world.commands['ditto']} "$@"
""")
        with open("/etc/passwd") as leaked:
            os.set_inheritable(leaked.fileno(), True)
            done = subprocess.run([self.world.updater, "prepare-install", *options(**self.install_options())], close_fds=False,
                                  env={"SECRET": "leaks"}, capture_output=True, check=False, stdin=subprocess.DEVNULL)
        self.assertEqual(done.returncode, 0, done.stdout)
        with open(report) as file:
            content = file.read()
        self.assertNotIn("SECRET", content)
        self.assertNotIn("passwd", content)
        self.assertEqual(content.splitlines()[0], "0022")
        self.assertEqual(content.count("/dev/null"), 2)
        self.assertIn("SigBlk:\t0000000000000000", content)


if __name__ == "__main__":
    enter(InstallWorld, PROGRAMS)
