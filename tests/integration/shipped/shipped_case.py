"""What tests of the installer as it ships begin with, on a machine that namespace_machine.py made.

Usage of each: SERVE_RELEASE CODESIGN_VERIFY
"""

import json
import os
import pathlib
import plistlib
import shutil
import subprocess
import sys
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "window"))
import desktop  # noqa: E402
import processes  # noqa: E402
from processes import PATIENCE, wait_until  # noqa: E402

SERVE, VERIFY = sys.argv[1:3]
VOLUME = pathlib.Path("/Volumes/Kavio Installer")
INSTALLER = VOLUME / "Kavio Installer.app/Contents/bin/kavio-installer"
APPLICATION = pathlib.Path("/Applications/Kavio.app")
CACHE = pathlib.Path("/home/user/Library/Caches/test.mykavio.app.installer")
CERTIFICATES = pathlib.Path("/etc/ssl/certs/ca-certificates.crt")
INSTALLED = ["installer_opened", "manifest_resolved", "payload_started", "payload_verified", "install_started",
             "install_succeeded", "payload_cache_removed", "app_opened"]


def hdiutil(*arguments):
    return subprocess.run(["/usr/bin/hdiutil", *arguments], capture_output=True, check=True).stdout


def attach_installer():
    hdiutil("attach", "-readonly", "-nobrowse", "-plist", "/srv/installer.dmg")


def mounted():
    entities = [image["system-entities"] for image in plistlib.loads(hdiutil("info", "-plist"))["images"]]
    return [entity["mount-point"] for image in entities for entity in image if "mount-point" in entity]


def command_of(process):
    try:
        return pathlib.Path(f"/proc/{process}/cmdline").read_bytes().decode().split("\0")
    except OSError:
        return []  # it has ended


def processes_with(word):
    """Those that have the word in their command line."""
    return [process for process in processes.running() if word in command_of(process)]


def processes_of(executable):
    return [process for process in processes.running() if processes.executable_of(process) == str(executable)]


def end(found):
    for process in found:
        processes.kill(process)
        wait_until(lambda ended=process: processes.has_ended(ended), "the process has ended")


def descriptors(process):
    return {int(entry.name): os.readlink(entry) for entry in pathlib.Path(f"/proc/{process}/fd").iterdir()}


def events():
    log = CACHE / "events.jsonl"
    return [json.loads(line)["event"] for line in log.read_text().splitlines()] if log.exists() else []


def trust(server):
    """Puts the authority of the server's certificate, and no other, into the machine's store."""
    shutil.copy(server.place / "authority.pem", CERTIFICATES)


class Server:
    """Of the release, with a certificate authority of its own."""

    def __init__(self, name, port):
        self.place = pathlib.Path("/srv") / name
        shutil.rmtree(self.place, ignore_errors=True)
        self.process = processes.start(SERVE, self.place, "--feed", "/srv/release/desktop/mac", "--port", port,
                                       stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        announced = self.place / "port"
        wait_until(lambda: announced.exists() or self.process.poll() is not None, "the server runs")
        self.port = int(announced.read_text())

    def stop(self):
        """Returns what it was asked."""
        return self.process.communicate()[0].splitlines()


class ShippedCase(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.desktop = desktop.Desktop()
        cls.addClassCleanup(cls.desktop.close)
        cls.desktop.open()

    def setUp(self):
        self.addCleanup(self.clear)
        attach_installer()

    @staticmethod
    def clear():
        end(processes_with("kavio-installer-eject"))
        end([process for process in processes.running()
             if processes.executable_of(process).startswith(("/Applications/", "/Volumes/"))])
        for volume in mounted():
            hdiutil("detach", volume)
        for folder in (pathlib.Path("/Applications"), CACHE.parents[2]):
            for entry in folder.iterdir():
                shutil.rmtree(entry)

    def serve(self, name="server", port=443):
        server = Server(name, port)
        self.addCleanup(lambda: server.process.stdout.closed or server.stop())
        return server

    def start(self, **variables):
        """From the volume, with nothing in its environment but what says where the screen is, and these."""
        installer = processes.start(INSTALLER, env={"DISPLAY": os.environ["DISPLAY"], **variables})
        self.addCleanup(installer.wait)
        self.addCleanup(installer.kill)
        return installer

    def shown_windows(self):
        windows = desktop.ShownWindows()
        self.addCleanup(windows.close)
        return windows

    def wait_for_end(self, installer):
        self.assertEqual(installer.wait(PATIENCE), 0)

    def opened_application(self):
        [process] = processes_of(APPLICATION / "Contents/Linux/Kavio")
        return process


def main():
    processes.adopt_orphans()
    unittest.main(argv=sys.argv[:1], verbosity=2)
