"""What a screen reader is told of the window: an AT-SPI client on a session bus and an X server of its own.

Usage: accessibility.py SHOW_WINDOW
"""

import os
import pathlib
import subprocess
import sys
import time
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[3] / "support"))
import virtual_display

WAIT_SECONDS = 60
SHOW_WINDOW = ""


def wait_for(what, condition):
    """Looks until the condition gives something, and returns that."""
    end = time.monotonic() + WAIT_SECONDS
    while time.monotonic() < end:
        found = condition()
        if found:
            return found
        time.sleep(0.02)
    raise AssertionError("waited in vain for " + what)


class AccessibilityTest(unittest.TestCase):
    def setUp(self):
        environment = dict(os.environ, QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", QT_QPA_PLATFORM="xcb")
        self.program = subprocess.Popen(
            [SHOW_WINDOW], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, env=environment)
        self.addCleanup(self.end)

    def end(self):
        self.program.stdin.close()
        self.assertEqual(self.program.wait(WAIT_SECONDS), 0)
        self.program.stdout.close()

    def show(self, state):
        self.program.stdin.write(state + "\n")
        self.program.stdin.flush()

    def window(self):
        desktop = Atspi.get_desktop(0)
        for index in range(desktop.get_child_count()):
            application = desktop.get_child_at_index(index)
            if application and application.get_process_id() == self.program.pid:
                if application.get_child_count():
                    return application.get_child_at_index(0)
        return None

    def children(self):
        """By role, the names of the window's visible children."""
        window = wait_for("the window", self.window)
        window.clear_cache()
        result = {}
        for index in range(window.get_child_count()):
            child = window.get_child_at_index(index)
            if child and child.get_state_set().contains(Atspi.StateType.VISIBLE):
                result.setdefault(child.get_role(), []).append(child)
        return result

    def names(self, role):
        return [child.get_name() for child in self.children().get(role, [])]

    def test_tells_progress_and_texts(self):
        self.show("downloading")
        wait_for("the labels", lambda: self.names(Atspi.Role.LABEL) == ["Downloading Kavio…", "37.5%"])
        self.assertEqual(self.window().get_name(), "Kavio Installer")
        bars = self.children()[Atspi.Role.PROGRESS_BAR]
        self.assertEqual(len(bars), 1)
        self.assertEqual(bars[0].get_name(), "Downloading Kavio…")
        self.assertEqual(bars[0].get_current_value(), 37.5)
        self.assertEqual(bars[0].get_minimum_value(), 0)
        self.assertEqual(bars[0].get_maximum_value(), 100)
        self.assertEqual(self.names(Atspi.Role.PUSH_BUTTON), [])

    def test_tells_that_it_is_busy_while_nobody_knows_how_far(self):
        self.show("checking")
        wait_for("the status", lambda: "Checking release…" in self.names(Atspi.Role.LABEL))
        bar = self.children()[Atspi.Role.PROGRESS_BAR][0]
        self.assertTrue(bar.get_state_set().contains(Atspi.StateType.BUSY))

    def test_tells_an_error_and_its_button_which_can_be_pressed(self):
        self.show("error")
        wait_for("the button", lambda: self.names(Atspi.Role.PUSH_BUTTON) == ["Retry"])
        self.assertEqual(
            self.names(Atspi.Role.LABEL),
            ["Kavio is running. Save your work and quit Kavio, then click Retry to continue installing."])
        self.assertNotIn(Atspi.Role.PROGRESS_BAR, self.children())
        button = self.children()[Atspi.Role.PUSH_BUTTON][0]
        self.assertEqual(button.get_description(), self.names(Atspi.Role.LABEL)[0])
        wait_for("the focus", lambda: button.get_state_set().contains(Atspi.StateType.FOCUSED))
        names = [Atspi.Action.get_action_name(button, index) for index in range(button.get_n_actions())]
        self.assertTrue(button.do_action(names.index("Press")))
        self.assertEqual(self.program.stdout.readline(), "pressed\n")

    def test_tells_what_changes(self):
        self.show("checking")
        wait_for("the status", lambda: "Checking release…" in self.names(Atspi.Role.LABEL))
        self.show("downloading")
        wait_for("the next status", lambda: "Downloading Kavio…" in self.names(Atspi.Role.LABEL))
        wait_for("the value", lambda: self.children()[Atspi.Role.PROGRESS_BAR][0].get_current_value() == 37.5)


def run_on_private_display():
    """This script once more, on a session bus and an X server that end with it."""
    server, display = virtual_display.start()
    try:
        environment = dict(os.environ, DISPLAY=display, KAVIO_PRIVATE_DISPLAY="1")
        for name in ("AT_SPI_BUS_ADDRESS", "DBUS_SESSION_BUS_ADDRESS", "WAYLAND_DISPLAY"):
            environment.pop(name, None)
        command = ["dbus-run-session", "--", sys.executable, "-B"] + sys.argv
        return subprocess.run(command, env=environment, check=False).returncode
    finally:
        server.terminate()
        server.wait()


if __name__ == "__main__":
    if "KAVIO_PRIVATE_DISPLAY" not in os.environ:
        sys.exit(run_on_private_display())
    import gi
    gi.require_version("Atspi", "2.0")
    from gi.repository import Atspi
    SHOW_WINDOW = sys.argv.pop(1)
    unittest.main()
