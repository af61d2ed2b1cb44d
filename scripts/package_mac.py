"""Makes the application's bundle of its built executables, signs it, and packs it into a disk image.

The same input gives the same bytes: nothing in the bundle has the day, the name or the mask of whoever makes it, and
nothing in an image that is packed on Linux either. (One that a Mac packs has the day, and its user as the owner.)
"""
import json
import os
import pathlib
import plistlib
import re
import shutil
import subprocess
import tempfile

import embed_configuration
import mach_o_symbols

NAME = "Kavio Installer"
ICON = "Installer.icns"
MINIMUM_SYSTEM = "12.0"
DATE = 1767225600  # 1 January 2026, as all that a release made on Linux has
RESOURCES = ("installer-locales.json", "intro-en.mp4", "intro-ja.mp4")


class Failure(Exception):
    """A sentence for whoever builds."""


def run(*command):
    result = subprocess.run([*map(str, command)], capture_output=True, text=True)
    if result.returncode != 0:
        raise Failure(f"{' '.join(map(str, command))} failed:\n{result.stdout}{result.stderr}")


class LinuxTools:
    """LLVM's programs, and those that make sample releases. BUILD is the build directory that has them."""

    def __init__(self, build, identity):
        self.signer = build / "rehearsal/signing/sign-sample"
        self.image_maker = build / "rehearsal/make-sample-image"
        self.identity = identity

    def strip(self, executable):
        executable.write_bytes(mach_o_symbols.local_entries_marked(executable.read_bytes()))
        run("llvm-strip-19", "-x", executable)

    def join(self, slices, executable):
        run("llvm-lipo-19", "-create", *slices, "-output", executable)

    def sign(self, bundle):
        run(self.signer, bundle, *(["--identity", self.identity] if self.identity else ["--ad-hoc"]))

    def pack(self, folder, image):
        run(self.image_maker, image, "--content", folder, "--volume", NAME, "--compression", "zlib")


class MacTools:
    """Those of the system and of Xcode."""

    def __init__(self, identity):
        # A time stamp is of a service of Apple's, which signs for nobody in particular.
        self.signature = ["--timestamp", "--sign", identity] if identity else ["--sign", "-"]
        self.signs_images = bool(identity)

    def strip(self, executable):
        run("xcrun", "strip", "-x", executable)

    def join(self, slices, executable):
        run("xcrun", "lipo", "-create", *slices, "-output", executable)

    def sign(self, bundle):
        run("codesign", "--force", "--options", "runtime", *self.signature, bundle)

    def pack(self, folder, image):
        run("hdiutil", "create", "-volname", NAME, "-srcfolder", folder, "-fs", "HFS+", "-format", "UDZO", image)
        if self.signs_images:
            run("codesign", *self.signature, image)


def read_product(file):
    try:
        product = embed_configuration.read_product(file.read_text(encoding="utf-8"))
        # The bundle's version, by which a Mac tells which of two is the newer one.
        if not re.fullmatch(r"[0-9]+(\.[0-9]+){0,2}", product["installerVersion"]):
            raise embed_configuration.ProductError(
                'the key "installerVersion" does not hold one to three numbers with dots between them')
        return product
    except (OSError, UnicodeError, embed_configuration.ProductError) as error:
        raise Failure(f"{file}: the product's configuration cannot be used: {error}.") from error


def information(product, languages):
    """The content of Info.plist. No Dock icon until a window is shown: the program asks for one then."""
    return {
        "CFBundleDevelopmentRegion": "en",
        "CFBundleDisplayName": NAME,
        "CFBundleExecutable": NAME,
        "CFBundleIconFile": ICON,
        "CFBundleIdentifier": product["bundleID"] + ".installer",
        "CFBundleInfoDictionaryVersion": "6.0",
        "CFBundleLocalizations": sorted(languages),
        "CFBundleName": NAME,
        "CFBundlePackageType": "APPL",
        "CFBundleShortVersionString": product["installerVersion"],
        "CFBundleSupportedPlatforms": ["MacOSX"],
        "CFBundleVersion": product["installerVersion"],
        "LSApplicationCategoryType": "public.app-category.utilities",
        "LSMinimumSystemVersion": MINIMUM_SYSTEM,
        "LSUIElement": True,
        "NSHighResolutionCapable": True,
        "NSPrincipalClass": "NSApplication",
    }


def write_executable(executables, tools, target):
    """Stripped each, since a linker's symbol tables are the larger half of a small program."""
    with tempfile.TemporaryDirectory() as folder:
        slices = []
        for index, executable in enumerate(executables):
            slices.append(pathlib.Path(folder) / str(index))
            shutil.copy(executable, slices[-1])
            tools.strip(slices[-1])
        tools.join(slices, target)


def write_bundle(root, product, executables, tools, bundle):
    contents = bundle / "Contents"
    for folder in ("MacOS", "Resources"):
        (contents / folder).mkdir(parents=True)
    catalogue = json.loads((root / "KavioInstaller/resources/installer-locales.json").read_text(encoding="utf-8"))
    with open(contents / "Info.plist", "wb") as file:
        plistlib.dump(information(product, catalogue), file)
    (contents / "PkgInfo").write_text("APPL????")
    for name in RESOURCES:
        shutil.copy(root / "KavioInstaller/resources" / name, contents / "Resources")
    shutil.copy(root / "hosts/macos/bundle" / ICON, contents / "Resources")
    write_executable(executables, tools, contents / "MacOS" / NAME)


def entries(folder):
    yield folder
    yield from sorted(folder.rglob("*"))


def set_modes(bundle):
    for path in entries(bundle):
        runs = path.is_dir() or path.parent.name == "MacOS"
        path.chmod(0o755 if runs else 0o644)


def set_dates(folder):
    for path in entries(folder):
        os.utime(path, (DATE, DATE), follow_symlinks=False)


def write_image(bundle, tools, image):
    """A disk image with the application alone in it."""
    with tempfile.TemporaryDirectory(dir=image.parent) as folder:
        content = pathlib.Path(folder) / "content"
        content.mkdir(mode=0o755)
        shutil.copytree(bundle, content / bundle.name, symlinks=True)
        content.chmod(0o755)
        set_dates(content)
        image.unlink(missing_ok=True)
        tools.pack(content, image)


def package(root, product_file, executables, tools, output):
    """Writes the application and the image of it, whose path is the result, into the directory. Older ones go."""
    bundle = output / f"{NAME}.app"
    shutil.rmtree(bundle, ignore_errors=True)
    write_bundle(root, read_product(product_file), executables, tools, bundle)
    tools.sign(bundle)
    set_modes(bundle)
    set_dates(bundle)
    image = output / f"{NAME}.dmg"
    write_image(bundle, tools, image)
    return image
