#!/usr/bin/env python3
"""Releases that the installer refuses: altered, foreign, malformed, or for other machines."""

import re

from machine import RELEASE, Disk
from screen import text
from window_test_case import WindowTestCase, in_languages, installed, main

REFUSED_FEED = ["installer_opened", "installer_failed"]
REFUSED_IMAGE = ["installer_opened", *installed(RELEASE)[1:3], "installer_failed"]
REFUSED_APPLICATION = ["installer_opened", *installed(RELEASE)[1:5], "installer_failed"]


class RefusedReleasesTest(WindowTestCase):
    def assert_refused(self, machine, language, message, events, *options):
        """Says so and offers to retry; nothing is installed, and the window can be closed. Returns the disk."""
        installer = machine.start(language, *options)
        self.assert_error(installer, text(language, message), text(language, "retry"))
        self.assertEqual(machine.events(), [events])
        self.assertEqual(machine.disk(), Disk(cached=machine.cached(), pending=True))
        installer.close_window()
        self.wait_for_end(installer)
        self.assertEqual(machine.events(), [events])
        self.assertEqual(machine.running_applications(), [])

    @in_languages("en-US", "ja-JP")
    def test_an_image_with_another_hash(self, language):
        machine = self.machine()
        image = machine.image()
        content = bytearray(image.read_bytes())
        content[len(content) // 2] ^= 1
        image.write_bytes(content)
        machine.serve()
        self.assert_refused(machine, language, "verification_error", REFUSED_IMAGE)
        self.assertEqual(machine.cached(), 0)
        self.assertEqual(machine.traffic()[1:], [(image.name, 200, len(content))])

    def test_an_application_that_another_has_signed(self):
        for signer, language in (("other-team", "en-US"), ("other-team", "de-DE"), ("other-root", "ar-SA"),
                                 ("nobody", "en-US")):
            with self.subTest(signer=signer, language=language):
                machine = self.machine("--signed-by", signer)
                machine.serve()
                self.assert_refused(machine, language, "verification_error", REFUSED_APPLICATION)
                self.assertEqual(machine.cached(), machine.image().stat().st_size)
                self.doCleanups()

    def test_a_malformed_feed(self):
        for content, message, language in (
                ("version: 1.4.2\nfiles: []\n", "generic_error", "en-US"),
                ("<html><body>Sign in to this network</body></html>\n", "generic_error", "de-DE"),
                ("version: 1.4.2\n" + "#" * 131_072, "network_error", "ja-JP"),
                ("", "generic_error", "en-US")):
            with self.subTest(content=content[:30]):
                machine = self.machine()
                machine.feed.write_text(content)
                machine.serve()
                self.assert_refused(machine, language, message, REFUSED_FEED)
                self.assertEqual([status for _, status, _ in machine.traffic()], [200])
                self.doCleanups()

    def test_a_feed_that_is_mended_meanwhile(self):
        machine = self.machine()
        feed = machine.feed.read_bytes()
        machine.feed.write_bytes(feed[:len(feed) // 2])
        machine.serve()
        installer = machine.start("ar-SA")
        self.assert_error(installer, text("ar-SA", "verification_error"), text("ar-SA", "retry"))
        machine.feed.write_bytes(feed)
        installer.press_return()
        self.wait_for_end(installer)
        self.assertEqual(machine.events(), [installed(RELEASE, first=REFUSED_FEED)])
        self.assertEqual(machine.disk(), Disk(version=RELEASE, stagings=[("installed", [])]))

    def test_a_release_without_an_image_for_this_architecture(self):
        for own, other_image, language in (("arm64", r"Kavio-[\d.]+[.]dmg", "en-US"),
                                           ("x64", r"Kavio-[\d.]+-arm64[.]dmg", "de-DE")):
            with self.subTest(architecture=own):
                machine = self.machine()
                head, *items = machine.feed.read_text().split("  - ")
                machine.feed.write_text(head + "".join("  - " + item for item in items if re.search(other_image, item)))
                machine.serve()
                self.assert_refused(machine, language, "unsupported_error", REFUSED_FEED, "--architecture", own)
                self.doCleanups()

    @in_languages("en-US", "ja-JP")
    def test_a_system_that_is_too_old_for_every_release(self, language):
        machine = self.machine()
        machine.serve()
        events = ["installer_opened", f"manifest_resolved {RELEASE}", "installer_failed"]
        self.assert_refused(machine, language, "unsupported_error", events, "--system-version", "11.7.10")
        self.assertEqual([name for name, _, _ in machine.traffic()], [machine.feed.name])

    @in_languages("en-US", "ar-SA")
    def test_a_system_that_is_too_old_for_this_application(self, language):
        machine = self.machine("--minimum-system", "14.1")
        machine.serve()
        self.assert_refused(
            machine, language, "unsupported_error", REFUSED_APPLICATION, "--system-version", "14.0.9")
        self.wait_for_end(machine.start(language, "--system-version", "14.1.0"))
        self.assertEqual(machine.disk(), Disk(version=RELEASE, stagings=[("installed", [])]))


if __name__ == "__main__":
    main()
