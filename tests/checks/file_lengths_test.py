import unittest

import file_lengths
from planted_tree import PlantedTreeTest


class FileLengthsTest(PlantedTreeTest):
    def test_the_limits_are_those_of_the_kind(self):
        self.put("InstallerCore/Long.h", "\n" * 199)
        self.put("tests/Long.cpp", "\n" * 499)
        self.put("hosts/macos/Long.mm", "\n" * 249)
        self.assertEqual(list(file_lengths.faults(self.root)), [])

    def test_a_file_at_the_limit_is_found(self):
        self.put("hosts/linux/Long.h", "a\n" * 200)
        self.put("hosts/macos/Long.mm", "a\n" * 250)
        self.put("tests/deep/Long.cpp", "a\n" * 600)
        self.assertEqual(
            list(file_lengths.faults(self.root)),
            [
                "hosts/linux/Long.h: 200 lines, not under 200",
                "hosts/macos/Long.mm: 250 lines, not under 250",
                "tests/deep/Long.cpp: 600 lines, not under 500",
            ],
        )


if __name__ == "__main__":
    unittest.main()
