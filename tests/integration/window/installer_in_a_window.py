#!/usr/bin/env python3
"""The whole installer in a real window, on a virtual display, against a real release server.

Usage: installer_in_a_window.py SERVE_RELEASE REHEARSE_INSTALLER
"""
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

SERVE, INSTALLER = sys.argv[1:3]
PATIENCE = 120  # seconds; nothing here takes long, unless the machine does


def wait_until(condition, what):
    end = time.monotonic() + PATIENCE
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(f"waited in vain until {what}")
        time.sleep(0.02)


class Display:
    def __init__(self):
        reading, writing = os.pipe()
        self.process = subprocess.Popen(
            ["Xvfb", "-displayfd", str(writing), "-screen", "0", "1000x720x24", "-nolisten", "tcp"],
            pass_fds=[writing],
            stderr=subprocess.DEVNULL,
        )
        os.close(writing)
        with os.fdopen(reading) as stream:
            self.name = ":" + stream.readline().strip()

    def close(self):
        self.process.terminate()
        self.process.wait()


class InstallerInAWindowTest(unittest.TestCase):
    def setUp(self):
        self.place = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.place, ignore_errors=True)
        self.display = Display()
        self.addCleanup(self.display.close)
        self.addCleanup(self.close_applications)
        self.cache = self.place / "root/home/Library/Caches/test.mykavio.app.installer"
        self.application = self.place / "root/Applications/Kavio.app"

    def serve(self, *speed):
        (self.place / "port").unlink(missing_ok=True)
        server = subprocess.Popen(
            [SERVE, self.place, *speed], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True
        )
        self.addCleanup(server.kill)
        wait_until(lambda: (self.place / "port").exists() or server.poll() is not None, "the server runs")
        self.assertIsNone(server.poll())
        return server

    def start(self):
        environment = {**os.environ, "DISPLAY": self.display.name, "LC_ALL": "C.UTF-8"}
        environment.pop("WAYLAND_DISPLAY", None)
        installer = subprocess.Popen([INSTALLER, self.place], env=environment)
        self.addCleanup(installer.kill)
        return installer

    def events(self):
        log = self.cache / "events.jsonl"
        if not log.exists():
            return []
        return [json.loads(line)["event"] for line in log.read_text().splitlines()]

    def partial(self):
        """How many bytes of an image are in the cache."""
        return sum(file.stat().st_size for file in self.cache.glob("*.dmg"))

    def wait_for_end(self, installer):
        self.assertEqual(installer.wait(PATIENCE), 0)

    def close_applications(self):
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                if os.readlink(process / "exe").startswith(str(self.place)):
                    os.kill(int(process.name), signal.SIGKILL)
            except OSError:
                continue  # it has ended, or is not ours

    def test_a_fresh_machine(self):
        server = self.serve()
        self.wait_for_end(self.start())
        installed = ["installer_opened", "manifest_resolved", "payload_started", "payload_verified"]
        installed += ["install_started", "install_succeeded", "payload_cache_removed", "app_opened"]
        self.assertEqual(self.events(), installed)
        self.assertTrue((self.application / "Contents/_CodeSignature/CodeResources").is_file())
        self.assertEqual(list(self.cache.glob("*.dmg")), [])
        self.assertFalse((self.cache / "pending-install").exists())

        self.wait_for_end(self.start())
        self.assertEqual(self.events(), installed + ["installer_opened", "existing_app_opened"])
        requests = server.communicate()[0].splitlines()
        self.assertEqual(len(requests), 2, requests)  # the second start asked for nothing

    def test_closed_while_it_downloads_and_started_again(self):
        server = self.serve("4000000")
        installer = self.start()
        wait_until(lambda: self.partial() > 2_000_000, "some of the image is there")
        installer.send_signal(signal.SIGTERM)
        self.wait_for_end(installer)
        self.assertEqual(self.events()[-1], "cancelled")
        kept = self.partial()
        self.assertGreater(kept, 2_000_000)
        self.assertFalse(self.application.exists())

        self.wait_for_end(self.start())
        self.assertIn("pending_install_resumed", self.events())
        self.assertEqual(self.events()[-1], "app_opened")
        last = server.communicate()[0].splitlines()[-1]
        self.assertIn(f" 206 [bytes={kept}-]", last)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
