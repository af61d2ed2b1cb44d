"""What came after macOS 12 does not compile where no guard stands before it, whatever the flags of a source are.

Clang says nothing of adopting a protocol that came later, of @protocol(Late) and of @selector(late). None of them fails
on an older macOS by itself: the program brings the protocol along, and nobody sends what is only implemented or named.
What clang knows of a version is what the declaration says: declarations/versions.txt proves that.
"""
import json
import pathlib
import shlex
import subprocess
import unittest

import built
import cross_build

LATE_FUNCTION = """
#include <os/availability.h>
#ifdef __cplusplus
extern "C"
#endif
void lateFunction(void) API_AVAILABLE(macos(12.1));
void use(void);
void use(void) {
    lateFunction();
}
"""

LATE = """
#import <Foundation/Foundation.h>
extern "C" void lateFunction(void) API_AVAILABLE(macos(12.1));
extern "C" int const lateConstant API_AVAILABLE(macos(12.1));
API_AVAILABLE(macos(13.0)) @interface Late : NSObject
+ (void)begin;
@end
struct API_AVAILABLE(macos(13.0)) LateStructure {
    int field;
};
typedef NS_ENUM(NSInteger, LateEnumeration) { lateOne } API_AVAILABLE(macos(13.0));
typedef NS_ENUM(NSInteger, Enumeration) { early, lateEnumerator API_AVAILABLE(macos(13.1)) };
@interface NSBundle (Late)
@property int lateProperty API_AVAILABLE(macos(14.0));
- (void)lateMethod API_AVAILABLE(macos(14.0));
@end
void use(NSBundle* bundle);
void use(NSBundle* bundle) {
    (void)bundle;
    %s
}
"""
# What is used, and the version that clang is to tell of it.
USES = {
    "lateFunction();": "'lateFunction' is only available on macOS 12.1 or newer",
    "(void)lateConstant;": "'lateConstant' is only available on macOS 12.1 or newer",
    "[Late begin];": "'Late' is only available on macOS 13.0 or newer",
    "Late* object = nil; (void)object;": "'Late' is only available on macOS 13.0 or newer",
    "LateStructure structure{}; (void)structure;": "'LateStructure' is only available on macOS 13.0 or newer",
    "LateEnumeration value{}; (void)value;": "'LateEnumeration' is only available on macOS 13.0 or newer",
    "(void)lateOne;": "'lateOne' is only available on macOS 13.0 or newer",
    "(void)lateEnumerator;": "'lateEnumerator' is only available on macOS 13.1 or newer",
    "[bundle lateMethod];": "'lateMethod' is only available on macOS 14.0 or newer",
    "(void)bundle.lateProperty;": "'lateProperty' is only available on macOS 14.0 or newer",
    "bundle.lateProperty = 1;": "'setLateProperty:' is only available on macOS 14.0 or newer",
}


def flags(entry):
    """The words of a command that are not files, or folders to look for them in."""
    words = shlex.split(entry["command"])
    return tuple(word for word in words if word.startswith("-") and not word.startswith("-I"))


class AvailabilityGuardTest(built.TestInDirectory):
    def setUp(self):
        super().setUp()
        commands = cross_build.directory("arm64") / "compile_commands.json"
        self.entries = json.loads(commands.read_text(encoding="utf-8"))

    def main(self):
        [entry] = [entry for entry in self.entries if entry["file"] == str(built.ROOT / "hosts/macos/Main.mm")]
        return entry

    def compile(self, entry, text):
        """What the compiler says of a source in place of this one, and whether it took it."""
        source = self.place / f"late{pathlib.Path(entry['file']).suffix}"
        source.write_text(text, encoding="utf-8")
        words = [str(source) if word == entry["file"] else word for word in shlex.split(entry["command"])]
        words[words.index("-o") + 1] = str(self.place / "late.o")
        done = subprocess.run(words, cwd=entry["directory"], capture_output=True, text=True)
        return done.stderr, done.returncode == 0

    def test_unguarded_use_is_an_error_with_the_flags_of_every_source(self):
        sources = {(flags(entry), pathlib.Path(entry["file"]).suffix): entry for entry in self.entries}
        self.assertGreaterEqual({suffix for _, suffix in sources}, {".mm", ".cpp", ".c"})
        for entry in sources.values():
            with self.subTest(entry["file"]):
                said, taken = self.compile(entry, LATE_FUNCTION)
                self.assertFalse(taken)
                self.assertIn("'lateFunction' is only available on macOS 12.1 or newer", said)

    def test_whatever_is_used_is_guarded(self):
        for body, told in USES.items():
            with self.subTest(body):
                said, taken = self.compile(self.main(), LATE % body)
                self.assertFalse(taken)
                self.assertIn(told, said)
                self.assertEqual(said.count(" error: "), 1)

    def test_a_guarded_use_compiles(self):
        guarded = f"if (@available(macOS 14.0, *)) {{ {' '.join(f'{{ {body} }}' for body in USES)} }}"
        self.assertEqual(self.compile(self.main(), LATE % guarded), ("", True))


if __name__ == "__main__":
    unittest.main()
