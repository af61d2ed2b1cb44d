import json
import unittest

import compiled_sources
from planted_tree import PlantedTreeTest

FOLDERS = ["InstallerCore", "tests"]


class CompiledSourcesTest(PlantedTreeTest):
    def setUp(self):
        super().setUp()
        self.build = self.root / "build"
        self.put("InstallerCore/Thing.h")
        self.put("InstallerCore/Thing.cpp")
        self.put("tests/ThingTest.cpp")
        self.put("tests/Helper.cpp")
        self.put("bench/Elsewhere.cpp")
        self.compile(
            {
                "InstallerCore/Thing.cpp": "Core",
                "tests/ThingTest.cpp": "tests",
                "tests/Helper.cpp": "Helper",
            }
        )
        self.put("build/CTestTestfile.cmake", 'subdirs("more")')
        self.put("build/more/CTestTestfile.cmake", 'include("/b/more/tests[1]_include.cmake")')

    def compile(self, target_of):
        commands = [
            {
                "directory": str(self.build),
                "file": str(self.root / file),
                "command": f"c++ -o x/CMakeFiles/{target}.dir/{file}.o -c {file}",
            }
            for file, target in target_of.items()
        ]
        self.put("build/compile_commands.json", json.dumps(commands))

    def expect(self, *faults):
        self.assertEqual(list(compiled_sources.faults(self.root, self.build, FOLDERS)), list(faults))

    def test_a_whole_tree_has_no_fault(self):
        self.expect()

    def test_a_forgotten_test_is_found(self):
        self.put("tests/deep/OtherTest.cpp")
        self.expect("tests/deep/OtherTest.cpp: in no target")

    def test_a_forgotten_source_is_found(self):
        self.put("InstallerCore/Other.cpp")
        self.expect("InstallerCore/Other.cpp: in no target")

    def test_a_namesake_elsewhere_does_not_count(self):
        self.put("InstallerCore/deep/Thing.cpp")
        self.expect("InstallerCore/deep/Thing.cpp: in no target")

    def test_a_test_that_is_built_but_not_run_is_found(self):
        self.put("build/more/CTestTestfile.cmake", 'include("/b/more/other-tests[1]_include.cmake")')
        self.expect("tests/ThingTest.cpp: in no target that CTest runs")


if __name__ == "__main__":
    unittest.main()
