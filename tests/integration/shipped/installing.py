"""The installer as it ships: from its own disk image to the opened application, and what it leaves."""

import contextlib
import fcntl
import os
import pathlib
import subprocess

from shipped_case import (APPLICATION, CACHE, INSTALLED, INSTALLER, VERIFY, VOLUME, ShippedCase, attach_installer,
                          command_of, descriptors, end, events, main, mounted, processes, processes_with, trust,
                          wait_until)

LOCK = CACHE / "installer.lock"


class InstallingTest(ShippedCase):
    def install(self):
        server = self.serve()
        trust(server)
        self.wait_for_end(self.start())
        server.stop()

    def test_installs_opens_and_ejects_its_own_image(self):
        windows = self.shown_windows()
        self.install()
        self.assertEqual(events(), INSTALLED)
        self.assertEqual(shown_in("/Applications"), ["Kavio.app"])
        subprocess.run([VERIFY, APPLICATION], check=True)
        self.assertEqual(sorted(os.listdir(CACHE)), ["events.jsonl", "installer.lock"])
        wait_until(lambda: len(owners(windows)) == 2, "the installer and the application have shown windows")
        wait_until(lambda: not VOLUME.exists() and not mounted(), "the volume is ejected")
        self.assertEqual(shown_in("/Volumes"), [])
        self.assertFalse(processes.has_ended(self.opened_application()))

    def test_opens_what_is_current_without_a_window_or_a_server(self):
        self.install()
        wait_until(lambda: not mounted(), "the image is ejected")
        end([self.opened_application()])
        attach_installer()
        windows = self.shown_windows()
        self.wait_for_end(self.start())
        self.assertEqual(events(), [*INSTALLED, "installer_opened", "existing_app_opened"])
        wait_until(windows.applications, "the application has shown its window")
        self.assertEqual(len(owners(windows)), 1)
        wait_until(lambda: not mounted(), "the image is ejected again")

    def test_hands_nothing_to_the_application(self):
        self.install()
        application = self.opened_application()
        opened = descriptors(application)
        self.assertEqual([opened[number] for number in range(3)], ["/dev/null"] * 3)
        self.assertEqual([path for path in opened.values() if path.startswith(("/home", "/Volumes"))], [])
        self.assertEqual(os.getsid(application), application)
        with LOCK.open() as lock:  # which the application does not keep
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)

    def test_leaves_a_volume_in_use_and_hands_nothing_to_the_shell(self):
        with INSTALLER.open("rb"):
            self.install()
            [shell] = processes_with("kavio-installer-eject")
            self.assertEqual(command_of(shell)[-2], str(VOLUME))
            self.assertEqual(set(descriptors(shell).values()), {"/dev/null"})
            self.assertEqual(os.readlink(f"/proc/{shell}/cwd"), "/")
            self.assertEqual(os.getsid(shell), shell)
            wait_until(lambda: processes.has_ended(shell), "the shell gives up")
            self.assertEqual(mounted(), [str(VOLUME)])

    def test_hands_the_lock_to_no_tool(self):
        trust(self.serve())
        # Each is held up by a pipe, and looked at meanwhile. The first is held up by the program that it runs itself.
        stops = {"/usr/bin/hdiutil": "/usr/bin/7zz", "/usr/sbin/spctl": "/usr/sbin/spctl",
                 "/usr/bin/ditto": "/usr/bin/ditto"}
        with contextlib.ExitStack() as barriers:
            pipes = {tool: barriers.enter_context(barrier(pathlib.Path(stop))) for tool, stop in stops.items()}
            installer = self.start()
            for tool, pipe in pipes.items():
                with pipe.open("w"):  # as soon as it is read
                    pipe.unlink()
                    [process] = processes_with(tool)
                    self.assertNotIn(str(LOCK), descriptors(process).values())
            self.assertIn(str(LOCK), descriptors(installer.pid).values())
            self.wait_for_end(installer)
        self.assertEqual(events(), INSTALLED)


def shown_in(folder):
    """What a user sees there."""
    return [name for name in os.listdir(folder) if not name.startswith(".")]


def owners(windows):
    """The X clients, that is programs, whose windows were shown."""
    return {windows.owner(window) for window in windows.applications()}


@contextlib.contextmanager
def barrier(program):
    """Puts a script before the program, which first waits for the end of a pipe while there is one."""
    pipe, kept = pathlib.Path("/srv") / program.name, program.with_suffix(".kept")
    os.mkfifo(pipe)
    program.rename(kept)
    program.write_text(f'#!/bin/sh\n[ ! -p {pipe} ] || read -r nothing <{pipe}\nexec {kept} "$@"\n')
    program.chmod(0o755)
    try:
        yield pipe
    finally:
        kept.rename(program)
        pipe.unlink(missing_ok=True)


if __name__ == "__main__":
    main()
