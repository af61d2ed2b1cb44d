"""What a screen reader is told of a program's windows, and what it can do there."""

import json
import pathlib
import unicodedata

import gi

import processes

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

CATALOGUE = json.loads(
    (pathlib.Path(__file__).parents[3] / "KavioInstaller/resources/installer-locales.json").read_text("utf-8"))


def text(language, message):
    """One of the installer's texts as its catalogue has it."""
    return CATALOGUE[language]["common_retry" if message == "retry" else f"desktop_installer_{message}"]


def percentage(label):
    """The number in a percentage, in whatever digits."""
    def plain(character):
        return "." if character in ".,٫" else str(unicodedata.decimal(character, ""))
    return float("".join(map(plain, label)))


def connect():
    """Before the first program starts, so that it finds the service at work."""
    Atspi.get_desktop(0).get_child_count()


class Screen:
    def __init__(self, process):
        self.process = process

    def window(self):
        desktop = Atspi.get_desktop(0)
        desktop.clear_cache()
        for index in range(desktop.get_child_count()):
            application = desktop.get_child_at_index(index)
            if application and application.get_process_id() == self.process and application.get_child_count():
                return application.get_child_at_index(0)
        return None

    def told(self, role, tell):
        """What is told of each visible part of a role, depth first; nothing when the window goes meanwhile."""
        try:
            window = self.window()
            return [tell(part) for part in self.parts(window, role)] if window else []
        except GLib.GError:
            return []

    def parts(self, parent, role):
        parent.clear_cache()
        for index in range(parent.get_child_count()):
            child = parent.get_child_at_index(index)
            if child and child.get_state_set().contains(Atspi.StateType.VISIBLE):
                if child.get_role() == role:
                    yield child
                yield from self.parts(child, role)

    def labels(self):
        return self.told(Atspi.Role.LABEL, lambda label: label.get_name())

    def status(self):
        return self.labels()[:1]

    def wait_for(self, wanted):
        """Until a label says this."""
        seen = []

        def is_there():
            seen[:] = self.labels()
            return wanted in seen or processes.has_ended(self.process)
        try:
            processes.wait_until(is_there, f"the window says {wanted!r}")
            if wanted not in seen:
                raise AssertionError(f"the program has ended without saying {wanted!r}")
        except AssertionError as failure:
            raise AssertionError(f"{failure}; it says {seen}") from None

    def buttons(self):
        return self.told(Atspi.Role.PUSH_BUTTON, lambda button: button.get_name())

    def progress(self):
        """The bar's value, absent when there is no bar."""
        values = self.told(Atspi.Role.PROGRESS_BAR, lambda bar: bar.get_current_value())
        return values[0] if values else None

    def press(self, name):
        """Presses a button as a screen reader does."""
        [button] = [button for button in self.parts(self.window(), Atspi.Role.PUSH_BUTTON)
                    if button.get_name() == name]
        actions = [Atspi.Action.get_action_name(button, index) for index in range(button.get_n_actions())]
        if not button.do_action(actions.index("Press")):
            raise AssertionError(f"the button {name!r} cannot be pressed")
