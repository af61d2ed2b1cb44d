"""The bundle's layout and what its information list says."""
import json
import os
import plistlib
import stat
import unittest

import built

FILES = {
    "Info.plist",
    "MacOS/Kavio Installer",
    "PkgInfo",
    "Resources/Installer.icns",
    "Resources/installer-locales.json",
    "Resources/intro-en.mp4",
    "Resources/intro-ja.mp4",
    "_CodeSignature/CodeResources",
}
DATE = 1767225600


def information():
    with open(built.CONTENTS / "Info.plist", "rb") as file:
        return plistlib.load(file)


class BundleTest(unittest.TestCase):
    def test_it_holds_these_files_and_no_others(self):
        found = {str(path.relative_to(built.CONTENTS)) for path in built.CONTENTS.rglob("*") if not path.is_dir()}
        self.assertEqual(found, FILES)
        self.assertEqual(os.listdir(built.APPLICATION), ["Contents"])

    def test_modes_and_dates_do_not_depend_on_who_builds(self):
        for path in (built.APPLICATION, *built.APPLICATION.rglob("*")):
            with self.subTest(path):
                status = path.lstat()
                runs = path.is_dir() or path == built.EXECUTABLE
                self.assertEqual(stat.S_IMODE(status.st_mode), 0o755 if runs else 0o644)
                self.assertEqual(status.st_mtime, DATE)

    def test_resources_are_those_of_the_tree(self):
        for source in (
            *(built.ROOT / "KavioInstaller/resources").iterdir(),
            built.ROOT / "hosts/macos/bundle/Installer.icns",
        ):
            with self.subTest(source.name):
                self.assertEqual((built.CONTENTS / "Resources" / source.name).read_bytes(), source.read_bytes())

    def test_the_information_list_is_the_products(self):
        product = json.loads(built.PRODUCT.read_text(encoding="utf-8"))
        found = information()
        self.assertEqual(found["CFBundleIdentifier"], product["bundleID"] + ".installer")
        self.assertEqual(found["CFBundleShortVersionString"], product["installerVersion"])
        self.assertEqual(found["CFBundleVersion"], product["installerVersion"])

    def test_the_information_list_names_what_is_there(self):
        found = information()
        self.assertEqual(found["CFBundleExecutable"], built.EXECUTABLE.name)
        self.assertTrue((built.CONTENTS / "Resources" / found["CFBundleIconFile"]).is_file())
        catalogue = json.loads((built.CONTENTS / "Resources/installer-locales.json").read_text(encoding="utf-8"))
        self.assertEqual(set(found["CFBundleLocalizations"]), set(catalogue))

    def test_it_is_an_application_without_a_dock_icon_for_macos_12(self):
        found = information()
        self.assertEqual(found["CFBundlePackageType"], "APPL")
        self.assertEqual((built.CONTENTS / "PkgInfo").read_text(), "APPL????")
        self.assertEqual(found["NSPrincipalClass"], "NSApplication")
        self.assertEqual(found["LSMinimumSystemVersion"], "12.0")
        self.assertIs(found["LSUIElement"], True)
        self.assertIs(found["NSHighResolutionCapable"], True)
        self.assertEqual(found["CFBundleName"], "Kavio Installer")
        self.assertEqual(found["CFBundleDevelopmentRegion"], "en")


if __name__ == "__main__":
    unittest.main()
