import os
import subprocess
import unittest

import product_content
from planted_tree import PlantedTreeTest

OWN = 'const char* own() { return "a text of its own"; }\n'
FOREIGN = 'namespace Rehearsal { const char* server() { return "serves a release"; } }\n'
READER = 'void f() { variable("LANGUAGE"), variable("LC_ALL"), variable("LC_MESSAGES"), variable("LANG"); }\n'


class ProductContentTest(PlantedTreeTest):
    def setUp(self):
        super().setUp()
        self.put(product_content.READER, READER)
        self.own = [self.compiled("own.cpp", OWN), self.compiled("main.cpp", "const char* own(); int main() { own(); }")]
        self.foreign = [self.archived("librehearsal.a", self.compiled("rehearsal.cpp", FOREIGN))]

    def compiler(self, *arguments):
        subprocess.run([os.environ["CXX"], *arguments], check=True)

    def compiled(self, name, code):
        source = self.put(name, code)
        target = self.root / f"{name}.o"
        self.compiler("-c", source, "-o", target)
        return target

    def archived(self, name, *objects):
        subprocess.run(["ar", "rc", self.root / name, *objects], check=True)
        return self.root / name

    def faults(self, *more):
        """Of an executable of the own objects and these."""
        executable = self.root / "product"
        self.compiler(*self.own, *more, "-o", executable)
        found = product_content.faults(self.root, executable, self.own, self.foreign)
        return [fault.replace(f"{executable}: ", "") for fault in found]

    def test_a_product_of_its_own_objects_has_no_fault(self):
        self.assertEqual(self.faults(), [])

    def test_what_is_linked_from_the_rehearsal_is_found(self):
        user = self.compiled("user.cpp", "namespace Rehearsal { const char* server(); } auto user = &Rehearsal::server;")
        self.assertEqual(
            self.faults(user, *self.foreign),
            ["the symbol _ZN9Rehearsal6serverEv", "the text serves a release"])

    def test_a_text_of_the_rehearsal_alone_is_found(self):
        copied = self.compiled("copied.cpp", 'extern const char* const copied = "serves a release";')
        self.assertEqual(self.faults(copied), ["the text serves a release"])

    def test_what_both_define_is_not_looked_for(self):
        self.own.append(self.compiled("shared.cpp", FOREIGN))
        self.foreign.append(self.compiled("other.cpp", "int other;"))
        self.assertEqual(self.faults(), [])

    def test_an_executable_without_symbols_is_found(self):
        found = self.faults("-s")
        self.assertEqual(found, ["none of its own symbols is in it"])

    def test_a_rehearsal_of_which_nothing_is_known_is_found(self):
        self.foreign = [self.own[0]]
        self.assertEqual([fault.partition(" in ")[0] for fault in self.faults()],
                         ["nothing but the product's own symbols is", "nothing but the product's own texts is"])

    def test_a_read_of_the_environment_is_found(self):
        for function, code in (
            ("getenv", "#include <cstdlib>\nauto root = std::getenv(\"KAVIO_ROOT\");"),
            ("secure_getenv", "#include <cstdlib>\nauto root = secure_getenv(\"KAVIO_ROOT\");"),
            ("environ", "extern \"C\" char** environ; auto all = environ;"),
        ):
            with self.subTest(function):
                self.own[2:] = [self.archived(f"{function}.a", self.compiled(f"{function}.cpp", code))]
                self.assertEqual(self.faults(), [f"{function}.cpp.o: reads the environment by {function}"])

    def test_the_reader_of_languages_reads_nothing_else(self):
        self.own.append(self.compiled("LanguagesLinux.cpp", "#include <cstdlib>\nauto language = std::getenv(\"LANG\");"))
        self.assertEqual(self.faults(), [])
        self.put(product_content.READER, READER + 'void g() { std::getenv("KAVIO_ROOT"); }')
        [fault] = self.faults()
        self.assertIn("KAVIO_ROOT", fault)


if __name__ == "__main__":
    unittest.main()
