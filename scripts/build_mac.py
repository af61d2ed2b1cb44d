"""What scripts/build-mac does once the machine has what it takes; see there for the arguments."""
import argparse
import os
import pathlib
import platform
import re
import shutil
import subprocess
import sys

import package_mac

ROOT = pathlib.Path(__file__).resolve().parent.parent
EXECUTABLE = "hosts/macos/" + package_mac.NAME
ARCHITECTURES = {"arm64": "arm64", "x86_64": "x64"}  # as a Mac's tools call them, and as a release does
SAMPLE = {"Kavio": "Kavio", "KavioKit": "KavioKit.dylib", "KavioHelper": "KavioHelper"}  # and as it is built


def arguments(words):
    parser = argparse.ArgumentParser(prog="scripts/build-mac")
    parser.add_argument("output", nargs="?", type=pathlib.Path, default=ROOT / "out/mac")
    parser.add_argument("--product", type=pathlib.Path, default=ROOT / "product/sample.json")
    parser.add_argument("--sign", metavar="IDENTITY")
    parser.add_argument("--builds", type=pathlib.Path, default=ROOT / "build")
    parser.add_argument("--tools", type=pathlib.Path)
    given = parser.parse_args(words)
    for name in ("output", "product", "builds", "tools"):
        if getattr(given, name):
            setattr(given, name, getattr(given, name).absolute())
    return given


def run(*command, log):
    """Shows what the command said when it fails only: a C++ library that is built on the way says a lot."""
    with open(log, "ab") as stream:
        if subprocess.run([*map(str, command)], cwd=ROOT, stdout=stream, stderr=stream).returncode == 0:
            return
    sys.stderr.writelines(log.read_text(errors="replace").splitlines(keepends=True)[-60:])
    sys.exit(f"{' '.join(map(str, command))} failed; all that it said is in {log}.")


def build(preset, given, *targets, options=()):
    directory = given.builds / preset
    directory.mkdir(parents=True, exist_ok=True)
    log = directory / "build.log"
    log.unlink(missing_ok=True)
    run("cmake", "--preset", preset, "-B", directory, *options, log=log)
    run("cmake", "--build", directory, *(["--target", *targets] if targets else []), log=log)
    return directory


def show_warnings(directory):
    """Each once. Builds on Linux have none of ours, where they are errors, but thousands of the C++ library on the way."""
    lines = (directory / "build.log").read_text(errors="replace").splitlines()
    for line in dict.fromkeys(line for line in lines if re.search(r"\bwarning:|^CMake .*Warning", line)):
        print(line)


def build_tools(given):
    if given.tools:
        return given.tools
    print("Building the tools")
    return build("demo", given, "sign-sample", "make-sample-image")


def copy_sample(builds, output):
    """The sample application's executables, as make-sample-image and make-sample-release take them."""
    for (architecture, folder), directory in zip(ARCHITECTURES.items(), builds):
        target = output / "sample-executables" / folder
        target.mkdir(parents=True, exist_ok=True)
        for name, built in SAMPLE.items():
            shutil.copy(directory / "sample-application" / built, target / name)


def main(words):
    given = arguments(words)
    on_mac = platform.system() == "Darwin"
    tools = package_mac.MacTools(given.sign) if on_mac else package_mac.LinuxTools(build_tools(given), given.sign)
    builds = []
    for preset in ["mac"] if on_mac else [f"mac-{name}" for name in ARCHITECTURES]:
        print(f"Building for macOS ({preset})", flush=True)
        builds.append(build(preset, given, options=[f"-DKAVIO_PRODUCT={given.product}"]))
        if on_mac:
            show_warnings(builds[-1])
    given.output.mkdir(parents=True, exist_ok=True)
    if not on_mac:
        copy_sample(builds, given.output)
    executables = [directory / EXECUTABLE for directory in builds]
    image = package_mac.package(ROOT, given.product, executables, tools, given.output)
    print(f"{os.path.relpath(image)}: {image.stat().st_size} bytes")


if __name__ == "__main__":
    try:
        main(sys.argv[1:])
    except package_mac.Failure as failure:
        sys.exit(f"build-mac: {failure}")
