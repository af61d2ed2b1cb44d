"""What tests of the installer in its window begin with.

Usage of each: SERVE_RELEASE REHEARSE_INSTALLER MAKE_SAMPLE_RELEASE CONFIGURATION
"""

import functools
import signal
import sys
import unittest

import processes
import screen
from desktop import Desktop
from machine import Machine, make_release
from processes import wait_until

NOT_RUN = 77  # the exit status by which CTest knows it

OPENED = ["payload_cache_removed", "app_opened"]


def installed(version, *, first=("installer_opened",)):
    """The events of a run that comes to its end."""
    steps = ["manifest_resolved", "payload_started", "payload_verified", "install_started", "install_succeeded"]
    return [*first, *(f"{step} {version}" for step in steps), *OPENED]


RESUMED = ("installer_opened", "pending_install_resumed")


def in_languages(*languages):
    """Runs a test once in each language, every time on a machine of its own."""
    def decorate(test):
        @functools.wraps(test)
        def run(self):
            for language in languages:
                with self.subTest(language=language):
                    try:
                        test(self, language)
                    finally:
                        self.doCleanups()
        return run
    return decorate


class WindowTestCase(unittest.TestCase):
    desktop = None

    def machine(self, *release_options):
        """One with a release that nobody serves yet."""
        machine = self.machine_without_release()
        make_release(machine.release, *release_options)
        return machine

    def machine_without_release(self):
        machine = Machine(self.desktop)
        self.addCleanup(machine.close)
        return machine

    def wait_for_end(self, installer):
        self.assertEqual(installer.wait(), 0)

    def assert_error(self, installer, wanted, retry):
        """The look of an error: the sentence and the button, no bar and no percentage."""
        installer.screen.wait_for(wanted)
        self.assertEqual(installer.screen.labels(), [wanted])
        self.assertEqual(installer.screen.buttons(), [retry])
        self.assertIsNone(installer.screen.progress())

    def assert_opened(self, machine):
        wait_until(machine.running_applications, "the application runs")


def main():
    """Runs the tests of the program, on one desktop."""
    processes.adopt_orphans()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # by way of the clean-ups
    desktop = WindowTestCase.desktop = Desktop()
    try:
        desktop.open()
        screen.connect()
        result = unittest.main(module="__main__", argv=sys.argv[:1], verbosity=2, exit=False).result
        if not result.wasSuccessful():
            print("What the programs of the desktop have said:", desktop.errors.read_text(), file=sys.stderr)
    finally:
        desktop.close()
    if not result.wasSuccessful():
        sys.exit(1)
    if len(result.skipped) == result.testsRun:
        sys.exit(NOT_RUN)
