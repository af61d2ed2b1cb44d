import unittest

import portability
from planted_tree import PlantedTreeTest

CORE_SOURCE, CORE_HEADER = "InstallerCore/config/Thing.cpp", "InstallerCore/config/Thing.h"


class PortabilityTest(PlantedTreeTest):
    def expect(self, path, line, *faults):
        file = self.put(path, f"#pragma once\n{line}\nint thing();\n")
        expected = [f"{path}: {fault}" for fault in faults]
        self.assertEqual(list(portability.faults(self.root)), expected, line)
        file.unlink()

    def test_what_is_allowed(self):
        self.expect(CORE_HEADER, "#include <string>\n#include <source_location>")
        self.expect(CORE_HEADER, '  #  include "InstallerCore/config/Other.h" // with a comment')
        self.expect(CORE_SOURCE, "#include <nlohmann/json.hpp>\n#include <utf8.h>")
        self.expect(CORE_SOURCE, '#include "InstallerCore/support/Json.h"')
        self.expect("InstallerCore/support/Json.h", "#include <nlohmann/json.hpp>")
        self.expect("KavioInstaller/Thing.cpp", '#include "InstallerCore/Thing.h"')
        self.expect("KavioInstaller/Thing.cpp", '#include "KavioInstaller/Thing.h"')
        self.expect("hosts/posix/Thing.cpp", '#include "hosts/posix/Thing.h"')
        self.expect("hosts/posix/Thing.cpp", "#include <unistd.h>\n#if 1\n#endif")
        self.expect("hosts/shared/Thing.cpp", '#include "hosts/shared/Thing.h"\n#include <vector>')
        self.expect("hosts/linux/Thing.cpp", '#include "hosts/posix/Thing.h"\n#include "hosts/linux/Thing.h"')
        self.expect("rehearsal/Main.cpp", '#include "hosts/linux/Thing.h"\n#include "rehearsal/Thing.h"')

    def test_system_headers(self):
        for header in ("unistd.h", "string.h", "sys/stat.h", "QtWidgets", "curl/curl.h", "fmt/format.h"):
            fault = f"<{header}> is neither of the standard library nor allowed"
            self.expect(CORE_SOURCE, f"#include <{header}>", fault)
            self.expect("KavioInstaller/Thing.h", f"#  include<{header}>", fault)
            self.expect(CORE_SOURCE, f"#incl\\\nude <{header}>", fault)
            self.expect(CORE_SOURCE, f"/* so */ # include <{header}> // there", fault)

    def test_libraries_in_headers(self):
        self.expect(CORE_HEADER, "#include <nlohmann/json.hpp>", "<nlohmann/json.hpp> in a header")
        self.expect(CORE_HEADER, "#include <utf8.h>", "<utf8.h> in a header")
        self.expect("InstallerCore/support/Json.h", "#include <utf8.h>", "<utf8.h> in a header")
        json = f'"{portability.JSON_HEADER}"'
        self.expect(CORE_HEADER, f"#include {json}", f"{json} in a header")

    def test_conditions_and_macros(self):
        for directive in ("if 1", "ifdef A", "ifndef A", "else", "endif", "define A", "undef A"):
            self.expect(CORE_SOURCE, f"#{directive}", f"#{directive}")
        for directive in ("error", "pragma pack(1)", "include A", "import <string>"):
            self.expect(CORE_SOURCE, f"#{directive}", f"#{directive}")
        self.expect(CORE_SOURCE, "%:if 1", "#if 1")

    def test_names_of_platforms(self):
        for name in ("__APPLE__", "__linux__", "_WIN32", "TARGET_OS_MAC"):
            self.expect(CORE_SOURCE, f"int a = {name};", f"{name} is known on some platforms only")

    def test_names_of_platforms_in_comments_do_no_harm(self):
        self.expect(CORE_SOURCE, "// not __APPLE__\n/*\n#include <unistd.h>\n#if 1\n*/")

    def test_declarations_of_system_functions(self):
        self.expect(CORE_SOURCE, 'extern "C" int getuid();', 'extern "C" goes around the platform interfaces')

    def test_arrows_that_turn_back(self):
        for path, header in (
            (CORE_SOURCE, "KavioInstaller/Thing.h"),
            (CORE_SOURCE, "hosts/posix/Thing.h"),
            (CORE_SOURCE, "tests/support/Expect.h"),
            (CORE_SOURCE, "Thing.h"),
            (CORE_HEADER, "../Thing.h"),
            ("KavioInstaller/Thing.h", "hosts/linux/Thing.h"),
            ("hosts/posix/Thing.cpp", "hosts/linux/Thing.h"),
            ("hosts/linux/Thing.cpp", "hosts/macos/Thing.h"),
            ("hosts/macos/window/Thing.mm", "hosts/linux/Thing.h"),
            ("hosts/contract/Thing.cpp", "hosts/macos/Thing.h"),
            ("hosts/linux/Thing.cpp", "rehearsal/Thing.h"),
            ("hosts/linux/Thing.cpp", "tests/support/Expect.h"),
            ("rehearsal/Thing.cpp", "tests/support/Expect.h"),
        ):
            faults = [f'"{header}" is not for this folder']
            if header.startswith(".."):
                faults.append(f'"{header}" leads out of its folder')
            self.expect(path, f'#include "{header}"', *faults)
        self.expect(
            CORE_SOURCE,
            '#include "InstallerCore/../hosts/posix/Thing.h"',
            '"InstallerCore/../hosts/posix/Thing.h" leads out of its folder',
        )

    def test_files_of_other_kinds(self):
        self.put("InstallerCore/Thing.mm")
        self.put("KavioInstaller/resources/intro.mp4")
        self.assertEqual(list(portability.faults(self.root)), ["InstallerCore/Thing.mm: neither .h nor .cpp"])


if __name__ == "__main__":
    unittest.main()
