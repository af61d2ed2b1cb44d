#!/usr/bin/env python3
"""An installer whose user may not write to Applications. As root, all of this goes on as an ordinary user."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

from machine import INSTALLER, RELEASE, Disk, make_release
from screen import text
from window_test_case import NOT_RUN, WindowTestCase, in_languages, installed, main

NOBODY = 65534
FAILED = ["installer_opened", f"manifest_resolved {RELEASE}", "installer_failed"]


class UnwritableFolderTest(WindowTestCase):
    release = None

    @in_languages("en-US", "de-DE")
    def test_says_so_before_anything_is_downloaded(self, language):
        machine = self.machine_without_release()
        machine.release = self.release
        machine.serve()
        machine.applications.chmod(0o555)
        installer = machine.start(language)
        self.assert_error(installer, text(language, "permission_error"), text(language, "retry"))
        self.assertEqual(machine.events(), [FAILED])
        self.assertEqual(machine.disk(), Disk(pending=True))
        self.assertEqual([name for name, _, _ in machine.traffic()], [machine.feed.name])

        machine.applications.chmod(0o755)
        installer.press_return()
        self.wait_for_end(installer)
        self.assertEqual(machine.events(), [installed(RELEASE, first=FAILED)])
        self.assertEqual(machine.disk(), Disk(version=RELEASE, stagings=[("installed", [])]))
        self.assert_opened(machine)


def go_on_as_ordinary_user(release):
    """The same program again. The keys that sign a release are readable for the owner of the build alone."""
    command = ["setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups"]
    if subprocess.run([*command, "test", "-r", __file__, "-a", "-x", INSTALLER], check=False).returncode != 0:
        shutil.rmtree(release)
        print("not run: an ordinary user cannot reach", INSTALLER)
        sys.exit(NOT_RUN)
    for path in (release, *release.rglob("*")):
        os.chown(path, NOBODY, NOBODY)
    os.execvp(command[0], [*command, sys.executable, "-B", *sys.argv, release])


if __name__ == "__main__":
    is_second_time = len(sys.argv) > 5
    UnwritableFolderTest.release = pathlib.Path(sys.argv[5] if is_second_time else tempfile.mkdtemp(prefix="release-"))
    try:
        if not is_second_time:
            make_release(UnwritableFolderTest.release)
            if os.geteuid() == 0:
                go_on_as_ordinary_user(UnwritableFolderTest.release)
        main()
    finally:
        shutil.rmtree(UnwritableFolderTest.release, ignore_errors=True)
