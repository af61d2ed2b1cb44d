"""What scripts/build-mac made for these tests, and the programs that look at it."""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
OUTPUT = pathlib.Path(os.environ["KAVIO_MAC_OUTPUT"])
BUILDS = pathlib.Path(os.environ["KAVIO_MAC_BUILDS"])
TOOLS = pathlib.Path(os.environ["KAVIO_TOOLS"])
TOOLCHAIN = pathlib.Path(os.environ["KAVIO_MAC_TOOLCHAIN"])
PRODUCT = pathlib.Path(os.environ["KAVIO_PRODUCT"])

NAME = "Kavio Installer"
APPLICATION = OUTPUT / f"{NAME}.app"
CONTENTS = APPLICATION / "Contents"
EXECUTABLE = CONTENTS / "MacOS" / NAME
IMAGE = OUTPUT / f"{NAME}.dmg"
ARCHITECTURES = ("arm64", "x86_64")

SIGNER = TOOLS / "rehearsal/signing/sign-sample"
IMAGE_MAKER = TOOLS / "rehearsal/make-sample-image"
VERIFIER = TOOLS / "hosts/linux/tools/codesign-verify"

sys.path.insert(0, str(ROOT / "scripts"))


def output(*command, **options):
    result = subprocess.run([*map(str, command)], capture_output=True, text=True, **options)
    if result.returncode != 0:
        said = (result.stdout + result.stderr)[-4000:]
        raise AssertionError(f"{' '.join(map(str, command))} ended with {result.returncode}:\n{said}")
    return result.stdout


def refusal(*command):
    """What a program says that does not end well."""
    result = subprocess.run([*map(str, command)], capture_output=True, text=True)
    if result.returncode == 0:
        raise AssertionError(f"{' '.join(map(str, command))} has nothing against it")
    return result.stderr


def architectures(executable):
    return set(output("llvm-lipo-19", "-archs", executable).split())


def headers(executable, architecture):
    return output("llvm-objdump-19", "--macho", "--private-headers", f"--arch={architecture}", executable)


class TestInDirectory(unittest.TestCase):
    """With a directory of its own, self.place."""

    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.place = pathlib.Path(place.name)
