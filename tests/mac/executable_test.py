"""The executable as a Mac's loader and its users would see it."""
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

import built
import embed_configuration
import linkage
import package_mac


class ExecutableTest(unittest.TestCase):
    def test_it_is_for_both_architectures(self):
        self.assertEqual(built.architectures(built.EXECUTABLE), set(built.ARCHITECTURES))

    def test_each_slice_is_a_program_for_macos_12(self):
        for architecture in built.ARCHITECTURES:
            with self.subTest(architecture):
                headers = built.headers(built.EXECUTABLE, architecture)
                self.assertRegex(headers, r" EXECUTE .* PIE\b")
                self.assertIn("LC_MAIN", headers)
                self.assertRegex(headers, r"platform macos\s")
                self.assertRegex(headers, r"minos 12\.0\s")

    def test_it_needs_libraries_of_the_system_only(self):
        for architecture in built.ARCHITECTURES:
            with self.subTest(architecture):
                needed = linkage.libraries(built.EXECUTABLE, architecture)
                self.assertIn("/usr/lib/libSystem.B.dylib", needed)
                for library in needed:
                    self.assertRegex(library, linkage.OF_THE_SYSTEM)

    def test_every_name_that_it_asks_for_is_in_the_stub_of_the_library_that_it_asks(self):
        for architecture in built.ARCHITECTURES:
            with self.subTest(architecture):
                self.assertEqual(linkage.faults(built.EXECUTABLE, architecture), [])

    def test_no_symbol_is_left_but_those_that_a_loader_could_ask_for(self):
        for architecture in built.ARCHITECTURES:
            with self.subTest(architecture):
                listed = built.output("llvm-nm-19", f"--arch={architecture}", "--defined-only", "-m", built.EXECUTABLE)
                self.assertTrue("__mh_execute_header" in listed)
                self.assertEqual([line for line in listed.splitlines() if " non-external " in line], [])

    def test_every_pointer_and_stub_leads_to_a_symbol_or_is_said_to_be_local(self):
        for architecture in built.ARCHITECTURES:
            with self.subTest(architecture):
                table = built.output("llvm-objdump-19", "--macho", "--indirect-symbols", f"--arch={architecture}",
                                     built.EXECUTABLE)
                targets = re.findall(r"^0x[0-9a-f]+ +(.*)$", table, re.MULTILINE)
                self.assertGreater(len(targets), 100)
                self.assertEqual([target for target in targets if target.endswith("?")], [])

    def test_stripping_it_again_gives_the_same_bytes(self):
        tools = package_mac.LinuxTools(built.TOOLS, None)
        for architecture in built.ARCHITECTURES:
            with self.subTest(architecture), tempfile.TemporaryDirectory() as place:
                copy = pathlib.Path(place) / "slice"  # an ad-hoc signature has the file's name
                stripped = set()
                for _ in range(4):
                    shutil.copy(built.BUILDS / f"mac-{architecture}/hosts/macos" / built.NAME, copy)
                    tools.strip(copy)
                    stripped.add(copy.read_bytes())
                self.assertEqual(len(stripped), 1)

    def test_no_path_of_the_machine_that_built_it_is_in_it(self):
        content = built.EXECUTABLE.read_bytes()
        paths = {built.ROOT, built.BUILDS, built.TOOLCHAIN, pathlib.Path.home()} - {pathlib.Path("/")}
        for path in paths:
            self.assertNotIn(str(path).encode(), content)
        self.assertEqual(re.findall(rb"/(?:home|build|tmp)/[\w./-]+\.(?:cpp|mm|h|o|a)\b", content), [])

    def test_the_configuration_is_in_it(self):
        product = embed_configuration.read_product(built.PRODUCT.read_text(encoding="utf-8"))
        identifier = (product["bundleID"] + ".installer").encode()
        for architecture in built.ARCHITECTURES:
            with self.subTest(architecture):
                self.assertIn(identifier, linkage.slice_of(built.EXECUTABLE, architecture))

    def test_nothing_of_the_rehearsal_is_in_it(self):
        """Before they were stripped, the executables had every symbol."""
        for architecture in built.ARCHITECTURES:
            with self.subTest(architecture):
                executable = built.BUILDS / f"mac-{architecture}/hosts/macos" / built.NAME
                symbols = built.output("llvm-nm-19", "--defined-only", executable)
                self.assertTrue("InstallerCore" in symbols)
                self.assertFalse("Rehearsal" in symbols)
                self.assertFalse("KavioKit" in symbols)


class LinkageTest(built.TestInDirectory):
    """That the checks above find what they look for."""

    STUB = """--- !tapi-tbd
tbd-version: 4
targets: [ arm64-macos ]
install-name: '%s'
exports:
  - targets: [ arm64-macos ]
    symbols: [ _other ]
...
"""

    def linked(self, *options):
        """A program that asks for the name _other."""
        (self.place / "main.c").write_text("void other(void);\nint main(void) { other(); return 0; }\n")
        subprocess.run(["clang-19", "-target", "arm64-apple-macos12", "-c", "main.c"], cwd=self.place, check=True)
        subprocess.run(["ld64.lld-19", "-arch", "arm64", "-platform_version", "macos", "12.0", "14.0", "main.o",
                        "-fixup_chains", *options, "-o", "main"], cwd=self.place, check=True)
        return self.place / "main"

    def linked_with(self, library):
        (self.place / "library.tbd").write_text(self.STUB % library)
        return self.linked("library.tbd")

    def test_a_library_that_is_not_the_systems_is_found(self):
        executable = self.linked_with("/opt/lib/libother.dylib")
        self.assertEqual(linkage.libraries(executable, "arm64"), ["/opt/lib/libother.dylib"])
        self.assertNotRegex("/opt/lib/libother.dylib", linkage.OF_THE_SYSTEM)
        self.assertEqual(linkage.faults(executable, "arm64"), ["_other: libother has no stub"])

    def test_a_name_that_the_library_does_not_have_is_found(self):
        executable = self.linked_with("/usr/lib/libSystem.B.dylib")
        self.assertEqual(linkage.faults(executable, "arm64"), ["_other: not in the stub of libSystem"])

    def test_a_name_that_is_asked_of_no_library_is_found(self):
        executable = self.linked("-undefined", "dynamic_lookup")
        self.assertEqual(linkage.faults(executable, "arm64"),
                         ["not understood: (undefined) external _other (dynamically looked up)"])


if __name__ == "__main__":
    unittest.main()
