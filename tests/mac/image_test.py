"""The disk image, read by programs that share nothing with the one that made it.

7-Zip reads the container and the file system in it; so do, one each, dmg2img and The Sleuth Kit.
"""
import os
import pathlib
import shutil
import subprocess
import unittest

import built
import package_mac

LIMIT = 1_200_000  # bytes, without the two videos


def content(folder):
    """What is below the folder: bytes of files, and None of directories."""
    return {
        str(path.relative_to(folder)): None if path.is_dir() else path.read_bytes()
        for path in sorted(folder.rglob("*"))
    }


class Volume:
    """An HFS+ volume, as The Sleuth Kit reads it."""

    def __init__(self, file):
        self.file = file
        # A line an entry: digest, path, number, kind and mode, owner, group, size, four dates. The file system's own
        # files have names that begin with "$".
        lines = (line.split("|") for line in built.output("fls", "-f", "hfs", "-r", "-p", "-m", "", file).splitlines())
        self.entries = {line[1].removeprefix("/"): line[2:] for line in lines if not line[1].startswith(("$", "/$"))}

    def name(self):
        [line] = [line for line in built.output("fsstat", "-f", "hfs", self.file).splitlines()
                  if line.startswith("Volume Name: ")]
        return line.removeprefix("Volume Name: ")

    def is_folder(self, path):
        return self.entries[path][1].startswith("d")

    def runs(self, path):
        return self.entries[path][1].endswith("rwxr-xr-x")

    def read(self, path):
        command = ["icat", "-f", "hfs", self.file, self.entries[path][0]]
        return subprocess.run(command, capture_output=True, check=True).stdout

    def content(self):
        return {path: None if self.is_folder(path) else self.read(path) for path in self.entries}


class ImageTest(built.TestInDirectory):
    def test_one_reader_finds_the_application_in_it_alone(self):
        built.output("7zz", "x", "-y", f"-o{self.place}", built.IMAGE)
        self.assertEqual(os.listdir(self.place), [built.NAME])
        volume = self.place / built.NAME
        shown = [name for name in os.listdir(volume) if not name.startswith((".", "["))]
        self.assertEqual(shown, [built.APPLICATION.name])
        self.assertEqual(content(volume / built.APPLICATION.name), content(built.APPLICATION))
        executable = volume / built.EXECUTABLE.relative_to(built.OUTPUT)
        self.assertTrue(os.access(executable, os.X_OK))

    def test_two_other_readers_find_the_same(self):
        disk = self.place / "disk.hfs"
        built.output("dmg2img", built.IMAGE, disk)
        volume = Volume(disk)
        self.assertEqual(volume.name(), built.NAME)
        name = built.APPLICATION.name
        expected = {f"{name}/{path}": data for path, data in content(built.APPLICATION).items()}
        self.assertEqual(volume.content(), {name: None, **expected})
        executable = str(built.EXECUTABLE.relative_to(built.OUTPUT))
        runnable = {path for path in volume.entries if not volume.is_folder(path) and volume.runs(path)}
        self.assertEqual(runnable, {executable})
        self.assertEqual({tuple(entry[2:4]) for entry in volume.entries.values()}, {("0", "0")}, "owners and groups")

    def test_it_is_compressed(self):
        whole = sum(len(data) for data in content(built.APPLICATION).values() if data)
        self.assertLess(built.IMAGE.stat().st_size, whole)

    def test_it_is_small_without_the_videos(self):
        bundle = self.place / built.APPLICATION.name
        shutil.copytree(built.APPLICATION, bundle)
        for video in (bundle / "Contents/Resources").glob("*.mp4"):
            video.unlink()
        image = self.place / "small.dmg"
        package_mac.write_image(bundle, package_mac.LinuxTools(pathlib.Path(built.TOOLS), None), image)
        self.assertLess(image.stat().st_size, LIMIT)


if __name__ == "__main__":
    unittest.main()
