#include "InstallerCore/download/RangeDecision.h"

#include "tests/support/Expect.h"

#include <gtest/gtest.h>

#include <limits>

namespace InstallerCore {

namespace {

using Testing::expectInstallerError;

TEST(RangeDecisionTest, FullResponseRestartsWhateverIsOnDisk) {
    EXPECT_EQ(rangeDecision(200, 1000, std::nullopt, 5000), RangeDecision::restart);
    EXPECT_EQ(rangeDecision(200, 0, std::nullopt, 5000), RangeDecision::restart);
    EXPECT_EQ(rangeDecision(200, 1000, "bytes 7-8/9", 5000), RangeDecision::restart);
}

TEST(RangeDecisionTest, PartialResponseToTheEndAppends) {
    EXPECT_EQ(rangeDecision(206, 0, "bytes 0-4999/5000", 5000), RangeDecision::append);
    EXPECT_EQ(rangeDecision(206, 1000, "bytes 1000-4999/5000", 5000), RangeDecision::append);
}

TEST(RangeDecisionTest, OffsetsBeyondThirtyTwoBitsAppend) {
    EXPECT_EQ(rangeDecision(206, 6'442'450'944, "bytes 6442450944-6442450999/6442451000", 6'442'451'000),
              RangeDecision::append);
}

TEST(RangeDecisionTest, RunsOfSeparatorsAreReadAsOne) {
    EXPECT_EQ(rangeDecision(206, 1000, "bytes 1000--4999//5000", 5000), RangeDecision::append);
    EXPECT_EQ(rangeDecision(206, 1000, "bytes -1000-4999-/5000/", 5000), RangeDecision::append);
}

TEST(RangeDecisionTest, NumbersMayCarryASign) {
    EXPECT_EQ(rangeDecision(206, 1000, "bytes +1000-+4999/+5000", 5000), RangeDecision::append);
}

TEST(RangeDecisionTest, OtherStatusesAreErrorsWithTheirNumber) {
    for (const int status : {100, 204, 301, 304, 404, 416, 500, 503}) {
        expectInstallerError("HTTP " + std::to_string(status),
                             [status] { return rangeDecision(status, 0, "bytes 0-4999/5000", 5000); });
    }
}

TEST(RangeDecisionTest, HeaderMustBeThereAndInBytes) {
    expectInstallerError("Invalid Content-Range", [] { return rangeDecision(206, 0, std::nullopt, 5000); });
    for (const char* header :
         {"", "Bytes 1000-4999/5000", "bytes\t0-4999/5000", "bytes", "0-4999/5000", " bytes 0-4"}) {
        expectInstallerError("Invalid Content-Range",
                             [header] { return rangeDecision(206, 0, header, 5000); });
    }
}

TEST(RangeDecisionTest, MismatchNamesWhatWasExpectedAndReceived) {
    const char* const wrong[] = {
        "bytes 0-4999/5000",                    // starts elsewhere
        "bytes 1000-4999/6000",                 // another total
        "bytes 1000-4999/*",                    // unknown total
        "bytes */5000",                         // the answer to an unsatisfiable range
        "bytes ",                               // nothing
        "bytes 1000-4999",                      // no total
        "bytes 1000/5000",                      // no end
        "bytes 1000-4999-5/5000",               // a third number
        "bytes 1000-4999/5000/1",               // a third piece
        "bytes  1000-4999/5000",                // a blank before the number
        "bytes 1000 -4999/5000",                // a blank behind it
        "bytes 0x3E8-4999/5000",                // another base
        "bytes 1000.0-4999/5000",               // no integer
        "bytes 18446744073709552616-4999/5000", // 1000 modulo 2^64
        "bytes 1000-4999/ 5000",
        "bytes 1000-4999/5000 ",
    };
    for (const char* header : wrong) {
        const std::string text =
            std::string("Invalid resumed range: expected offset 1000, total 5000, got ") + header;
        expectInstallerError(text, [header] { return rangeDecision(206, 1000, header, 5000); });
    }
}

TEST(RangeDecisionTest, EndMustBeANumber) {
    for (const char* header :
         {"bytes 1000-x/5000", "bytes 1000- 4999/5000", "bytes 1000-99999999999999999999/5000"}) {
        expectInstallerError("Invalid range end",
                             [header] { return rangeDecision(206, 1000, header, 5000); });
    }
}

TEST(RangeDecisionTest, EndMustBeTheLastByte) {
    for (const char* header : {"bytes 1000-4998/5000", "bytes 1000-5000/5000", "bytes 1000-999/5000"}) {
        expectInstallerError("Incomplete response range",
                             [header] { return rangeDecision(206, 1000, header, 5000); });
    }
}

TEST(RangeDecisionDeathTest, OverflowOfTheTotalIsFatal) {
    const std::int64_t smallest = std::numeric_limits<std::int64_t>::min();
    const std::string header = "bytes 0-1/" + std::to_string(smallest);
    EXPECT_DEATH(static_cast<void>(rangeDecision(206, 0, header, smallest)), "");
}

} // namespace

} // namespace InstallerCore
