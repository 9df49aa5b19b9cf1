"""Commands against the tools that do the same work, timed in turns.

Each pair runs after one run that warms the caches; the table shows the medians and their ratio, and the peak memory of
ours.
"""

import os
import pathlib
import statistics
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests" / "end_to_end"))

ROUNDS = int(os.environ.get("BENCH_ROUNDS", "7"))
MIB = 1 << 20


def timed(*commands):
    """Seconds that commands take one after the other."""
    started = time.perf_counter()
    for command in commands:
        subprocess.run(command, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    return time.perf_counter() - started


def peak_mib(*command):
    """The peak resident memory of a command, measured from a small program: a child's peak begins with that of the
    process that started it."""
    run = subprocess.run(["/usr/bin/time", "-f", "%M", "-q", *command], stdin=subprocess.DEVNULL,
                         stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, check=False)
    return int(run.stderr.split()[-1]) / 1024


class Comparison:
    """Rows of a table: a name, ours, the peers', and the ratio that is aimed for, if there is one."""

    def __init__(self, subject):
        print("  %-44s %10s %10s   %s" % ("", subject, "peers", "ratio of the pairs        peak memory"))

    def compare(self, name, ours, peers, target, prepare=lambda: None, memory=None):
        rounds = []
        for number in range(ROUNDS + 1):
            prepare()
            mine = timed(ours)
            prepare()
            theirs = timed(*peers)
            if number > 0:
                rounds.append((mine, theirs))
        prepare()
        peak = (memory or (lambda: peak_mib(*ours)))()
        mine, theirs = (statistics.median(column) for column in zip(*rounds))
        ratio = statistics.median(a / b for a, b in rounds)
        aim = "(at most %.2f)" % target if target else ""
        print("  %-44s %7.1f ms %7.1f ms   %5.2f %-14s   %5.1f MiB" %
              (name, mine * 1000, theirs * 1000, ratio, aim, peak), flush=True)
        return mine
