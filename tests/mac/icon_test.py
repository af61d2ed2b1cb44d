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
    at = 8
    while at < length:
        kind, size = struct.unpack_from(">4sI", content, at)
        yield kind, content[at + 8:at + size]
        at += size


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


def halved(pixels, width):
    """The picture at half its size: the mean of four pixels each, channel by channel."""
    return [
        [sum(pixels[4 * ((y + j) * width + x + i) + channel] for i in (0, 1) for j in (0, 1)) / 4
         for y in range(0, width, 2) for x in range(0, width, 2)]
        for channel in range(4)
    ]


class IconTest(unittest.TestCase):
    def setUp(self):
        self.listed = list(pictures((built.CONTENTS / "Resources/Installer.icns").read_bytes()))
        self.pictures = dict(self.listed)

    def test_every_size_is_there_once(self):
        self.assertEqual(sorted(kind for kind, _ in self.listed), sorted([*PNG, *PACKED]))

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

    def test_the_smallest_is_the_tile_of_the_next_size_at_half_of_it(self):
        """Its bars are others, so colours are compared above and below them only."""
        channels = unpacked(self.pictures[b"ic04"][4:])
        alpha, *colours = [channels[at:at + 256] for at in range(0, 1024, 256)]
        wanted_alpha, *wanted_colours = halved(decoded(self.pictures[b"ic11"]), 32)
        for place, (value, wanted) in enumerate(zip(alpha, wanted_alpha)):
            self.assertAlmostEqual(value, wanted, delta=12, msg=divmod(place, 16))
        for place in (16 * row + 8 for row in (1, 2, 13, 14)):
            for colour, wanted in zip(colours, wanted_colours):
                self.assertAlmostEqual(colour[place], wanted[place], delta=2, msg=divmod(place, 16))

    def test_the_packing_is_the_documented_one(self):
        packed = bytes.fromhex("02010202800381048205")
        self.assertEqual(unpacked(packed), bytes.fromhex("010202030303040404040505050505"))


if __name__ == "__main__":
    unittest.main()
