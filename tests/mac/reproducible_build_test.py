"""Two builds from clean trees are the same to the bit.

The second is made at another place, by another user where that can be arranged, with another mask, time zone and character
set, one compiler at a time, and compiles the toolchain's C++ library anew. The programs that sign and pack are the same.
"""
import concurrent.futures
import os
import shutil
import subprocess
import unittest

import built

LEFT_OUT = shutil.ignore_patterns("build", "out", ".git", "__pycache__")
OTHER_USER = 65534
OTHER_HABITS = {"TZ": "America/New_York", "LC_ALL": "C.UTF-8", "CMAKE_BUILD_PARALLEL_LEVEL": "1"}


def content(output):
    """Bytes and modes of the application's files, and the bytes of the disk image."""
    files = {
        str(path.relative_to(output)): (path.stat().st_mode, path.stat().st_mtime, path.read_bytes())
        for path in sorted((output / built.APPLICATION.name).rglob("*")) if path.is_file()
    }
    return {**files, "image": (output / built.IMAGE.name).read_bytes()}


def link_or_copy(source, target):
    try:
        os.link(source, target)
    except OSError:  # on another file system, or somebody else's
        shutil.copy2(source, target)


class ReproducibleBuildTest(built.TestInDirectory):
    def setUp(self):
        super().setUp()
        self.tools = self.place / "tools"  # where every user finds them
        for file, name in ((built.SIGNER, built.SIGNER.relative_to(built.TOOLS)),
                           (built.IMAGE_MAKER, built.IMAGE_MAKER.relative_to(built.TOOLS)),
                           (built.PRODUCT, "product.json")):
            target = self.tools / name
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(file, target)
        for path in (self.place, self.tools, *self.tools.rglob("*")):
            path.chmod(0o755)

    def copy(self, name):
        folder = self.place / name
        shutil.copytree(built.ROOT, folder / "tree", symlinks=True, ignore=LEFT_OUT)
        return folder

    def build(self, folder, habits, **options):
        command = [folder / "tree/scripts/build-mac", folder / "output", "--tools", self.tools,
                   "--product", self.tools / "product.json"]
        built.output(*command, env={**os.environ, **habits}, cwd=folder, **options)
        return content(folder / "output")

    def build_here(self):
        return self.build(self.copy("one"), {"TZ": "Asia/Tokyo", "LC_ALL": "C"}, umask=0o022)

    def build_elsewhere(self):
        folder = self.copy("another place")
        cache = folder / "cache/kavio-installer" / built.TOOLCHAIN.relative_to(built.TOOLCHAIN.parent.parent)
        shutil.copytree(built.TOOLCHAIN / "node_modules", cache / "node_modules", symlinks=True,
                        copy_function=link_or_copy)
        habits = {**OTHER_HABITS, "KAVIO_CACHE": str(folder / "cache"), "HOME": str(folder)}
        user = {}
        if os.geteuid() == 0:
            user = {"user": OTHER_USER, "group": OTHER_USER, "extra_groups": []}
            for path in (folder, *folder.rglob("*")):
                if "node_modules" not in path.parts or path.name == "node_modules":
                    os.chown(path, OTHER_USER, OTHER_USER, follow_symlinks=False)
        return self.build(folder, habits, umask=0o077, **user)

    def test_two_clean_builds_are_the_same(self):
        with concurrent.futures.ThreadPoolExecutor() as both:
            first, second = [made.result() for made in (both.submit(self.build_here), both.submit(self.build_elsewhere))]
        self.assertEqual(first.keys(), second.keys())
        for name, value in first.items():
            self.assertTrue(value == second[name], f"{name} differs")


if __name__ == "__main__":
    unittest.main()
