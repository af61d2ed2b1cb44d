"""What came after macOS 12 does not compile where no guard stands before it, in any folder of Objective-C++ sources."""
import json
import pathlib
import shlex
import subprocess
import unittest

import built
import cross_build

LATE = """
#import <Foundation/Foundation.h>
API_AVAILABLE(macos(13.0)) @interface Late : NSObject
+ (void)begin;
@end
extern "C" void lateFunction(void) API_AVAILABLE(macos(12.1));
@interface NSBundle (Late)
- (void)lateMethod API_AVAILABLE(macos(14.0));
@end
void use(NSBundle* bundle);
void use(NSBundle* bundle) {
    %s
}
"""


class AvailabilityGuardTest(built.TestInDirectory):
    def commands(self):
        entries = json.loads((cross_build.directory("arm64") / "compile_commands.json").read_text(encoding="utf-8"))
        return {entry["file"]: entry for entry in entries if entry["file"].endswith(".mm")}

    def compile(self, entry, body):
        """What the compiler says of a source in place of this one, and whether it took it."""
        source = self.place / "late.mm"
        source.write_text(LATE % body, encoding="utf-8")
        words = [str(source) if word == entry["file"] else word for word in shlex.split(entry["command"])]
        words[words.index("-o") + 1] = str(self.place / "late.o")
        done = subprocess.run(words, cwd=entry["directory"], capture_output=True, text=True)
        return done.stderr, done.returncode == 0

    def test_every_source_is_compiled_with_unguarded_use_an_error(self):
        folders = {pathlib.Path(file).parent: entry for file, entry in self.commands().items()}
        self.assertIn(built.ROOT / "hosts/macos", folders)
        for folder, entry in folders.items():
            with self.subTest(str(folder)):
                said, taken = self.compile(entry, "lateFunction();")
                self.assertFalse(taken)
                self.assertIn("'lateFunction' is only available on macOS 12.1 or newer", said)

    def test_classes_and_methods_are_guarded_too(self):
        entry = self.commands()[str(built.ROOT / "hosts/macos/Main.mm")]
        for body, said in (
            ("[Late begin];", "'Late' is only available on macOS 13.0 or newer"),
            ("[bundle lateMethod];", "'lateMethod' is only available on macOS 14.0 or newer"),
        ):
            with self.subTest(body):
                self.assertIn(said, self.compile(entry, body)[0])

    def test_a_guarded_use_compiles(self):
        entry = self.commands()[str(built.ROOT / "hosts/macos/Main.mm")]
        body = "if (@available(macOS 14.0, *)) { lateFunction(); [Late begin]; [bundle lateMethod]; }"
        self.assertEqual(self.compile(entry, body), ("", True))


if __name__ == "__main__":
    unittest.main()
