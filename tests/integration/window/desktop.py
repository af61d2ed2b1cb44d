"""A desktop of a test's own: an X server, a window manager and a session bus with the accessibility service."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

from Xlib import X, XK, Xatom, display, error
from Xlib.ext import xtest
from Xlib.protocol import event

import processes

sys.path.append(str(pathlib.Path(__file__).resolve().parents[2] / "support"))
import virtual_display


class Desktop:
    """Lives as long as a test program. Its children find it by their environment."""

    def __init__(self):
        self.place = pathlib.Path(tempfile.mkdtemp(prefix="desktop-"))
        self.bells = self.place / "bells"
        self.errors = self.place / "errors"  # of all its programs
        self.server = self.display = self.root = None

    def open(self):
        for name in ("AT_SPI_BUS_ADDRESS", "WAYLAND_DISPLAY", "SESSION_MANAGER", "LANGUAGE", "LC_MESSAGES"):
            os.environ.pop(name, None)
        os.environ.update(
            HOME=str(self.place),
            XDG_RUNTIME_DIR=str(self.place),
            XDG_CACHE_HOME=str(self.place),
            XDG_CONFIG_HOME=str(self.place),
            GSETTINGS_BACKEND="memory",
            QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1",
            QT_QPA_PLATFORM="xcb",
        )
        self.server, number = self.start_and_read(*virtual_display.COMMAND, at_our_death="TERM")
        os.environ["DISPLAY"] = ":" + number
        _, os.environ["DBUS_SESSION_BUS_ADDRESS"] = self.start_and_read(
            "dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address")
        with self.bells.open("w") as bells:
            self.start("stdbuf", "-oL", "xkbevd", "-cfg", self.bell_rules(), stdout=bells)
        self.start("openbox", "--sm-disable")
        self.display = display.Display()
        self.root = self.display.screen().root
        processes.wait_until(lambda: self.property(self.root, "_NET_SUPPORTING_WM_CHECK"), "windows are managed")
        # Whoever listens hears of the bell that the listener rings as it starts.
        processes.wait_until(lambda: self.bells.stat().st_size, "the bell is heard")

    def close(self):
        if self.display:
            self.display.close()
        if self.server:
            self.server.terminate()  # it has files outside of the place to remove
            self.server.wait()
        processes.end_all()
        shutil.rmtree(self.place)

    def start(self, *command, **options):
        options = {"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL, **options}
        with self.errors.open("a") as errors:
            return processes.start(*command, stderr=errors, **options)

    def start_and_read(self, *command, **options):
        """Also the first line that the program writes to the descriptor that its last option takes."""
        reading, writing = os.pipe()
        process = self.start(
            *command[:-1], *self.descriptor_option(command[-1], writing), pass_fds=[writing], **options)
        os.close(writing)
        with os.fdopen(reading) as stream:
            line = stream.readline().strip()
        if not line:
            raise AssertionError(f"{command[0]} does not start: " + self.errors.read_text())
        return process, line

    @staticmethod
    def descriptor_option(option, descriptor):
        return [f"{option}={descriptor}"] if option.startswith("--") else [option, str(descriptor)]

    def bell_rules(self):
        rules = self.place / "bells.cf"
        rules.write_text("Bell() printEvent\n")
        return rules

    # What the window manager knows.

    def property(self, window, name):
        try:
            found = window.get_full_property(self.display.intern_atom(name), X.AnyPropertyType)
        except error.BadWindow:
            return []  # it has gone meanwhile
        return list(found.value) if found else []

    def windows(self, process):
        """The windows of a process, those in front last."""
        stack = [self.display.create_resource_object("window", number)
                 for number in self.property(self.root, "_NET_CLIENT_LIST_STACKING")]
        return [window for window in stack if self.property(window, "_NET_WM_PID") == [process]]

    def is_in_front(self, process):
        """Whether a window of the process has the focus and lies over all others."""
        stack = self.property(self.root, "_NET_CLIENT_LIST_STACKING")
        own = self.windows(process)
        return bool(own) and stack[-1:] == [own[-1].id] == self.property(self.root, "_NET_ACTIVE_WINDOW")

    def titles(self, windows):
        return sorted(self.display.create_resource_object("window", window).get_wm_name() for window in windows)

    # What a user does.

    def close_window(self, process):
        """As the button in the window's title does."""
        window = processes.wait_until(lambda: self.windows(process), "there is a window to close")[-1]
        message = event.ClientMessage(window=window, client_type=self.display.intern_atom("_NET_CLOSE_WINDOW"),
                                      data=(32, [X.CurrentTime, 2, 0, 0, 0]))
        self.root.send_event(message, event_mask=X.SubstructureRedirectMask | X.SubstructureNotifyMask)
        self.display.sync()

    def press_return(self, process):
        processes.wait_until(lambda: self.is_in_front(process), "the window has the focus")
        key = self.display.keysym_to_keycode(XK.XK_Return)
        xtest.fake_input(self.display, X.KeyPress, key)
        xtest.fake_input(self.display, X.KeyRelease, key)
        self.display.sync()

    def count_bells(self):
        """How often the bell has rung, the listener's own included."""
        return self.bells.read_text().count("XkbBellNotify")


class ShownWindows:
    """Hears from the X server of every window that is shown from here on, however briefly."""

    def __init__(self):
        self.display = display.Display()
        self.root = self.display.screen().root
        self.root.change_attributes(event_mask=X.SubstructureNotifyMask)
        self.display.sync()
        check = self.root.get_full_property(self.display.intern_atom("_NET_SUPPORTING_WM_CHECK"), Xatom.WINDOW)
        self.frames = self.owner(check.value[0])
        self.shown = set()

    def owner(self, window):
        """The X client that has made the window, by the range of its numbers."""
        return window & ~self.display.display.info.resource_id_mask

    def applications(self):
        """The windows of applications that were shown, whether or not they still are."""
        self.display.sync()
        while self.display.pending_events():
            heard = self.display.next_event()
            if heard.type in (X.MapNotify, X.ReparentNotify) and self.owner(heard.window.id) != self.frames:
                self.shown.add(heard.window.id)
        return self.shown

    def close(self):
        self.display.close()
