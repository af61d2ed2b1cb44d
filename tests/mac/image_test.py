"""The disk image, read by programs that share nothing with the one that made it."""
import os
import pathlib
import shutil
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


class ImageTest(built.TestInDirectory):
    def extracted(self, file):
        place = self.place / "volume"
        built.output("7zz", "x", "-y", f"-o{place}", file)
        [volume] = place.iterdir()
        return volume

    def check(self, volume):
        self.assertEqual(volume.name, built.NAME)
        shown = [name for name in os.listdir(volume) if not name.startswith((".", "["))]
        self.assertEqual(shown, [built.APPLICATION.name])
        self.assertEqual(content(volume / built.APPLICATION.name), content(built.APPLICATION))
        executable = volume / built.EXECUTABLE.relative_to(built.OUTPUT)
        self.assertTrue(os.access(executable, os.X_OK))

    def test_a_reader_of_disk_images_finds_the_application_in_it_alone(self):
        self.check(self.extracted(built.IMAGE))

    def test_another_reader_finds_the_same(self):
        disk = self.place / "disk.hfs"
        built.output("dmg2img", built.IMAGE, disk)
        self.check(self.extracted(disk))

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
