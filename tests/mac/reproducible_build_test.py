"""Two builds from clean trees, at other places, by somebody with other habits, are the same to the bit."""
import os
import shutil
import subprocess
import unittest

import built

LEFT_OUT = shutil.ignore_patterns("build", "out", ".git", "__pycache__")
HABITS = (
    {"TZ": "Asia/Tokyo", "LC_ALL": "C"},
    {"TZ": "America/New_York", "LC_ALL": "C.UTF-8"},
)


def content(output):
    """Bytes and modes of the application's files, and the bytes of the disk image."""
    files = {
        str(path.relative_to(output)): (path.stat().st_mode, path.stat().st_mtime, path.read_bytes())
        for path in sorted((output / built.APPLICATION.name).rglob("*")) if path.is_file()
    }
    return {**files, "image": (output / built.IMAGE.name).read_bytes()}


class ReproducibleBuildTest(built.TestInDirectory):
    def copy(self, name):
        tree = self.place / name
        shutil.copytree(built.ROOT, tree, symlinks=True, ignore=LEFT_OUT)
        return tree

    def build(self, tree, habits, mask):
        output = self.place / f"output of {tree.name}"
        command = [tree / "scripts/build-mac", output, "--tools", built.TOOLS, "--product", built.PRODUCT]
        subprocess.run(command, env={**os.environ, **habits}, umask=mask, check=True)
        return content(output)

    def test_two_clean_builds_are_the_same(self):
        trees = self.copy("one"), self.copy("another tree")
        first = self.build(trees[0], HABITS[0], 0o022)
        second = self.build(trees[1], HABITS[1], 0o077)
        self.assertEqual(first.keys(), second.keys())
        for name, value in first.items():
            self.assertTrue(value == second[name], f"{name} differs")


if __name__ == "__main__":
    unittest.main()
