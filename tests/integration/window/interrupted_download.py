#!/usr/bin/env python3
"""Downloads that are cut off, by the user, by a kill or by the network, and go on later."""

from machine import RELEASE, Disk, Installer
from processes import wait_until
from screen import percentage, text
from window_test_case import RESUMED, WindowTestCase, in_languages, installed, main

AT_ONCE = 1_000_000  # bytes of an answer that come before the rest crawls
STARTED = [f"manifest_resolved {RELEASE}", f"payload_started {RELEASE}"]


class InterruptedDownloadTest(WindowTestCase):
    def downloading(self, language):
        """A machine and its installer, which has got some of the image and waits for the rest."""
        machine = self.machine("--payload", "3000000")
        self.assertLess(AT_ONCE, machine.image().stat().st_size)
        self.assertLess(machine.image().stat().st_size, 2 * AT_ONCE)
        machine.serve("--crawl-after", str(AT_ONCE))
        installer = machine.start(language)
        wait_until(lambda: machine.cached() >= AT_ONCE, "some of the image is there")
        self.assertEqual(machine.disk(), Disk(cached=machine.cached(), pending=True))
        return machine, installer

    def assert_goes_on(self, machine, language, kept):
        """The next installer fetches the rest, and nothing but that."""
        self.wait_for_end(machine.start(language))
        self.assertEqual(machine.events()[1], installed(RELEASE, first=RESUMED))
        self.assertEqual(machine.disk(), Disk(version=RELEASE, stagings=[("installed", [])]))
        self.assertEqual(machine.traffic()[-1], (machine.image().name, 206, machine.image().stat().st_size - kept))
        self.assert_opened(machine)

    @in_languages("en-US", "ar-SA")
    def test_how_far_it_is_can_be_read(self, language):
        machine, installer = self.downloading(language)
        installer.screen.wait_for(text(language, "downloading"))

        def label_tells_the_value():
            labels, value = installer.screen.labels(), installer.screen.progress()
            return value and len(labels) == 2 and percentage(labels[1]) == round(value, 1)
        wait_until(label_tells_the_value, "bar and label tell the same")
        share = 100 * AT_ONCE / machine.image().stat().st_size
        wait_until(lambda: installer.screen.progress() >= share - 1, "they tell how much is there")
        self.assertEqual(installer.screen.buttons(), [])

    def assert_can_be_asked_to_quit(self, ask, languages):
        machine, installer = self.downloading(languages[0])
        installer.screen.wait_for(text(languages[0], "downloading"))
        ask(installer)
        self.wait_for_end(installer)
        self.assertEqual(machine.events(), [["installer_opened", *STARTED, "cancelled"]])
        kept = machine.cached()
        self.assertGreaterEqual(kept, AT_ONCE)
        self.assertEqual(machine.disk(), Disk(cached=kept, pending=True))
        self.assertEqual(machine.running_applications(), [])
        self.assert_goes_on(machine, languages[1], kept)

    def test_closed_by_its_window(self):
        self.assert_can_be_asked_to_quit(Installer.close_window, ("en-US", "de-DE"))

    def test_ended_by_a_signal(self):
        self.assert_can_be_asked_to_quit(Installer.terminate, ("ja-JP", "en-US"))

    def test_killed(self):
        machine, installer = self.downloading("en-US")
        installer.kill()
        self.assertEqual(machine.events(), [["installer_opened", *STARTED]])
        kept = machine.cached()
        self.assertEqual(machine.disk(), Disk(cached=kept, pending=True))
        self.assert_goes_on(machine, "ja-JP", kept)

    @in_languages("en-US", "de-DE")
    def test_no_server_at_first(self, language):
        machine = self.machine()
        machine.serve()
        machine.stop_serving()
        installer = machine.start(language)
        self.assert_error(installer, text(language, "network_error"), text(language, "retry"))
        self.assertEqual(machine.events(), [["installer_opened", "installer_failed"]])
        self.assertEqual(machine.disk(), Disk(pending=True))
        machine.serve()
        installer.press_return()
        self.wait_for_end(installer)
        self.assertEqual(machine.events(), [installed(RELEASE, first=("installer_opened", "installer_failed"))])
        self.assertEqual(machine.disk(), Disk(version=RELEASE, stagings=[("installed", [])]))

    @in_languages("en-US", "ar-SA")
    def test_the_server_goes_and_comes_back(self, language):
        machine, installer = self.downloading(language)
        machine.stop_serving()
        self.assert_error(installer, text(language, "network_error"), text(language, "retry"))
        failed = ["installer_opened", *STARTED, "installer_failed"]
        self.assertEqual(machine.events(), [failed])
        kept = machine.cached()
        self.assertEqual(machine.disk(), Disk(cached=kept, pending=True))
        machine.serve()
        installer.screen.press(text(language, "retry"))
        self.wait_for_end(installer)
        self.assertEqual(machine.events(), [installed(RELEASE, first=failed)])
        self.assertEqual(machine.traffic()[-1], (machine.image().name, 206, machine.image().stat().st_size - kept))


if __name__ == "__main__":
    main()
