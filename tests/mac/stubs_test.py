import unittest

import stubs

STUB = """--- !tapi-tbd
tbd-version:     4
targets:         [ arm64-macos, x86_64-macos ]
install-name:    '/usr/lib/libthing.A.dylib'
exports:
  - targets:     [ arm64-macos, x86_64-macos ]
    symbols:     [ _both, '_quoted$1050',
                   _next_line ]
    objc-classes: [ Thing ]
  - targets:     [ arm64-macos ]
    symbols:     [ _arm ]
    weak-symbols: [ _weak ]
...
"""


class StubsTest(unittest.TestCase):
    def test_names_are_those_of_the_architecture(self):
        both = {"_both", "_quoted$1050", "_next_line", "_OBJC_CLASS_$_Thing", "_OBJC_METACLASS_$_Thing"}
        self.assertEqual(stubs.exported(STUB, "x86_64"), both)
        self.assertEqual(stubs.exported(STUB, "arm64"), both | {"_arm", "_weak"})

    def test_what_is_for_arm64e_is_for_arm64(self):
        self.assertIn("_arm", stubs.exported(STUB.replace("arm64-macos", "arm64e-macos"), "arm64"))

    def test_another_system_is_not_meant(self):
        self.assertEqual(stubs.exported(STUB.replace("x86_64-macos", "x86_64-maccatalyst"), "x86_64"), set())

    def test_the_install_name_is_the_first_one(self):
        self.assertEqual(stubs.install_name(STUB + STUB.replace("thing", "other")), "/usr/lib/libthing.A.dylib")


if __name__ == "__main__":
    unittest.main()
