"""A rehearsal from a plain directory with a feed and its images, and a configuration of its own.

Usage: rehearsal_of_a_feed.py SCRIPTS PROGRAMS SAMPLE_CONFIGURATION
"""
import contextlib
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

SCRIPTS, PROGRAMS, SAMPLE = map(pathlib.Path, sys.argv[1:4])
INSTALLED = ["installer_opened", "manifest_resolved", "payload_started", "payload_verified", "install_started",
             "install_succeeded", "payload_cache_removed", "app_opened"]


def running_programs():
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError):  # it has ended, or is not ours
            yield os.readlink(process / "exe")


class RehearsalOfAFeedTest(unittest.TestCase):
    def setUp(self):
        self.place = pathlib.Path(tempfile.mkdtemp(prefix="rehearsal-"))
        self.addCleanup(shutil.rmtree, self.place)
        self.configuration = json.loads(SAMPLE.read_text())
        self.configuration["channelURL"] = "https://updates.kavio.test/stable/mac/latest-mac.yml"
        # No application of this identifier runs anywhere else on this machine.
        self.configuration["bundleID"] = f"test.mykavio.app.feed{os.getpid()}"
        self.configuration["allowedHosts"] = ["updates.kavio.test"]

    def make_feed(self, *options):
        subprocess.run([PROGRAMS / "make-sample-release", self.place / "release", "--bundle-identifier",
                        self.configuration["bundleID"], *options], check=True)
        shutil.move(self.place / "release/desktop/mac", self.place / "feed")

    def rehearse(self, *options):
        """The exit status, what was printed, and what stood on standard error."""
        configuration = self.place / "product.json"
        configuration.write_text(json.dumps(self.configuration))
        environment = {name: value for name, value in os.environ.items() if name not in ("DISPLAY", "WAYLAND_DISPLAY")}
        run = subprocess.run(
            [sys.executable, "-B", SCRIPTS / "rehearse.py", PROGRAMS, self.place / "work", "--feed", self.place / "feed",
             "--configuration", configuration, *options],
            capture_output=True, text=True, timeout=300, check=False, env=environment)
        return run.returncode, run.stdout, run.stderr

    def events(self):
        log = self.place / "work/root/home/Library/Caches/test.mykavio.app.installer/events.jsonl"
        return [json.loads(line)["event"] for line in log.read_text().splitlines()]

    @property
    def application(self):
        return self.place / "work/root/Applications/Kavio.app/Contents"

    def test_an_application_for_a_mac_alone_counts_as_opened_once_it_is_in_place(self):
        self.make_feed("--for-linux", "no")
        status, report, errors = self.rehearse()
        self.assertEqual(status, 0, errors)
        self.assertEqual(self.events(), INSTALLED)
        self.assertEqual(sorted(os.listdir(self.application / "MacOS")), ["Kavio"])
        self.assertFalse((self.application / "Linux").exists())
        self.assertIn(" GET /stable/mac/latest-mac.yml ", report)
        self.assertIn("The application was opened.", report)

    def test_an_application_that_runs_here_is_closed_again(self):
        self.make_feed()
        status, _, errors = self.rehearse()
        self.assertEqual(status, 0, errors)
        self.assertTrue((self.application / "Linux/Kavio").exists())
        self.assertEqual([program for program in running_programs() if program.startswith(str(self.place))], [])

    def test_the_system_version_that_the_rehearsal_stands_for_is_the_callers(self):
        self.make_feed("--minimum-system", "15.1")
        self.assertEqual(self.rehearse("--system-version", "15.0.9")[0], 1)
        self.assertEqual(self.events()[-1], "installer_failed")
        self.assertFalse(self.application.exists())
        status, _, errors = self.rehearse("--system-version", "15.1.0")
        self.assertEqual(status, 0, errors)

    def test_a_signature_below_another_root_is_refused(self):
        self.make_feed("--signed-by", "other-root")
        status, report, _ = self.rehearse()
        self.assertEqual(status, 1)
        self.assertEqual(self.events()[-2:], ["install_started", "installer_failed"])
        self.assertIn("The application was not opened.", report)

    def test_what_cannot_be_rehearsed_is_told(self):
        (self.place / "feed").mkdir()
        status, _, errors = self.rehearse()
        self.assertEqual((status, errors), (1, f"serve-release: there is no latest-mac.yml in {self.place}/feed\n"))
        del self.configuration["bundleID"]
        status, _, errors = self.rehearse()
        self.assertEqual(status, 1)
        self.assertRegex(errors, "^Invalid installer configuration: ")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
