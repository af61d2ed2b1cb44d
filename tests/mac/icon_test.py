"""The icon in the bundle has a whole picture for every size that a Mac asks for."""
import struct
import subprocess
import unittest

import built

# Points, and pixels a point.
PNG = {b"ic11": (16, 2), b"ic12": (32, 2), b"ic07": (128, 1), b"ic13": (128, 2), b"ic08": (256, 1), b"ic14": (256, 2),
       b"ic09": (512, 1), b"ic10": (512, 2)}
PACKED = {b"ic04": (16, 1), b"ic05": (32, 1)}


def pictures(content):
    magic, length = struct.unpack_from(">4sI", content)
    if magic != b"icns" or length != len(content):
        raise AssertionError("this is no file of icons")
    found, at = {}, 8
    while at < length:
        kind, size = struct.unpack_from(">4sI", content, at)
        found[kind] = content[at + 8:at + size]
        at += size
    return found


def unpacked(data):
    result = bytearray()
    at = 0
    while at < len(data):
        mark = data[at]
        if mark < 0x80:
            result += data[at + 1:at + mark + 2]
            at += mark + 2
        else:
            result += data[at + 1:at + 2] * (mark - 0x80 + 3)
            at += 2
    return bytes(result)


def decoded(picture):
    """The four bytes of each pixel, as a decoder of videos sees it."""
    command = ["ffmpeg", "-v", "error", "-f", "png_pipe", "-i", "-", "-f", "rawvideo", "-pix_fmt", "argb", "-"]
    return subprocess.run(command, input=picture, capture_output=True, check=True).stdout


class IconTest(unittest.TestCase):
    def setUp(self):
        self.pictures = pictures((built.CONTENTS / "Resources/Installer.icns").read_bytes())

    def test_every_size_is_there_once(self):
        self.assertEqual(set(self.pictures), set(PNG) | set(PACKED))

    def test_pictures_have_the_pixels_of_their_kind(self):
        for kind, (points, scale) in PNG.items():
            with self.subTest(kind):
                width, height = struct.unpack_from(">II", self.pictures[kind], 16)
                self.assertEqual((width, height), (points * scale, points * scale))
                self.assertEqual(len(decoded(self.pictures[kind])), 4 * width * height)

    def test_packed_pictures_are_those_of_the_same_pixels(self):
        for kind, (points, _) in PACKED.items():
            with self.subTest(kind):
                self.assertEqual(self.pictures[kind][:4], b"ARGB")
                self.assertEqual(len(unpacked(self.pictures[kind][4:])), 4 * points * points)
        channels = unpacked(self.pictures[b"ic05"][4:])
        same = decoded(self.pictures[b"ic11"])
        self.assertEqual(channels, same[0::4] + same[1::4] + same[2::4] + same[3::4])

    def test_the_packing_is_the_documented_one(self):
        packed = bytes.fromhex("02010202800381048205")
        self.assertEqual(unpacked(packed), bytes.fromhex("010202030303040404040505050505"))


if __name__ == "__main__":
    unittest.main()
