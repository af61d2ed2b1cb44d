"""Runs the installer in its window from the directory of a feed, and tells what came of it.

Usage: rehearse.py PROGRAMS PLACE --feed DIRECTORY --configuration FILE
                   [--system-version X.Y.Z] [--architecture arm64|x64]

PROGRAMS is the directory of serve-release and rehearse-installer, PLACE one to work in; what was in it goes. On the
user's display the window stays until the user closes it or the installer quits; without one it is on a virtual display,
and a failure ends it. The exit status is 0 when the application was opened. Of a Mac's application, that means that it
is in place.
"""
import argparse
import contextlib
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import time

OPENED = {"app_opened", "existing_app_opened"}


def arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument("programs", type=pathlib.Path)
    parser.add_argument("place", type=pathlib.Path)
    parser.add_argument("--feed", type=pathlib.Path, required=True)
    parser.add_argument("--configuration", type=pathlib.Path, required=True)
    parser.add_argument("--system-version")
    parser.add_argument("--architecture")
    return parser.parse_args()


def start(*command, **options):
    """A child that does not outlive this process."""
    return subprocess.Popen(["setpriv", "--pdeathsig", "TERM", *map(str, command)], **options)


@contextlib.contextmanager
def display():
    """The environment of whoever shows something; the second says whether anybody sees it."""
    if os.environ.get("DISPLAY") or os.environ.get("WAYLAND_DISPLAY"):
        yield os.environ, True
        return
    reading, writing = os.pipe()
    server = start("Xvfb", "-displayfd", writing, "-screen", "0", "1000x720x24", "-nolisten", "tcp", "-noreset",
                   pass_fds=[writing], stderr=subprocess.DEVNULL)
    os.close(writing)
    try:
        with os.fdopen(reading) as stream:
            yield {**os.environ, "DISPLAY": ":" + stream.readline().strip()}, False
    finally:
        server.terminate()
        server.wait()


@contextlib.contextmanager
def release_server(given):
    server = start(given.programs / "serve-release", given.place, "--feed", given.feed,
                   "--configuration", given.configuration, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    while not (given.place / "port").exists():
        if server.poll() is not None:
            sys.exit(1)  # it has said why
        time.sleep(0.05)
    try:
        yield
    finally:
        requests = server.communicate()[0]
        print(f"The server was asked:\n{requests}" if requests else "The server was not asked anything.")


def events(place):
    logs = list((place / "root/home/Library/Caches").glob("*/events.jsonl"))
    return [json.loads(line) for log in logs for line in log.read_text().splitlines()]


def run_installer(given):
    options = []
    for name in ("system_version", "architecture"):
        if getattr(given, name):
            options += ["--" + name.replace("_", "-"), getattr(given, name)]
    with display() as (environment, is_seen):
        installer = start(given.programs / "rehearse-installer", given.place, "--configuration", given.configuration,
                          *options, env=environment)
        while installer.poll() is None:
            if not is_seen and any(event["event"] == "installer_failed" for event in events(given.place)):
                installer.terminate()
            time.sleep(0.1)


def close_application(root):
    """What the installer has opened runs from the machine's own root. Waits for its end."""
    while own := list(processes_from(root)):
        for process in own:
            with contextlib.suppress(ProcessLookupError):  # it has ended
                os.kill(process, signal.SIGTERM)
        time.sleep(0.05)


def processes_from(root):
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError):  # it has ended, or is not ours
            if os.readlink(process / "exe").startswith(f"{root}/"):
                yield int(process.name)


def clear(place):
    """Volumes that were left attached are not for writing."""
    for folder, _, _ in os.walk(place):
        os.chmod(folder, 0o700)
    shutil.rmtree(place, ignore_errors=True)
    place.mkdir(parents=True)


def main():
    given = arguments()
    given.place = given.place.resolve()
    clear(given.place)
    try:
        with release_server(given):
            run_installer(given)
    finally:
        close_application(given.place / "root")
    told = events(given.place)
    print("The installer's events:")
    for event in told:
        print("  " + json.dumps(event))
    applications = given.place / "root/Applications"
    print("In Applications: " + ", ".join(path.name for path in sorted(applications.glob("[!.]*"))))
    is_open = bool(told) and told[-1]["event"] in OPENED
    print("The application was opened." if is_open else "The application was not opened.")
    return 0 if is_open else 1


if __name__ == "__main__":
    sys.exit(main())
