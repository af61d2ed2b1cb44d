"""The application's signature, judged by the verifier that a release is judged by."""
import json
import shutil
import struct
import unittest

import built
import linkage

AD_HOC, RUNTIME = 0x2, 0x10000
CODE_DIRECTORY = 0xFADE0C02


def flags(content):
    """Those of the code directory in a slice: big-endian, 0 magic, 4 length, 8 version, 12 flags."""
    return struct.unpack_from(">I", content, content.index(struct.pack(">I", CODE_DIRECTORY)) + 12)[0]


class SignatureTest(built.TestInDirectory):
    def setUp(self):
        super().setUp()
        self.copy = self.place / built.APPLICATION.name
        shutil.copytree(built.APPLICATION, self.copy)

    def refusal(self, *options):
        return built.refusal(built.VERIFIER, *options, self.copy).removeprefix(f"{self.copy}: ")

    def test_it_is_valid_and_of_the_products_installer(self):
        identifier = json.loads(built.PRODUCT.read_text(encoding="utf-8"))["bundleID"] + ".installer"
        built.output(built.VERIFIER, "--requirement", f'identifier "{identifier}"', built.APPLICATION)

    def test_it_is_nobodys_with_the_hardened_runtime(self):
        for architecture in built.ARCHITECTURES:
            self.assertEqual(flags(linkage.slice_of(built.EXECUTABLE, architecture)), AD_HOC | RUNTIME)
        self.assertIn("requirement", self.refusal("--requirement", "anchor apple generic"))

    def test_an_altered_resource_is_refused(self):
        with open(self.copy / "Contents/Resources/installer-locales.json", "a") as file:
            file.write(" ")
        self.assertIn("installer-locales.json", self.refusal())

    def test_an_altered_information_list_is_refused(self):
        information = self.copy / "Contents/Info.plist"
        information.write_bytes(information.read_bytes().replace(b"<true/>", b"<false/>"))
        self.assertIn("Info.plist", self.refusal())

    def test_an_altered_byte_of_either_slice_is_refused(self):
        executable = self.copy / "Contents/MacOS" / built.NAME
        content = executable.read_bytes()
        for architecture in built.ARCHITECTURES:
            with self.subTest(architecture):
                altered = bytearray(content)
                altered[content.index(linkage.slice_of(executable, architecture)) + 8192] ^= 1
                executable.write_bytes(altered)
                self.assertIn(f"({architecture})", self.refusal())
                executable.write_bytes(content)

    def test_an_identity_takes_the_place_of_the_signature(self):
        identity = built.TOOLS / "product/identity"
        built.output(built.SIGNER, self.copy, "--identity", identity)
        built.output(built.VERIFIER, "--roots", identity / "root.pem", self.copy)


if __name__ == "__main__":
    unittest.main()
