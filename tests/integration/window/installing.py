#!/usr/bin/env python3
"""The installer on a fresh machine, on one that is up to date, and on one with an older application."""

from desktop import ShownWindows
from machine import RELEASE, Disk, version_of
from processes import wait_until
from screen import text
from window_test_case import RESUMED, WindowTestCase, in_languages, installed, main

OLDER = "1.3.0"


class InstallingTest(WindowTestCase):
    @in_languages("en-US", "ja-JP")
    def test_a_fresh_machine(self, language):
        machine = self.machine()
        machine.serve()
        machine.hold_server()
        shown = ShownWindows()
        self.addCleanup(shown.close)
        installer = machine.start(language)
        installer.screen.wait_for(text(language, "checking"))
        self.assertEqual(self.desktop.titles(shown.applications()), ["Kavio Installer"])
        self.assertEqual(installer.screen.buttons(), [])
        self.assertEqual(machine.events(), [["installer_opened"]])

        spctl, ditto = machine.tool("usr/sbin/spctl"), machine.tool("usr/bin/ditto")
        machine.continue_server()
        spctl.wait()
        installer.screen.wait_for(text(language, "verifying"))
        spctl.let_go()
        ditto.wait()
        installer.screen.wait_for(text(language, "installing"))
        self.assertEqual(machine.disk(), Disk(
            stagings=[("copying", [])], cached=machine.image().stat().st_size, pending=True, volumes=["Kavio"]))
        ditto.let_go()
        spctl.let_go()
        spctl.let_go()
        self.wait_for_end(installer)
        self.assertEqual(machine.events(), [installed(RELEASE)])
        self.assertEqual(machine.disk(), Disk(version=RELEASE, stagings=[("installed", [])]))
        self.assert_opened(machine)
        self.assertEqual(machine.traffic(), [
            ("latest-mac.yml", 200, machine.feed.stat().st_size),
            (machine.image().name, 200, machine.image().stat().st_size)])

    def test_no_window_is_ever_shown_where_the_application_is_up_to_date(self):
        machine = self.machine()
        machine.serve("--installed", RELEASE)
        shown = ShownWindows()
        self.addCleanup(shown.close)
        self.wait_for_end(machine.start("en-US"))
        self.assertEqual(machine.events(), [["installer_opened", "existing_app_opened"]])
        self.assertEqual(machine.disk(), Disk(version=RELEASE))
        self.assertEqual(machine.traffic(), [])
        [application] = wait_until(machine.running_applications, "the application runs")
        wait_until(shown.applications, "the application's window is shown")
        self.assertEqual(self.desktop.titles(shown.applications()), ["Kavio"])

    @in_languages("en-US", "ar-SA")
    def test_an_older_application_and_the_mark_of_an_interrupted_run(self, language):
        machine = self.machine()
        machine.serve("--installed", OLDER)
        machine.mark_pending()
        spctl = machine.tool("usr/sbin/spctl")
        installer = machine.start(language)
        spctl.wait()
        installer.screen.wait_for(text(language, "verifying"))
        spctl.put_back()
        spctl.let_go()
        self.wait_for_end(installer)
        self.assert_upgraded(machine)
        self.assertEqual(machine.events(), [installed(RELEASE, first=RESUMED)])

    def test_an_older_application_and_part_of_an_image(self):
        machine = self.machine("--payload", "3000000")
        machine.serve("--installed", OLDER, "--crawl-after", "1000000")
        machine.mark_pending()
        interrupted = machine.start("de-DE")
        interrupted.screen.wait_for(text("de-DE", "downloading"))
        interrupted.kill()
        kept = machine.cached()
        machine.unmark_pending()
        self.assertEqual(machine.disk(), Disk(version=OLDER, cached=kept))
        self.wait_for_end(machine.start("en-US"))
        self.assert_upgraded(machine)
        self.assertEqual(machine.events()[1], installed(RELEASE, first=RESUMED))
        self.assertEqual(machine.traffic()[-1], (machine.image().name, 206, machine.image().stat().st_size - kept))

    def assert_upgraded(self, machine):
        self.assertEqual(machine.disk(), Disk(version=RELEASE, stagings=[("installed", ["previous.app"])]))
        [staging] = machine.applications.glob(".kavio-install-*")
        self.assertEqual(version_of(staging / "previous.app"), OLDER)
        self.assert_opened(machine)

    def test_an_older_application_is_opened_where_no_run_was_interrupted(self):
        machine = self.machine()
        machine.serve("--installed", OLDER)
        self.wait_for_end(machine.start("en-US"))
        self.assertEqual(machine.events(), [["installer_opened", "existing_app_opened"]])
        self.assertEqual(machine.disk(), Disk(version=OLDER))
        self.assertEqual(machine.traffic(), [])
        self.assert_opened(machine)


if __name__ == "__main__":
    main()
