"""The phases of apply-install, found from outside while the unchanged program runs.

strace stops the program at few system calls only (a filter in the kernel lets all others pass at full speed), and these
mark most borders:

- the question whether the parent process is still there, kill(pid, 0), ends the checks before the wait;
- creating `.Brindlewick.incoming.*` ends the checks after it and begins the copy;
- the last process of /usr/sbin/spctl to end before the installed application moves ends the verification of the copy,
  and writing the copy through to the disk begins;
- the installed application moving to `.Brindlewick.backup.*` begins the two moves, and the copy moving into its place
  begins the verification in place;
- the last spctl of all to end finishes that, and the clean-up begins;
- starting /usr/bin/open ends the clean-up. The record of the result and the end of the program follow.

The end of the copy leaves no mark that does not occur for every file as well. But the copy gives the folder that it
created its final mode and times last of all, and inotify, which does not slow anything down, reports that change of
attributes to whoever watches the parent folder. Both report on the system's clock.
"""

import ctypes
import os
import re
import struct
import subprocess
import threading
import time

PHASES = ("checks before the wait", "checks after the wait", "copy", "verification of the copy", "flush to the disk",
          "moves", "verification in place", "clean-up", "relaunch and record")
CALLS = "execve,kill,mkdirat,renameat2"
LINE = re.compile(r"^(\d+) +(\d+\.\d+) (.*)$")
ATTRIBUTES_CHANGED = 0x4
INCOMING = ".Brindlewick.incoming."


class FolderWatch:
    """When the attributes of items of a folder changed: pairs of a time and a name."""

    def __init__(self, folder):
        system = ctypes.CDLL(None, use_errno=True)
        self.descriptor = system.inotify_init()
        if self.descriptor < 0 or system.inotify_add_watch(self.descriptor, os.fsencode(folder), ATTRIBUTES_CHANGED) < 0:
            raise OSError(ctypes.get_errno(), "cannot watch " + folder)
        self.folder, self.changes = folder, []
        self.thread = threading.Thread(target=self.collect)
        self.thread.start()

    def collect(self):
        while True:
            events = os.read(self.descriptor, 65_536)
            now = time.time()
            while events:
                length = struct.unpack_from("iIII", events)[3]
                name = events[16:16 + length].rstrip(b"\0").decode()
                if name == "end of the watch":
                    return
                self.changes.append((now, name))
                events = events[16 + length:]

    def finish(self):
        marker = os.path.join(self.folder, "end of the watch")
        with open(marker, "w"):
            os.chmod(marker, 0o600)
        self.thread.join()
        os.close(self.descriptor)
        os.remove(marker)
        return self.changes


class Trace:
    """The lines of strace: processes by number, with a time and a call or an end."""

    def __init__(self, path):
        with open(path) as file:
            lines = [LINE.match(line).groups() for line in file]
        self.lines = [(process, float(when), what) for process, when, what in lines]

    def times(self, pattern):
        return [when for _, when, what in self.lines if re.search(pattern, what)]

    def ends(self, tool):
        """When the processes that ran a tool ended."""
        runners = {process for process, _, what in self.lines if what.startswith('execve("%s"' % tool)}
        return [when for process, when, what in self.lines if process in runners and what.startswith("+++ exited with 0")]


def only(times):
    assert len(times) == 1, times
    return times[0]


def borders(trace, changes):
    """Where each phase begins, and where the last ends."""
    created = only(trace.times(r"mkdirat\(.*\"\.Brindlewick\.incoming"))
    aside = only(trace.times(r'renameat2\(.*Brindlewick\.app", .*"[^"]*\.Brindlewick\.backup'))
    into_place = only(trace.times(r'renameat2\(AT_FDCWD, "[^"]*\.Brindlewick\.incoming[^"]*", AT_FDCWD, "[^"]*/Brindlewick\.app"'))
    judged = trace.ends("/usr/sbin/spctl")
    assert len(judged) == 4, judged  # the candidate twice, the copy, and the copy in its place
    copied = max(when for when, name in changes if name.startswith(INCOMING) and when < judged[2])
    found = [trace.lines[0][1], only(trace.times(r"kill\(\d+, 0\)")), created, copied, judged[2], aside, into_place,
             judged[3], only(trace.times(r'execve\("/usr/bin/open"')), trace.ends(trace_subject(trace))[0]]
    assert found == sorted(found), found
    return found


def trace_subject(trace):
    return re.match(r'execve\("([^"]*)"', trace.lines[0][2]).group(1)


def apply_in_phases(folder, scratch, command):
    """Runs apply-install, which installs into `folder`. Answers its phases in seconds."""
    report = os.path.join(scratch, "trace")
    watch = FolderWatch(folder)
    try:
        subprocess.run(["strace", "-f", "--seccomp-bpf", "-ttt", "-s", "4096", "-e", "trace=" + CALLS, "-e", "signal=none",
                        "-o", report, *command], check=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
    finally:
        changes = watch.finish()
    found = borders(Trace(report), changes)
    phases = [end - start for start, end in zip(found, found[1:])]
    assert len(phases) == len(PHASES) and abs(sum(phases) - (found[-1] - found[0])) < 1e-4, found
    return phases
