#!/usr/bin/env python3
"""Volumes that are too small. Not run where nobody may mount one."""

import os
import subprocess

from machine import RELEASE, Disk, writing_end
from processes import wait_until
from screen import text
from window_test_case import WindowTestCase, in_languages, installed, main

# A small volume at $0, which gets larger once somebody has written to the pipe $1; then the rest as a command.
WITH_SMALL_VOLUME = """
mount -t tmpfs -o size=64m,mode=0755 small "$0" || exit
pipe=$1
shift
{ read -r _ <"$pipe"; mount -o remount,size=2g "$0"; } &
exec "$@"
"""
FAILED = ["installer_opened", f"manifest_resolved {RELEASE}", "installer_failed"]


def own_mounts():
    """The command that has mounts of its own here; absent where that is denied."""
    for command in (["unshare", "--mount"], ["unshare", "--user", "--map-current-user", "--keep-caps", "--mount"]):
        attempt = [*command, "mount", "-t", "tmpfs", "small", "/mnt"]
        if subprocess.run(attempt, stderr=subprocess.DEVNULL, check=False).returncode == 0:
            return command
    return None


def size_of(volume):
    status = os.statvfs(volume)
    return status.f_blocks * status.f_frsize


class NoSpaceTest(WindowTestCase):
    def assert_needs_space(self, language, folder):
        unshare = own_mounts()
        if not unshare:
            self.skipTest("nobody may mount a volume here")
        machine = self.machine()
        machine.serve()
        room = machine.place / "room"
        os.mkfifo(room)
        volume = machine.root / folder
        installer = machine.start(language, before=[
            *unshare, "sh", "-c", WITH_SMALL_VOLUME, volume, room, "setpriv", "--pdeathsig", "KILL"])
        self.assert_error(installer, text(language, "disk_error"), text(language, "retry"))
        machine.look_as(installer.process.pid)
        self.assertEqual(machine.events(), [FAILED])
        self.assertEqual(machine.disk(), Disk(pending=True))
        self.assertEqual([name for name, _, _ in machine.traffic()], [machine.feed.name])

        small = size_of(machine.root / folder)
        os.close(wait_until(lambda: writing_end(room), "somebody waits for room"))
        wait_until(lambda: size_of(machine.root / folder) > small, "there is room")
        installer.press_return()
        self.wait_for_end(installer)
        [application] = wait_until(machine.running_applications, "the application runs")
        machine.look_as(application)
        self.assertEqual(machine.events(), [installed(RELEASE, first=FAILED)])
        self.assertEqual(machine.disk(), Disk(version=RELEASE, stagings=[("installed", [])]))

    @in_languages("en-US", "ja-JP")
    def test_no_space_for_the_image(self, language):
        self.assert_needs_space(language, "home")

    @in_languages("en-US", "ar-SA")
    def test_no_space_for_the_application(self, language):
        self.assert_needs_space(language, "Applications")


if __name__ == "__main__":
    main()
