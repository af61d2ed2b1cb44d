"""The processes of a test: all of them end with it, those included that went their own way."""

import ctypes
import os
import pathlib
import signal
import subprocess
import time

PATIENCE = 120  # seconds; nothing here takes long, unless the machine does


def wait_until(condition, what):
    """Looks again and again until the condition gives something, and returns that."""
    end = time.monotonic() + PATIENCE
    while not (found := condition()):
        if time.monotonic() > end:
            raise AssertionError(f"waited in vain until {what}")
        time.sleep(0.05)
    return found


def start(*command, at_our_death="KILL", **options):
    """A child that the kernel sends a signal when this process dies. Its process is the command's own."""
    return subprocess.Popen(["setpriv", "--pdeathsig", at_our_death, *map(str, command)], **options)


def adopt_orphans():
    """From here on, whatever a child leaves behind becomes a child of this process."""
    set_child_subreaper = 36
    if ctypes.CDLL(None, use_errno=True).prctl(set_child_subreaper, 1, 0, 0, 0) != 0:
        raise OSError(ctypes.get_errno(), "orphans cannot be adopted")


def kill(process):
    try:
        os.kill(process, signal.SIGKILL)
    except ProcessLookupError:
        pass  # it has ended


def end_all():
    """Kills all children, and theirs as they become ours."""
    while True:
        for child in children_of(os.getpid()):
            kill(child)
        try:
            os.waitpid(-1, 0)
        except ChildProcessError:
            return


def children_of(process):
    return [child for child in running() if state_and_parent(child)[1] == process]


def running():
    return [int(name) for name in os.listdir("/proc") if name.isdigit()]


def state_and_parent(process):
    try:
        stat = pathlib.Path(f"/proc/{process}/stat").read_text()
    except OSError:
        return None, None  # it is gone
    state, parent = stat.rpartition(")")[2].split()[:2]
    return state, int(parent)


def executable_of(process):
    try:
        return os.readlink(f"/proc/{process}/exe")
    except OSError:
        return ""  # it has ended, or is not ours to look at


def has_ended(process):
    """True of one that nobody has waited for, too."""
    return state_and_parent(process)[0] in (None, "Z")
