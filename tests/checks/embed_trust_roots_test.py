"""scripts/embed_trust_roots.py as a program, alone and as a step of the build."""
import base64
import os
import pathlib
import re
import subprocess
import sys
import unittest

from planted_tree import PlantedTreeTest

ROOT = pathlib.Path(__file__).resolve().parents[2]
SCRIPT = ROOT / "scripts" / "embed_trust_roots.py"
CMAKE = os.environ.get("CMAKE", "cmake")


def pem(content):
    """A block with that content, which nobody looks into before the program runs."""
    text = base64.encodebytes(content).decode("ascii")
    return f"-----BEGIN CERTIFICATE-----\n{text}-----END CERTIFICATE-----\n"


FIRST = pem(bytes(range(200)))
SECOND = pem(b"\x00" * 10)


def run(command):
    return subprocess.run(command, capture_output=True, text=True, check=False)


class EmbedTrustRootsTest(PlantedTreeTest):
    def setUp(self):
        super().setUp()
        self.source = self.root / "root.pem"
        self.target = self.root / "Roots.cpp"

    def embed(self, *arguments):
        return run([sys.executable, "-B", SCRIPT, *arguments])

    def embedded(self, roots):
        result = self.embed(roots, self.target)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))
        return self.target.read_text(encoding="utf-8")

    def expect_refused(self, text, reason):
        self.put("root.pem", text)
        result = self.embed(self.source, self.target)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stdout, "")
        self.assertEqual(result.stderr, f"{self.source}: the trust roots cannot be used: {reason}.\n")
        self.assertFalse(self.target.exists())

    def test_the_certificates_are_in_the_source_as_they_are(self):
        both = FIRST + SECOND
        for text, expected in ((FIRST, FIRST), (both, both), (f"\n{FIRST}\n\n{SECOND}", both)):
            source = self.embedded(self.put("root.pem", text))
            (literals,) = re.findall(r"roots = fromPem\(\n((?: +\"[^\"\\]*\\n\"\n?)+)\);", source)
            lines = re.findall(r'"([^"\\]*)\\n"', literals)
            self.assertEqual("\n".join(lines) + "\n", expected)

    def test_apple_is_known_by_name(self):
        self.assertIn("static const TrustRoots roots = apple();\n", self.embedded("apple"))

    def test_a_file_of_that_name_is_a_file(self):
        source = self.embedded(self.put("apple", FIRST))
        self.assertNotIn("apple()", source)

    def test_the_output_is_deterministic(self):
        self.put("root.pem", FIRST)
        first = self.embedded(self.source)
        self.assertEqual(self.embedded(self.source), first)
        self.assertNotIn(str(self.root), first)

    def test_what_holds_no_certificate_is_refused(self):
        for text in ("", "\n", " \n"):
            self.expect_refused(text, "there is no certificate in it")

    def test_what_holds_something_else_is_refused(self):
        other = "there is something else in it than certificates"
        key = FIRST.replace("CERTIFICATE", "PRIVATE KEY")
        for text in (
            "text",
            key,
            FIRST + key,
            "Subject: somebody\n" + FIRST,
            FIRST[:-1],
            FIRST.replace("\n", "", 1),
            FIRST.replace("A", "*", 1),
            FIRST.replace("A", '"', 1),
            FIRST.replace("A", "\\", 1),
        ):
            self.expect_refused(text, other)

    def test_what_is_not_base64_is_refused(self):
        for body in ("QUJ", "=QUJ", "QU=J"):
            self.expect_refused(
                f"-----BEGIN CERTIFICATE-----\n{body}\n-----END CERTIFICATE-----\n",
                "a certificate is not base64",
            )

    def test_a_file_that_cannot_be_read_is_refused(self):
        self.source.write_bytes(b"\xff")
        for source in (self.source, self.root, self.root / "missing"):
            result = self.embed(source, self.target)
            self.assertEqual(result.returncode, 1)
            self.assertTrue(
                result.stderr.startswith(f"{source}: the trust roots cannot be used: "), result.stderr
            )
            self.assertEqual(result.stderr.count("\n"), 1)

    def test_arguments_are_required(self):
        for arguments in ([], ["a"], ["a", "b", "c"]):
            result = self.embed(*arguments)
            self.assertEqual(result.returncode, 2)
            self.assertEqual(result.stderr, "Usage: embed_trust_roots.py ROOTS OUTPUT.cpp\n")


class TrustRootsStepTest(PlantedTreeTest):
    """The build's step, in a project that has nothing else."""

    def setUp(self):
        super().setUp()
        self.roots = self.put("root.pem", FIRST)
        self.put(
            "CMakeLists.txt",
            "cmake_minimum_required(VERSION 3.25)\nproject(Tiny LANGUAGES CXX)\n"
            f'include("{ROOT}/cmake/TrustRoots.cmake")\n'
            "add_library(CodeSign INTERFACE)\n"
            'kavio_trust_roots(Roots "${ROOTS}")\n'
            'add_custom_target(data DEPENDS "${CMAKE_BINARY_DIR}/Roots.cpp")\n',
        )

    def configure(self, roots):
        build = self.root / "build"
        result = run([CMAKE, "-G", "Ninja", "-S", self.root, "-B", build, f"-DROOTS={roots}"])
        self.assertEqual(result.returncode, 0, result.stderr)

    def build(self):
        return run([CMAKE, "--build", self.root / "build", "--target", "data"])

    def data(self):
        return (self.root / "build" / "Roots.cpp").read_bytes()

    def test_a_file_that_cannot_be_used_stops_the_build_with_its_sentence(self):
        self.put("root.pem", "text")
        self.configure(self.roots)
        result = self.build()
        self.assertNotEqual(result.returncode, 0)
        self.assertIn(
            f"{self.roots}: the trust roots cannot be used: there is something else in it than certificates.\n",
            result.stdout,
        )

    def test_a_changed_file_is_embedded_anew(self):
        self.configure(self.roots)
        self.assertEqual(self.build().returncode, 0)
        before = self.data()
        self.put("root.pem", SECOND)
        self.assertEqual(self.build().returncode, 0)
        self.assertNotEqual(self.data(), before)

    def test_apple_needs_no_file(self):
        self.configure("apple")
        self.assertEqual(self.build().returncode, 0)
        self.assertIn(b"apple()", self.data())

    def test_a_missing_file_stops_the_build(self):
        self.configure(self.root / "missing")
        self.assertNotEqual(self.build().returncode, 0)


if __name__ == "__main__":
    unittest.main()
