"""scripts/embed_configuration.py as a program, alone and as a step of the build."""
import base64
import json
import os
import pathlib
import re
import subprocess
import sys
import unittest

from planted_tree import PlantedTreeTest

ROOT = pathlib.Path(__file__).resolve().parents[2]
SCRIPT = ROOT / "scripts" / "embed_configuration.py"
CMAKE = os.environ.get("CMAKE", "cmake")

PRODUCT = {
    "installerVersion": "1.0.0",
    "channelURL": "https://dist.example.test/latest-mac.yml",
    "offlineURL": "https://example.test/",
    "allowedHosts": ["dist.example.test", "example.test"],
    "macTeamID": "SAMPLETEAM",
    "bundleID": "test.example.app",
    "windowsSignerSHA256": ["5f3a"],
}
ARRAYS = ("allowedHosts", "windowsSignerSHA256")


def run(command):
    return subprocess.run(command, capture_output=True, text=True, check=False)


class EmbedConfigurationTest(PlantedTreeTest):
    def setUp(self):
        super().setUp()
        self.source = self.root / "product.json"
        self.target = self.root / "Data.cpp"

    def embed(self, *arguments):
        return run([sys.executable, "-B", SCRIPT, *arguments])

    def embed_text(self, text):
        self.put("product.json", text)
        return self.embed(self.source, self.target)

    def expect_refused(self, text, reason):
        result = self.embed_text(text)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stdout, "")
        self.assertEqual(
            result.stderr, f"{self.source}: the product's configuration cannot be used: {reason}.\n"
        )
        self.assertFalse(self.target.exists())

    def embedded(self, text):
        result = self.embed_text(text)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))
        source = self.target.read_text(encoding="utf-8")
        (encoded,) = re.findall(r'BuildConfig::base64 =\s*"([^"]*)";', source)
        (identifier,) = re.findall(r'BuildConfig::installerIdentifier = "([^"]*)";', source)
        return base64.b64decode(encoded, validate=True).decode("utf-8"), identifier

    def test_a_product_is_embedded_compactly_and_in_order(self):
        expected = json.dumps(PRODUCT, separators=(",", ":"))
        backwards = dict(reversed(PRODUCT.items()))
        for text in (expected, json.dumps(PRODUCT, indent=4), json.dumps(backwards)):
            self.assertEqual(self.embedded(text), (expected, "test.example.app.installer"))

    def test_further_keys_are_left_out(self):
        json_text, _ = self.embedded(json.dumps({"before": 1, **PRODUCT, "after": [None]}))
        self.assertEqual(json.loads(json_text), PRODUCT)

    def test_any_text_comes_through(self):
        product = {**PRODUCT, "offlineURL": 'é"\\\n\u2028😀??/', "allowedHosts": []}
        json_text, _ = self.embedded(json.dumps(product))
        self.assertEqual(json.loads(json_text), product)

    def test_the_output_is_the_same_each_time(self):
        self.embedded(json.dumps(PRODUCT))
        first = self.target.read_bytes()
        self.embedded(json.dumps(PRODUCT))
        self.assertEqual(self.target.read_bytes(), first)

    def test_each_key_is_required(self):
        for key in PRODUCT:
            rest = {other: value for other, value in PRODUCT.items() if other != key}
            self.expect_refused(json.dumps(rest), f'the key "{key}" is missing')

    def test_each_type_is_strict(self):
        for key in PRODUCT:
            kind = "an array of strings" if key in ARRAYS else "a string"
            wrong = [None, ["a", 5], "a"] if key in ARRAYS else [None, 5, ["a"]]
            for value in wrong:
                self.expect_refused(
                    json.dumps({**PRODUCT, key: value}), f'the key "{key}" does not hold {kind}'
                )

    def test_only_an_object_is_a_product(self):
        for text in ("[]", '"a"', "5", "null", json.dumps([PRODUCT])):
            self.expect_refused(text, "its top level is not an object")

    def test_what_is_not_json_is_refused(self):
        whole = json.dumps(PRODUCT)
        for text in ("", "{", whole[:-1], whole + "}", "{'a': 1}", "\ufeff" + whole, "9" * 5000):
            result = self.embed_text(text)
            self.assertEqual(result.returncode, 1)
            self.assertRegex(result.stderr, r"cannot be used: it is not JSON \(.+\)\.\n\Z")
        self.expect_refused("[" * 100_000, "it is nested too deeply")

    def test_a_duplicate_key_is_refused(self):
        text = json.dumps(PRODUCT)[:-1] + ', "bundleID": "test.example.app"}'
        self.expect_refused(text, 'the key "bundleID" occurs more than once')

    def test_the_bundle_identifier_names_a_directory(self):
        for value in ("", "app", "..", "../a.b", "a/b.c", ".a.b", "a..b", "a.b.", "a.b\n", "a.é"):
            self.expect_refused(
                json.dumps({**PRODUCT, "bundleID": value}),
                'the key "bundleID" does not hold a reverse-DNS identifier',
            )

    def test_a_text_that_has_no_utf_8_is_refused(self):
        result = self.embed_text(json.dumps(PRODUCT).replace("SAMPLETEAM", "\\ud800"))
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stderr, r"cannot be used: .*surrogates not allowed\.\n\Z")
        self.assertFalse(self.target.exists())

    def test_a_file_that_cannot_be_read_is_refused(self):
        self.source.write_bytes(b"\xff{}")
        for source in (self.source, self.root, self.root / "missing"):
            result = self.embed(source, self.target)
            self.assertEqual(result.returncode, 1)
            self.assertTrue(
                result.stderr.startswith(f"{source}: the product's configuration cannot be used: "),
                result.stderr,
            )
            self.assertEqual(result.stderr.count("\n"), 1)

    def test_arguments_are_required(self):
        for arguments in ([], ["a"], ["a", "b", "c"]):
            result = self.embed(*arguments)
            self.assertEqual(result.returncode, 2)
            self.assertEqual(result.stderr, "Usage: embed_configuration.py PRODUCT.json OUTPUT.cpp\n")


class ProductDataTest(PlantedTreeTest):
    """The build's step, in a project that has nothing else."""

    def setUp(self):
        super().setUp()
        self.product = self.put("product.json", json.dumps(PRODUCT))
        self.put(
            "CMakeLists.txt",
            "cmake_minimum_required(VERSION 3.25)\nproject(Tiny LANGUAGES NONE)\n"
            f'include("{ROOT}/cmake/ProductData.cmake")\n'
            'add_custom_target(data ALL DEPENDS "${KAVIO_BUILD_CONFIG_SOURCE}")\n',
        )

    def configure(self, product):
        return run(
            [CMAKE, "-G", "Ninja", "-S", self.root, "-B", self.root / "build", f"-DKAVIO_PRODUCT={product}"]
        )

    def build(self):
        return run([CMAKE, "--build", self.root / "build"])

    def test_a_file_that_cannot_be_used_stops_the_build_with_its_sentence(self):
        self.assertEqual(self.configure(self.product).returncode, 0)
        self.assertEqual(self.build().returncode, 0)
        self.put("product.json", json.dumps({**PRODUCT, "macTeamID": 5}))
        result = self.build()
        self.assertNotEqual(result.returncode, 0)
        self.assertIn(
            f"{self.product}: the product's configuration cannot be used: "
            'the key "macTeamID" does not hold a string.\n',
            result.stdout,
        )

    def test_a_changed_file_is_embedded_anew(self):
        self.configure(self.product)
        self.build()
        data = self.root / "build" / "product" / "BuildConfigData.cpp"
        before = data.read_bytes()
        self.put("product.json", json.dumps({**PRODUCT, "installerVersion": "1.0.1"}))
        self.assertEqual(self.build().returncode, 0)
        self.assertNotEqual(data.read_bytes(), before)

    def test_a_missing_file_stops_the_configuration(self):
        result = self.configure(self.root / "missing.json")
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("KAVIO_PRODUCT names no file:", result.stderr)


if __name__ == "__main__":
    unittest.main()
