import unittest

from cpp_source import literals, without_comments


class CppSourceTest(unittest.TestCase):
    def test_comments_go(self):
        self.assertEqual(without_comments("a// b\nc/* d\ne */f"), "a \nc f")
        self.assertEqual(without_comments("a // b \\\nstill b\nc"), "a  \nc")

    def test_what_looks_like_a_comment_in_a_literal_stays(self):
        for text in ('"// a"', '"/* a */"', 'R"(// a)"', 'R"x(" // a)")x"', r'"\"// a"', "'\"' + \"// a\""):
            self.assertEqual(without_comments(text), text)

    def test_literals_are_found(self):
        self.assertEqual(literals('f("a", u8"b\\"c", R"(d"e)", \'"\', "g")'), ["a", 'b\\"c', 'd"e', "g"])
        self.assertEqual(literals('// "a"\n/* "b" */ 1\'000 "c" 2\'0'), ["c"])

    def test_adjacent_literals_are_one(self):
        self.assertEqual(literals('"a" "b"\n  // between\n "c"; "d" + "e"'), ["abc", "d", "e"])


if __name__ == "__main__":
    unittest.main()
