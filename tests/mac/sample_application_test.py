"""The sample application with the executables of the cross-build: what a release made on Linux has for a Mac."""
import subprocess
import unittest

import built
import linkage

KIT = "@rpath/KavioKit.framework/Versions/A/KavioKit"
KIT_FILE = "Frameworks/KavioKit.framework/Versions/A/KavioKit"
EXECUTABLES = {
    "MacOS/Kavio": " EXECUTE ",
    "Helpers/KavioHelper": " EXECUTE ",
    KIT_FILE: " DYLIB ",
}


class SampleApplicationTest(built.TestInDirectory):
    @classmethod
    def setUpClass(cls):
        cls.executables = built.OUTPUT / "sample-executables"

    def setUp(self):
        super().setUp()
        image = self.place / "Kavio.dmg"
        built.output(built.IMAGE_MAKER, image, "--version", "1.4.2", "--executables", self.executables)
        built.output("7zz", "x", "-y", f"-o{self.place}", image)
        self.bundle = self.place / "Kavio/Kavio.app"
        self.contents = self.bundle / "Contents"

    def test_its_executables_are_for_both_architectures_and_macos_12(self):
        for name, kind in EXECUTABLES.items():
            self.assertEqual(built.architectures(self.contents / name), set(built.ARCHITECTURES))
            for architecture in built.ARCHITECTURES:
                with self.subTest(name=name, architecture=architecture):
                    headers = built.headers(self.contents / name, architecture)
                    self.assertIn(kind, headers)
                    self.assertRegex(headers, r"minos 12\.0\s")

    def test_the_program_shows_a_window_and_uses_the_framework_in_the_bundle(self):
        for architecture in built.ARCHITECTURES:
            with self.subTest(architecture):
                program = self.contents / "MacOS/Kavio"
                headers = built.headers(program, architecture)
                self.assertIn("path @executable_path/../Frameworks ", headers)
                self.assertIn(f"name {KIT} ", built.headers(self.contents / KIT_FILE, architecture))
                self.assertIn(KIT, linkage.libraries(program, architecture))
                undefined = built.output("llvm-nm-19", f"--arch={architecture}", "-u", program)
                self.assertIn("_OBJC_CLASS_$_NSWindow", undefined)
                self.assertIn("_kavioKitName", undefined)

    def test_they_need_what_the_system_has_and_the_framework(self):
        for name in EXECUTABLES:
            for architecture in built.ARCHITECTURES:
                with self.subTest(name=name, architecture=architecture):
                    executable = self.contents / name
                    for library in set(linkage.libraries(executable, architecture)) - {KIT}:
                        self.assertRegex(library, linkage.OF_THE_SYSTEM)
                    of_the_framework = ["_kavioKitName: KavioKit has no stub"] if name == "MacOS/Kavio" else []
                    self.assertEqual(linkage.faults(executable, architecture), of_the_framework)

    def test_it_can_be_signed_as_a_release_is(self):
        identity = built.TOOLS / "product/identity"
        built.output(built.SIGNER, self.bundle, "--identity", identity)
        built.output(built.VERIFIER, "--roots", identity / "root.pem", self.bundle)

    def test_the_executable_for_linux_is_the_one_that_it_always_has(self):
        program = self.contents / "Linux/Kavio"
        program.chmod(0o755)
        echo = subprocess.run([program], input=b"still there", capture_output=True, check=True)
        self.assertEqual(echo.stdout, b"still there")


if __name__ == "__main__":
    unittest.main()
