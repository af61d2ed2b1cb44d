"""Nothing of the C++ library is used that macOS 12 has not.

The toolchain brings a C++ library of its own and takes its word for what every Mac has. Here the library's marks of
what came when are on, as they are on a Mac, and the compiler obeys them.
"""
import shlex
import subprocess
import unittest

import built
import cross_build

MARKS = "_LIBCPP_HAS_VENDOR_AVAILABILITY_ANNOTATIONS"
FLAGS = [f"-U{MARKS}", f"-D{MARKS}=1"]


class LibraryAvailabilityTest(built.TestInDirectory):
    def test_everything_compiles_for_macos_12(self):
        build = self.place / "build"
        built.output("cmake", "--preset", "mac-arm64", "-B", build, f"-DCMAKE_CXX_FLAGS={shlex.join(FLAGS)}",
                     f"-DCMAKE_OBJCXX_FLAGS={shlex.join(FLAGS)}", cwd=built.ROOT)
        built.output("cmake", "--build", build)

    def test_what_came_later_does_not(self):
        (self.place / "late.cpp").write_text(
            "#include <charconv>\nchar* f(char* at, double value) { return std::to_chars(at, at + 9, value).ptr; }\n")
        compiler = cross_build.directory("arm64") / "zig-c++"
        command = [compiler, "-std=c++20", "-c", "late.cpp", "-o", "late.o"]
        subprocess.run(command, cwd=self.place, check=True, capture_output=True)
        marked = subprocess.run([*command, *FLAGS], cwd=self.place, capture_output=True, text=True)
        self.assertNotEqual(marked.returncode, 0)
        self.assertIn("unavailable: introduced in macOS 13.3", marked.stderr)


if __name__ == "__main__":
    unittest.main()
