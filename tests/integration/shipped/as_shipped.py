"""The production executable itself, from its own disk image, on a machine of its own (namespace_machine.py).

Usage: as_shipped.py TEST CONFIGURATION --build DIRECTORY --installer DIRECTORY and --NAME PROGRAM for each of PROGRAMS

Here the machine is made; what happens on it says the test, a script beside this one. Where no machine can be made, the test
counts as not run.
"""

import argparse
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile

import namespace_machine

NOT_RUN = 77
PROGRAMS = ("serve-release", "make-sample-release", "make-sample-image", "hdiutil", "ditto", "spctl", "codesign-verify")
TESTS = pathlib.Path(__file__).resolve().parent


def arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument("test")
    parser.add_argument("configuration", type=pathlib.Path)
    for directory in ("build", "installer"):
        parser.add_argument("--" + directory, type=pathlib.Path, required=True)
    for program in PROGRAMS:
        parser.add_argument("--" + program, required=True)
    return parser.parse_args()


def make_installer_image(given, place):
    """The disk image that a user opens: the installer's bundle, as it was built."""
    contents = place / "volume/Kavio Installer.app/Contents"
    shutil.copytree(given.installer, contents)
    image = place / "root/srv/installer.dmg"
    subprocess.run(
        [given.make_sample_image, image, "--content", place / "volume", "--volume", "Kavio Installer"], check=True)


def run(given, place):
    hosts = json.loads(given.configuration.read_text())["allowedHosts"]
    tools = {"/usr/bin/hdiutil": given.hdiutil, "/usr/bin/ditto": given.ditto, "/usr/sbin/spctl": given.spctl}
    own = namespace_machine.Machine(place / "root", hosts, tools)
    refusal = namespace_machine.refusal(own)
    if refusal:
        print(f"not run, since no namespaces can be made here: {refusal}")
        return NOT_RUN
    make_installer_image(given, place)
    subprocess.run([given.make_sample_release, place / "root/srv/release", "--payload", "8000000"], check=True)
    inside = [sys.executable, "-B", TESTS / given.test, given.serve_release, given.codesign_verify]
    # The tests of the window lie beside these.
    command = own.command(inside, readable=[given.build, TESTS.parents[2]])
    return subprocess.run(command, check=False).returncode


if __name__ == "__main__":
    with tempfile.TemporaryDirectory(prefix="shipped-", ignore_cleanup_errors=True) as directory:
        sys.exit(run(arguments(), pathlib.Path(directory).resolve()))
