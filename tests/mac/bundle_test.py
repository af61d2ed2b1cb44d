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

    def test_the_information_list_is_that_of_the_products_installer(self):
        """It is an application for macOS 12 without a Dock icon."""
        product = json.loads(built.PRODUCT.read_text(encoding="utf-8"))
        catalogue = json.loads((built.CONTENTS / "Resources/installer-locales.json").read_text(encoding="utf-8"))
        self.assertEqual(information(), {
            "CFBundleDevelopmentRegion": "en",
            "CFBundleDisplayName": "Kavio Installer",
            "CFBundleExecutable": "Kavio Installer",
            "CFBundleIconFile": "Installer.icns",
            "CFBundleIdentifier": product["bundleID"] + ".installer",
            "CFBundleInfoDictionaryVersion": "6.0",
            "CFBundleLocalizations": sorted(catalogue),
            "CFBundleName": "Kavio Installer",
            "CFBundlePackageType": "APPL",
            "CFBundleShortVersionString": product["installerVersion"],
            "CFBundleSupportedPlatforms": ["MacOSX"],
            "CFBundleVersion": product["installerVersion"],
            "LSApplicationCategoryType": "public.app-category.utilities",
            "LSMinimumSystemVersion": "12.0",
            "LSUIElement": True,
            "NSHighResolutionCapable": True,
            "NSPrincipalClass": "NSApplication",
        })
        self.assertEqual((built.CONTENTS / "PkgInfo").read_text(), "APPL????")

    def test_the_information_list_names_what_is_there(self):
        found = information()
        self.assertEqual(found["CFBundleExecutable"], built.EXECUTABLE.name)
        self.assertTrue((built.CONTENTS / "Resources" / found["CFBundleIconFile"]).is_file())


if __name__ == "__main__":
    unittest.main()
