"""What the build asks of a Mac's own tools, by programs of their names that note their arguments."""
import contextlib
import io
import os
import re
import unittest
from unittest import mock

import built
import build_mac  # which built knows the way to
import package_mac

# Notes its name and its arguments, a line each, and an empty line; what it is to write is its last argument.
TOOL = """#!/bin/sh
printf '%s\\n' "${0##*/}" "$@" '' >> "$KAVIO_NOTES"
for last do :; done
[ -e "$last" ] || : > "$last"
"""
CMAKE = """#!/bin/sh
printf '%s\\n' "${0##*/}" "$@" '' >> "$KAVIO_NOTES"
[ "$1" = --build ] || exit 0
mkdir -p "$2/hosts/macos"
: > "$2/hosts/macos/Kavio Installer"
echo '[1/2] Building Main.mm'
echo 'Main.mm:7:1: warning: this is old'
echo 'Main.mm:7:1: warning: this is old'
echo 'ld: warning: this is odd'
"""
NAMED = "Developer ID Application: Other"

CONFIGURE = ["cmake", "--preset", "mac", "-B", "builds/mac", f"-DKAVIO_PRODUCT={built.PRODUCT}"]
BUILD = ["cmake", "--build", "builds/mac"]
STRIP = ["xcrun", "strip", "-x", "0"]
JOIN = ["xcrun", "lipo", "-create", "0", "-output", "output/Kavio Installer.app/Contents/MacOS/Kavio Installer"]
SIGN = ["codesign", "--force", "--options", "runtime"]
PACK = ["hdiutil", "create", "-volname", "Kavio Installer", "-srcfolder", "content", "-fs", "HFS+", "-format", "UDZO",
        "output/Kavio Installer.dmg"]
AD_HOC = ["--sign", "-"]
BY_NAME = ["--timestamp", "--sign", NAMED]
PACKAGED = [STRIP, JOIN, [*SIGN, *AD_HOC, "output/Kavio Installer.app"], PACK]
PACKAGED_BY_NAME = [STRIP, JOIN, [*SIGN, *BY_NAME, "output/Kavio Installer.app"], PACK,
                    ["codesign", *BY_NAME, "output/Kavio Installer.dmg"]]


class MacToolsTest(built.TestInDirectory):
    def setUp(self):
        super().setUp()
        programs = self.place / "programs"
        programs.mkdir()
        for name in ("xcrun", "codesign", "hdiutil", "strip", "lipo"):
            self.write(programs / name, TOOL)
        self.write(programs / "cmake", CMAKE)
        self.output = self.place / "output"
        self.output.mkdir()
        changed = {"KAVIO_NOTES": str(self.place / "notes"), "PATH": f"{programs}:{os.environ['PATH']}"}
        patch = mock.patch.dict(os.environ, changed)
        patch.start()
        self.addCleanup(patch.stop)

    def write(self, program, text):
        program.write_text(text)
        program.chmod(0o755)

    def calls(self):
        """What was noted, without the directories of this test and of the packaging's interim files."""
        text = (self.place / "notes").read_text().replace(f"{self.place}/", "")
        return [re.sub(r"^.*\btmp\w{8}/", "", call, flags=re.MULTILINE).splitlines()
                for call in text.removesuffix("\n\n").split("\n\n")]

    def package(self, identity):
        executable = self.place / "executable"
        executable.write_text("both slices")
        image = package_mac.package(built.ROOT, built.PRODUCT, [executable], package_mac.MacTools(identity), self.output)
        self.assertEqual(image, self.output / "Kavio Installer.dmg")

    def build(self, *options):
        """What scripts/build-mac says."""
        said = io.StringIO()
        with mock.patch("platform.system", return_value="Darwin"), contextlib.redirect_stdout(said):
            build_mac.main([str(self.output), "--product", str(built.PRODUCT), "--builds", str(self.place / "builds"),
                            *options])
        return said.getvalue().splitlines()

    def test_without_an_identity_the_signature_is_ad_hoc_and_the_image_has_none(self):
        self.package(None)
        self.assertEqual(self.calls(), PACKAGED)

    def test_an_identity_asks_for_a_time_stamp_and_signs_the_image_too(self):
        self.package(NAMED)
        self.assertEqual(self.calls(), PACKAGED_BY_NAME)

    def test_a_build_on_a_mac_is_one_for_both_architectures_and_asks_for_nothing_of_linux(self):
        self.build()
        self.assertEqual(self.calls(), [CONFIGURE, BUILD, *PACKAGED])
        self.assertEqual({path.name for path in self.output.iterdir()}, {"Kavio Installer.app", "Kavio Installer.dmg"})

    def test_an_identity_of_the_command_line_signs(self):
        self.build("--sign", NAMED)
        self.assertEqual(self.calls(), [CONFIGURE, BUILD, *PACKAGED_BY_NAME])

    def test_warnings_are_shown_once_and_nothing_else_of_the_log(self):
        said = self.build()
        self.assertEqual(said[:-1], ["Building for macOS (mac)", "Main.mm:7:1: warning: this is old",
                                     "ld: warning: this is odd"])
        self.assertIn("Kavio Installer.dmg: ", said[-1])


if __name__ == "__main__":
    unittest.main()
