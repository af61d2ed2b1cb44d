#!/usr/bin/env python3
"""A second installer, and an application that is in use."""

from machine import RELEASE, Disk
from processes import has_ended, wait_until
from screen import text
from window_test_case import RESUMED, WindowTestCase, in_languages, installed, main


class OneAtATimeTest(WindowTestCase):
    def test_a_second_installer_says_so_and_quits(self):
        for first_language, second_language in (("en-US", "ja-JP"), ("de-DE", "en-US")):
            with self.subTest(language=second_language):
                machine = self.machine()
                machine.serve()
                machine.hold_server()
                first = machine.start(first_language)
                first.screen.wait_for(text(first_language, "checking"))
                second = machine.start(second_language)
                second.screen.wait_for(text(second_language, "generic_error"))
                wait_until(lambda: self.desktop.is_in_front(second.process.pid), "the alert is in front")
                self.assertFalse(self.desktop.is_in_front(first.process.pid))
                self.assertEqual(len(self.desktop.windows(second.process.pid)), 1)
                second.press_return()
                self.wait_for_end(second)
                self.assertEqual(machine.events(), [["installer_opened"]])
                self.assertEqual(first.screen.status(), [text(first_language, "checking")])

                machine.continue_server()
                self.wait_for_end(first)
                self.assertEqual(machine.events(), [installed(RELEASE)])
                self.assertEqual(machine.disk(), Disk(version=RELEASE, stagings=[("installed", [])]))
                self.doCleanups()

    @in_languages("en-US", "de-DE")
    def test_a_running_application_is_not_replaced_until_it_has_quit(self, language):
        machine = self.machine()
        machine.serve("--installed", "1.3.0")
        machine.mark_pending()
        application = machine.start_application()
        installer = machine.start(language)
        self.assert_error(installer, text(language, "running_error"), text(language, "retry"))
        blocked = [*installed(RELEASE, first=RESUMED)[:6], "installer_failed"]
        self.assertEqual(blocked[-2], f"install_started {RELEASE}")
        self.assertEqual(machine.events(), [blocked])
        self.assertEqual(machine.disk(), Disk(version="1.3.0", cached=machine.image().stat().st_size, pending=True))
        self.assertFalse(has_ended(application.pid))

        installer.press_return()  # too early
        wait_until(lambda: machine.events()[0].count("installer_failed") == 2, "it fails again")
        self.assert_error(installer, text(language, "running_error"), text(language, "retry"))
        application.kill()
        application.wait()
        installer.press_return()
        self.wait_for_end(installer)
        self.assertEqual(machine.events(), [installed(RELEASE, first=[*blocked, *blocked[2:]])])
        self.assertEqual(machine.disk(), Disk(version=RELEASE, stagings=[("installed", ["previous.app"])]))
        self.assertEqual([name for name, _, _ in machine.traffic()].count(machine.image().name), 1)
        self.assert_opened(machine)


if __name__ == "__main__":
    main()
