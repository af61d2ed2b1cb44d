"""A machine for the installer as it ships, made by bubblewrap without privilege: the Applications folder, the volumes,
the tools at their literal places, the names of hosts, the certificate store, the home and port 443 are its own.

Whoever works on it is an ordinary user. The system beneath, read-only, is seen below HOST as well.
"""

import os
import pathlib
import shutil
import subprocess

HOST = pathlib.Path("/run/host")
USER, HOME = 1000, pathlib.Path("/home/user")
OWN_CONFIGURATION = {
    "group": f"user:x:{USER}:\n",
    "hosts": "127.0.0.1 localhost\n",
    "nsswitch.conf": "passwd: files\ngroup: files\nhosts: files\n",
    "passwd": f"user:x:{USER}:{USER}::{HOME}:/bin/sh\n",
    "resolv.conf": "",
}
SYSTEM_FOLDERS = {"bin", "sbin", "lib", "lib32", "lib64", "libx32", "var"}
# Only the namespace's own root may say from which number on ports are free for all; then it becomes the user.
BECOME_USER = """echo 443 > /proc/sys/net/ipv4/ip_unprivileged_port_start &&
exec unshare --user --map-user="$0" --map-group="$0" -- "$@"
"""


def link_entries(folder, inside, leave_out=()):
    """Links in a folder of the machine, to what the host has in its own."""
    inside.mkdir(parents=True, exist_ok=True)
    for entry in os.scandir(folder):
        place = inside / entry.name
        if entry.name in leave_out or place.is_symlink() or place.exists():
            continue
        if entry.is_symlink() and not os.readlink(entry).startswith("/"):
            place.symlink_to(os.readlink(entry))  # beside it
        else:
            place.symlink_to(f"{HOST}{folder.rstrip('/')}/{entry.name}")


class Machine:
    """In a directory, which becomes the root: what lies in it is seen by its path there."""

    def __init__(self, root, hosts, tools):
        """The hosts by name, the tools by their place on the machine and the program to put there."""
        self.root = root
        for place in ("Applications", "Volumes", "dev", "proc", "tmp", "run/host", "etc/ssl/certs", "srv"):
            (root / place).mkdir(parents=True)
        (root / HOME.relative_to("/")).mkdir(parents=True)
        for place, program in tools.items():
            target = root / place.lstrip("/")
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(program, target)
        for folder in ("bin", "sbin"):
            link_entries(f"/usr/{folder}", root / "usr" / folder)
        link_entries("/usr", root / "usr")
        for name, text in OWN_CONFIGURATION.items():
            (root / "etc" / name).write_text(text)
        with (root / "etc/hosts").open("a") as names:
            names.writelines(f"127.0.0.1 {host}\n" for host in hosts)
        link_entries("/etc/ssl", root / "etc/ssl", leave_out=("private",))
        link_entries("/etc", root / "etc")
        link_entries("/", root, leave_out={entry.name for entry in os.scandir("/")} - SYSTEM_FOLDERS)

    def command(self, command, readable=()):
        """What runs the command on the machine; it and all its processes end together. The readable directories are
        there under their own paths."""
        words = ["bwrap", "--unshare-all", "--unshare-user", "--uid", "0", "--gid", "0", "--die-with-parent"]
        words += ["--cap-add", "CAP_NET_ADMIN", "--cap-add", "CAP_SETFCAP", "--clearenv"]
        words += ["--setenv", "PATH", "/usr/bin:/usr/sbin", "--setenv", "LC_ALL", "C.UTF-8"]
        words += ["--bind", self.root, "/", "--ro-bind", "/", HOST, "--proc", "/proc", "--dev", "/dev"]
        for directory in map(pathlib.Path, readable):
            if not directory.is_relative_to("/usr") and directory.parts[1] not in SYSTEM_FOLDERS:
                words += ["--ro-bind", directory, directory]
        words += ["--chdir", "/", "sh", "-c", BECOME_USER, USER, *command]
        return [str(word) for word in words]


def refusal(machine):
    """Why such a machine cannot be made here; empty when it can."""
    answer = subprocess.run(machine.command(["true"]), capture_output=True, text=True, check=False)
    return "" if answer.returncode == 0 else answer.stderr.strip() or f"status {answer.returncode}"
