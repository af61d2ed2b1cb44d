"""The packaging by itself, with tools that only note what is asked of them."""
import json
import pathlib
import plistlib
import shutil
import unittest

import built
import package_mac

PRODUCT = {
    "installerVersion": "2.5.1",
    "channelURL": "https://dist.other.test/latest-mac.yml",
    "offlineURL": "https://other.test/",
    "allowedHosts": ["dist.other.test"],
    "macTeamID": "OTHERTEAM1",
    "bundleID": "test.other.app",
    "windowsSignerSHA256": [],
}


class NotedTools:
    def __init__(self):
        self.calls = []

    def strip(self, executable):
        self.calls.append("strip")
        executable.write_bytes(executable.read_bytes().removesuffix(b" with symbols"))

    def join(self, slices, executable):
        self.calls.append("join")
        executable.write_bytes(b"+".join(slice.read_bytes() for slice in slices))

    def sign(self, bundle):
        self.calls.append("sign")
        (bundle / "Contents/_CodeSignature").mkdir()

    def pack(self, folder, image):
        self.calls.append("pack")
        self.dates = {path.lstat().st_mtime for path in (folder, *folder.rglob("*"))}
        shutil.make_archive(image.with_suffix(""), "tar", folder)
        image.with_suffix(".tar").rename(image)


class PackageMacTest(built.TestInDirectory):
    def setUp(self):
        super().setUp()
        self.tools = NotedTools()
        self.output = self.place / "output"
        self.output.mkdir()
        self.executables = [self.put("arm64", "arm with symbols"), self.put("x86_64", "intel with symbols")]

    def put(self, name, text):
        file = self.place / name
        file.write_text(text)
        return file

    def package(self, product):
        file = self.put("product.json", json.dumps(product))
        return package_mac.package(built.ROOT, file, self.executables, self.tools, self.output)

    def test_slices_are_stripped_joined_signed_and_packed_in_this_order(self):
        image = self.package(PRODUCT)
        self.assertEqual(self.tools.calls, ["strip", "strip", "join", "sign", "pack"])
        self.assertEqual((self.output / "Kavio Installer.app/Contents/MacOS/Kavio Installer").read_text(), "arm+intel")
        self.assertEqual(image, self.output / "Kavio Installer.dmg")
        self.assertEqual({path.name for path in self.output.iterdir()}, {"Kavio Installer.app", "Kavio Installer.dmg"})

    def test_what_was_packaged_before_goes_and_nothing_else(self):
        self.package(PRODUCT)
        (self.output / "Kavio Installer.app/Contents/left over").write_text("")
        (self.output / "notes").write_text("")
        self.package(PRODUCT)
        self.assertFalse((self.output / "Kavio Installer.app/Contents/left over").exists())
        self.assertTrue((self.output / "notes").exists())

    def test_what_was_built_keeps_its_symbols(self):
        self.package(PRODUCT)
        self.assertEqual(self.executables[0].read_text(), "arm with symbols")

    def test_another_product_gets_its_own_identifier_and_version(self):
        self.package(PRODUCT)
        with open(self.output / "Kavio Installer.app/Contents/Info.plist", "rb") as file:
            information = plistlib.load(file)
        self.assertEqual(information["CFBundleIdentifier"], "test.other.app.installer")
        self.assertEqual(information["CFBundleShortVersionString"], "2.5.1")
        self.assertEqual(information["CFBundleVersion"], "2.5.1")

    def test_everything_that_is_packed_has_the_one_date(self):
        self.package(PRODUCT)
        self.assertEqual(self.tools.dates, {package_mac.DATE})

    def test_a_product_that_cannot_be_used_is_refused_with_the_key_at_fault(self):
        with self.assertRaisesRegex(package_mac.Failure, '"bundleID" is missing'):
            self.package({key: value for key, value in PRODUCT.items() if key != "bundleID"})
        with self.assertRaisesRegex(package_mac.Failure, "absent.json"):
            package_mac.read_product(pathlib.Path(self.place / "absent.json"))

    def test_a_version_that_is_none_for_a_bundle_is_refused(self):
        for version in ("2", "2.5", "2.5.10"):
            self.assertTrue(self.package({**PRODUCT, "installerVersion": version}).exists())
        for version in ("", "2.", ".5", "2.5.1.4", "2.5-beta", "v2", "2,5", "2.5\n", "\u0662.5"):
            with self.subTest(version), self.assertRaisesRegex(package_mac.Failure, '"installerVersion" does not hold'):
                self.package({**PRODUCT, "installerVersion": version})

    def test_a_tool_that_fails_is_named_with_what_it_said(self):
        with self.assertRaisesRegex(package_mac.Failure, "(?s)^sh -c .* failed:\nno room"):
            package_mac.run("sh", "-c", "echo no room >&2; exit 3")


if __name__ == "__main__":
    unittest.main()
