"""A machine in a directory: its release server, its installers, and what is on its disk."""

import dataclasses
import errno
import json
import os
import pathlib
import plistlib
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import urllib.parse

import processes
from processes import PATIENCE, wait_until
from screen import Screen

SERVE, INSTALLER, MAKE_RELEASE = sys.argv[1:4]
PRODUCT = json.loads(pathlib.Path(sys.argv[4]).read_text())
FEED = urllib.parse.urlsplit(PRODUCT["channelURL"]).path.lstrip("/")
# The running application holds up every installer of its identifier, also those of tests beside this one.
IDENTIFIER = f"{PRODUCT['bundleID']}.run{os.getpid()}"
RELEASE = "1.4.2"


@dataclasses.dataclass
class Disk:
    """What an installer leaves. A staging directory is its phase and what else is in it."""
    version: str | None = None
    stagings: list[tuple[str, list[str]]] = dataclasses.field(default_factory=list)
    cached: int = 0  # bytes of an image
    pending: bool = False
    volumes: list[str] = dataclasses.field(default_factory=list)


def make_release(folder, *options):
    subprocess.run([MAKE_RELEASE, folder, "--bundle-identifier", IDENTIFIER, *options], check=True)


def version_of(application):
    information = application / "Contents/Info.plist"
    return plistlib.loads(information.read_bytes())["CFBundleShortVersionString"] if information.exists() else None


class Installer:
    def __init__(self, desktop, machine, language, options, before):
        locale = language.replace("-", "_") + ".UTF-8"
        self.desktop = desktop
        self.process = desktop.start(
            *before, INSTALLER, machine.place, "--bundle-identifier", IDENTIFIER, *options,
            env={**os.environ, "LC_ALL": locale})
        self.screen = Screen(self.process.pid)

    def close_window(self):
        self.desktop.close_window(self.process.pid)

    def press_return(self):
        self.desktop.press_return(self.process.pid)

    def terminate(self):
        self.process.terminate()

    def kill(self):
        self.process.kill()
        self.process.wait()

    def wait(self):
        try:
            return self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            raise AssertionError("the installer does not end; it says " + str(self.screen.labels())) from None


def writing_end(pipe):
    """Of a pipe that somebody reads; absent as long as nobody does."""
    try:
        return os.open(pipe, os.O_WRONLY | os.O_NONBLOCK)
    except OSError as failure:
        if failure.errno == errno.ENXIO:
            return None
        raise


class Tool:
    """A tool of the machine that waits, each time it is started, until it is let go."""

    def __init__(self, path):
        self.folder = path.with_name(path.name + ".waiting")
        self.folder.mkdir()
        self.path = path
        self.real = path.rename(path.with_name(path.name + ".real"))
        path.write_text(
            f"#!/bin/sh\nmkfifo '{self.folder}'/$$\nread -r _ <'{self.folder}'/$$\nexec '{self.real}' \"$@\"\n")
        path.chmod(0o755)

    def wait(self):
        """Until it has been started. Returns its process."""
        return int(wait_until(lambda: next(self.folder.iterdir(), None), f"{self.folder.stem} runs").name)

    def let_go(self):
        """It goes on. Returns its process."""
        process = self.wait()
        pipe = self.folder / str(process)
        end = wait_until(lambda: writing_end(pipe), f"{self.folder.stem} reads")
        pipe.unlink()
        os.close(end)
        return process

    def put_back(self):
        """It waits no more from the next start on."""
        copy = self.real.with_suffix(".copy")
        copy.hardlink_to(self.real)
        copy.rename(self.path)


class Machine:
    def __init__(self, desktop):
        self.desktop = desktop
        self.place = pathlib.Path(tempfile.mkdtemp(prefix="machine-"))
        self.look_at(self.place / "root")
        self.release = self.place / "release-made"
        self.server = None
        self.installers = []
        self.reserved = socket.socket()  # so that a server that is gone can come back at its port
        self.reserved.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.reserved.bind(("127.0.0.1", 0))

    def look_at(self, root):
        self.root = root
        self.applications = root / "Applications"
        self.application = self.applications / "Kavio.app"
        self.cache = root / f"home/Library/Caches/{PRODUCT['bundleID']}.installer"

    def look_as(self, process):
        """Sees the disk as the process does, which may have volumes of its own."""
        self.look_at(pathlib.Path(f"/proc/{process}/root{self.place}/root"))

    @property
    def feed(self):
        return self.release / FEED

    def close(self):
        """Ends what runs from here, and removes all of it."""
        for installer in self.installers:
            installer.kill()
        self.stop_serving()
        for process in processes.running():
            if processes.executable_of(process).startswith(str(self.place)):
                processes.kill(process)
        self.reserved.close()
        self.look_at(self.place / "root")
        for volume in self.volumes():  # whose folder not even its owner may write to
            subprocess.run([self.root / "usr/bin/hdiutil", "detach", volume], check=True)
        shutil.rmtree(self.place)

    # The release and its server.

    def serve(self, *options):
        (self.place / "port").unlink(missing_ok=True)
        port = self.reserved.getsockname()[1]
        self.server = processes.start(
            SERVE, self.place, "--feed", self.feed.parent, "--bundle-identifier", IDENTIFIER, "--port", port, *options,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        wait_until(lambda: (self.place / "port").exists() or self.server.poll() is not None, "the server runs")
        if self.server.poll() is not None:
            raise AssertionError("there is no server")

    def stop_serving(self):
        if self.server:
            if self.server.poll() is None:
                self.continue_server()
            self.server.communicate()
            self.server = None

    def hold_server(self):
        """It takes connections and answers none, until told to continue."""
        self.signal_server(signal.SIGSTOP)

    def continue_server(self):
        self.signal_server(signal.SIGCONT)

    def signal_server(self, number):
        for worker in wait_until(self.server_workers, "the server is at work"):
            os.kill(worker, number)

    def server_workers(self):
        masters = processes.children_of(self.server.pid)
        return [worker for master in masters for worker in processes.children_of(master)]

    def traffic(self):
        """What the server was asked: file name, status, and bytes of the answer's body."""
        lines = (line.split() for line in (self.place / "server/traffic.log").read_text().splitlines())
        return [(path.rpartition("/")[2], int(status), int(count)) for path, status, count in lines]

    def image(self):
        """The image for this machine, as it lies at the server."""
        name = f"Kavio-{RELEASE}-arm64.dmg" if os.uname().machine == "aarch64" else f"Kavio-{RELEASE}.dmg"
        return self.feed.with_name(name)

    # What runs on it.

    def start(self, language, *options, before=()):
        installer = Installer(self.desktop, self, language, options, before)
        self.installers.append(installer)
        return installer

    def tool(self, name):
        return Tool(self.root / name)

    def running_applications(self):
        executable = str(self.place / "root/Applications/Kavio.app/Contents/Linux/Kavio")
        return [process for process in processes.running() if processes.executable_of(process) == executable]

    def start_application(self):
        """As a user had done who works with it."""
        return processes.start(self.application / "Contents/Linux/Kavio", "--stay")

    def close_applications(self):
        """Ends those that installers have opened."""
        for process in self.running_applications():
            processes.kill(process)
            wait_until(lambda process=process: processes.has_ended(process), "the application has ended")

    # What is on its disk.

    def events(self):
        """Name and version of each event, grouped by installer."""
        log = self.cache / "events.jsonl"
        sessions = {}
        for line in log.read_text().splitlines() if log.exists() else []:
            event = json.loads(line)
            sessions.setdefault(event["sessionId"], []).append(
                event["event"] + (" " + event["appVersion"] if "appVersion" in event else ""))
        return list(sessions.values())

    def wait_for_event(self, event):
        wait_until(lambda: any(event in session for session in self.events()), f"{event} is recorded")

    def cached(self):
        return sum(file.stat().st_size for file in self.cache.glob("*.dmg"))

    def mark_pending(self):
        """As an installer does that is at work."""
        self.cache.mkdir(parents=True, mode=0o700)
        (self.cache / "pending-install").write_text(PRODUCT["channelURL"])

    def unmark_pending(self):
        (self.cache / "pending-install").unlink()

    def disk(self):
        stagings = sorted(self.applications.glob(".kavio-install-*"))
        return Disk(
            version=version_of(self.application),
            stagings=[self.staging(directory) for directory in stagings],
            cached=self.cached(),
            pending=(self.cache / "pending-install").exists(),
            volumes=[volume.name for volume in self.volumes()])

    def volumes(self):
        return sorted((self.root / "Volumes").glob("[!.]*"))

    @staticmethod
    def staging(directory):
        phase = json.loads((directory / "transaction.json").read_text())["phase"]
        return phase, sorted(entry.name for entry in directory.iterdir() if entry.name != "transaction.json")
