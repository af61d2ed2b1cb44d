#!/usr/bin/env python3
"""Installations that are killed, and installers that must not be closed in the middle of one."""

from machine import RELEASE, Disk
from processes import has_ended, wait_until
from screen import text
from window_test_case import RESUMED, WindowTestCase, in_languages, installed, main

OLDER = "1.3.0"
WHOLE = installed(RELEASE, first=RESUMED)
KILLED = WHOLE[:WHOLE.index(f"install_started {RELEASE}") + 1]
SPCTL, DITTO = "usr/sbin/spctl", "usr/bin/ditto"


class InterruptedInstallationTest(WindowTestCase):
    def upgrading(self):
        machine = self.machine()
        machine.serve("--installed", OLDER)
        machine.mark_pending()
        return machine

    def kill_at(self, machine, name, run, language):
        """Kills an installer when it has started the tool so many times; the tool itself goes on to its end."""
        tool = machine.tool(name)
        installer = machine.start(language)
        for _ in range(run - 1):
            tool.let_go()
        tool.wait()
        installer.screen.wait_for(text(language, "verifying" if (name, run) == (SPCTL, 1) else "installing"))
        installer.kill()
        process = tool.let_go()
        wait_until(lambda: has_ended(process), "the tool has ended")
        tool.put_back()
        self.assertEqual(machine.events(), [KILLED])

    def assert_recovers(self, machine, events, disk):
        self.wait_for_end(machine.start("en-US"))
        self.assertEqual(machine.events()[1:], [events])
        self.assertEqual(machine.disk(), disk)
        self.assertEqual([name for name, _, _ in machine.traffic()].count(machine.image().name), 1)
        self.assert_opened(machine)

    def test_killed_before_the_old_application_is_touched(self):
        for name, run, language, stagings in (
                (SPCTL, 1, "en-US", []),
                (DITTO, 1, "de-DE", [("copying", ["Kavio.app"])]),
                (SPCTL, 2, "ja-JP", [("copying", ["Kavio.app"])])):
            with self.subTest(tool=name, run=run):
                machine = self.upgrading()
                self.kill_at(machine, name, run, language)
                self.assertEqual(machine.disk(), Disk(
                    version=OLDER, stagings=stagings, cached=machine.image().stat().st_size, pending=True,
                    volumes=["Kavio"]))
                self.assert_recovers(machine, WHOLE, Disk(
                    version=RELEASE, stagings=[("installed", ["previous.app"])]))
                self.doCleanups()

    def test_killed_once_the_new_application_is_in_place(self):
        machine = self.upgrading()
        self.kill_at(machine, SPCTL, 3, "ar-SA")
        left = Disk(version=RELEASE, stagings=[("installed", ["previous.app"])],
                    cached=machine.image().stat().st_size, pending=True, volumes=["Kavio"])
        self.assertEqual(machine.disk(), left)
        left.cached, left.pending = 0, False
        self.assert_recovers(machine, [*RESUMED, f"manifest_resolved {RELEASE}", "app_opened"], left)

    @in_languages("en-US", "ar-SA")
    def test_cannot_be_closed_while_it_installs(self, language):
        machine = self.upgrading()
        ditto = machine.tool(DITTO)
        installer = machine.start(language)
        ditto.wait()
        installer.screen.wait_for(text(language, "installing"))
        for bells, ask in enumerate((installer.close_window, installer.terminate), self.desktop.count_bells() + 1):
            ask()
            wait_until(lambda: self.desktop.count_bells() == bells, "it beeps")
        self.assertEqual(len(self.desktop.windows(installer.process.pid)), 1)
        self.assertEqual(installer.screen.status(), [text(language, "installing")])
        self.assertEqual(machine.events(), [KILLED])
        ditto.let_go()
        self.wait_for_end(installer)
        self.assertEqual(machine.events(), [WHOLE])
        self.assertEqual(machine.disk(), Disk(version=RELEASE, stagings=[("installed", ["previous.app"])]))
        self.assert_opened(machine)


if __name__ == "__main__":
    main()
