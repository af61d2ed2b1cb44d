import unittest

import catalogue
from planted_tree import PlantedTreeTest


class CatalogueTest(PlantedTreeTest):
    def setUp(self):
        super().setUp()
        self.put(catalogue.CATALOGUE[0], 'auto first = "First text";\nauto second =\n "Second text";')
        self.put(catalogue.CATALOGUE[1], 'auto third(int i) { return "Third " + text(i) + ": " + ")"; }')
        self.put(catalogue.CATALOGUE_TEST, 'x("First text", "Second " "text", "Third 5: )");')
        self.put("InstallerCore/Thing.cpp", '#include "First text"\n// "First text"\nf("Another text: ");')

    def expect(self, *faults):
        self.assertEqual(list(catalogue.faults(self.root)), list(faults))

    def test_a_good_tree_has_no_fault(self):
        self.expect()

    def test_a_second_spelling_is_found(self):
        for folder in ("InstallerCore/feed", "KavioInstaller", "hosts/linux"):
            for text in ('"First text"', '"First "\n  "text"', '"the First text: "', 'R"(First text)"'):
                file = self.put(f"{folder}/Other.cpp", f"throw {text};")
                self.expect(f'"First text" stands 2 times: {catalogue.CATALOGUE[0]}, {folder}/Other.cpp')
                file.unlink()

    def test_a_second_spelling_of_a_composed_text_is_found(self):
        self.put("hosts/posix/Other.h", 'auto text = "Third " + number;')
        self.expect('"Third " stands 2 times: InstallerCore/config/ErrorText.cpp, hosts/posix/Other.h')

    def test_a_text_that_is_twice_in_the_catalogue_is_found(self):
        self.put(catalogue.CATALOGUE[1], 'auto again = "First text";')
        places = ", ".join(sorted(catalogue.CATALOGUE))
        fault = f'"First text" stands 2 times: {places}'
        self.expect(fault, fault)

    def test_a_text_may_begin_another_of_the_catalogue(self):
        self.put(catalogue.CATALOGUE[1], 'auto longer = "First text of two";')
        self.put(catalogue.CATALOGUE_TEST, 'x("First text of two", "Second text");')
        self.expect()

    def test_a_text_without_a_test_is_found(self):
        self.put(catalogue.CATALOGUE_TEST, '// "First text"\nx("Second text", "Third 5: )");')
        self.expect(f'"First text" is not in {catalogue.CATALOGUE_TEST}')

    def test_an_unreadable_catalogue_is_found(self):
        self.put(catalogue.CATALOGUE[0])
        self.put(catalogue.CATALOGUE[1])
        self.expect(f"{catalogue.CATALOGUE[0]}: no texts")


if __name__ == "__main__":
    unittest.main()
