#include "hosts/shared/UrlSessionExchange.h"

#include "tests/support/Expect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

using ::testing::_;
using ::testing::InSequence;
using ::testing::IsNull;
using ::testing::Return;
using ::testing::SaveArg;
using ::testing::StrictMock;

constexpr auto allow = HttpDelegate::Disposition::allow;
constexpr auto cancel = HttpDelegate::Disposition::cancel;
using Redirect = UrlSessionExchange::Redirect;

struct MockDelegate : HttpDelegate {
    virtual ~MockDelegate() = default;
    MOCK_METHOD(Disposition, redirect, (const std::string& address), (override));
    MOCK_METHOD(Disposition, response, (const HttpResponse& response), (override));
    MOCK_METHOD(Disposition, data, (ByteView chunk), (override));
    MOCK_METHOD(void, completed, (std::exception_ptr error), (override));
};

class UrlSessionExchangeTest : public testing::Test {
protected:
    // The transfer completes, as the session says, with the error.
    void expectEnd(std::optional<UrlErrorCode> reported, UrlErrorCode expected) {
        std::exception_ptr error;
        EXPECT_CALL(delegate_, completed(_)).WillOnce(SaveArg<0>(&error));
        exchange_.completed(reported);
        ASSERT_NE(error, nullptr);
        Testing::expectPlatformError(expected, [&] { std::rethrow_exception(error); });
    }

    void respond() {
        EXPECT_CALL(delegate_, response(_)).WillOnce(Return(allow));
        EXPECT_EQ(exchange_.response({.status = 200}), allow);
    }

    static ByteView bytes(std::string_view text) { return asBytes(text); }

    StrictMock<MockDelegate> delegate_;
    UrlSessionExchange exchange_{delegate_};
};

TEST_F(UrlSessionExchangeTest, WholeTransferIsPassedOn) {
    const InSequence order;
    EXPECT_CALL(delegate_, redirect("https://b.example/x")).WillOnce(Return(allow));
    EXPECT_CALL(delegate_, response(_)).WillOnce([](const HttpResponse& response) {
        EXPECT_EQ(response.status, 206);
        EXPECT_EQ(response.header("etag"), "\"a\"");
        return allow;
    });
    EXPECT_CALL(delegate_, data(_)).Times(2).WillRepeatedly(Return(allow));
    EXPECT_CALL(delegate_, completed(IsNull()));
    EXPECT_EQ(exchange_.redirect("https://b.example/x"), Redirect::follow);
    EXPECT_EQ(exchange_.response({.status = 206, .headers = {{.name = "ETag", .value = "\"a\""}}}), allow);
    EXPECT_EQ(exchange_.data(bytes("ab")), allow);
    EXPECT_EQ(exchange_.data(bytes("c")), allow);
    exchange_.completed(std::nullopt);
}

TEST_F(UrlSessionExchangeTest, RefusedRedirectBecomesTheResponse) {
    EXPECT_CALL(delegate_, redirect("https://evil.example/")).WillOnce(Return(cancel));
    EXPECT_EQ(exchange_.redirect("https://evil.example/"), Redirect::refuse);
    EXPECT_CALL(delegate_, response(_)).WillOnce(Return(cancel));
    EXPECT_EQ(exchange_.response({.status = 302}), cancel);
    expectEnd(UrlErrorCode::cancelled, UrlErrorCode::cancelled);
}

TEST_F(UrlSessionExchangeTest, RedirectWithoutAddressIsAskedAboutAndNeverFollowed) {
    EXPECT_CALL(delegate_, redirect("")).WillOnce(Return(allow));
    EXPECT_EQ(exchange_.redirect(""), Redirect::refuse);
}

TEST_F(UrlSessionExchangeTest, OnlyHttpsIsFollowed) {
    for (const char* address : {"http://a.example/", "file:///etc/passwd", "data:,a", "//a.example/", "https",
                                "https://a.example/ b"}) {
        StrictMock<MockDelegate> delegate;
        UrlSessionExchange exchange(delegate);
        EXPECT_CALL(delegate, redirect(address)).WillOnce(Return(allow));
        EXPECT_EQ(exchange.redirect(address), Redirect::end) << address;
        std::exception_ptr error;
        EXPECT_CALL(delegate, completed(_)).WillOnce(SaveArg<0>(&error));
        exchange.completed(UrlErrorCode::cancelled);
        Testing::expectPlatformError(UrlErrorCode::badServerResponse, [&] { std::rethrow_exception(error); });
    }
    EXPECT_CALL(delegate_, redirect("HTTPS://a.example/")).WillOnce(Return(allow));
    EXPECT_EQ(exchange_.redirect("HTTPS://a.example/"), Redirect::follow);
}

TEST_F(UrlSessionExchangeTest, SecureIsHttpsInAnyCase) {
    const auto isSecure = [](const char* address) {
        return UrlSessionExchange::isSecure(Url::parse(address).value());
    };
    EXPECT_TRUE(isSecure("https://a.example/"));
    EXPECT_TRUE(isSecure("hTTps://a.example/"));
    EXPECT_FALSE(isSecure("http://a.example/"));
    EXPECT_FALSE(isSecure("httpsx://a.example/"));
    EXPECT_FALSE(isSecure("//a.example/https"));
}

TEST_F(UrlSessionExchangeTest, TwentyRedirectsAreFollowed) {
    EXPECT_CALL(delegate_, redirect(_)).Times(21).WillRepeatedly(Return(allow));
    for (int count = 0; count < 20; ++count) {
        EXPECT_EQ(exchange_.redirect("https://a.example/"), Redirect::follow) << count;
    }
    EXPECT_EQ(exchange_.redirect("https://a.example/"), Redirect::end);
    expectEnd(UrlErrorCode::cancelled, UrlErrorCode::tooManyRedirects);
}

TEST_F(UrlSessionExchangeTest, AfterARefusedResponseOnlyCompletedFollows) {
    EXPECT_CALL(delegate_, response(_)).WillOnce(Return(cancel));
    EXPECT_EQ(exchange_.response({.status = 404}), cancel);
    EXPECT_EQ(exchange_.data(bytes("late")), cancel);
    EXPECT_EQ(exchange_.response({.status = 200}), cancel);
    EXPECT_EQ(exchange_.redirect("https://a.example/"), Redirect::end);
    expectEnd(UrlErrorCode::cancelled, UrlErrorCode::cancelled);
}

TEST_F(UrlSessionExchangeTest, AfterARefusedChunkOnlyCompletedFollows) {
    respond();
    EXPECT_CALL(delegate_, data(_)).WillOnce(Return(cancel));
    EXPECT_EQ(exchange_.data(bytes("a")), cancel);
    EXPECT_EQ(exchange_.data(bytes("b")), cancel);
    expectEnd(std::nullopt, UrlErrorCode::cancelled); // its last byte had come
}

TEST_F(UrlSessionExchangeTest, EmptyChunkIsNobodysBusiness) {
    respond();
    EXPECT_EQ(exchange_.data({}), allow);
}

TEST_F(UrlSessionExchangeTest, SecondResponseEndsTheTransfer) {
    respond();
    EXPECT_EQ(exchange_.response({.status = 200}), cancel);
    EXPECT_EQ(exchange_.data(bytes("a")), cancel);
    expectEnd(UrlErrorCode::cancelled, UrlErrorCode::badServerResponse);
}

TEST_F(UrlSessionExchangeTest, RedirectAfterAResponseEndsTheTransfer) {
    respond();
    EXPECT_EQ(exchange_.redirect("https://a.example/"), Redirect::end);
    EXPECT_EQ(exchange_.data(bytes("a")), cancel);
    expectEnd(UrlErrorCode::cancelled, UrlErrorCode::badServerResponse);
}

TEST_F(UrlSessionExchangeTest, BodyWithoutAResponseEndsTheTransfer) {
    EXPECT_EQ(exchange_.data(bytes("a")), cancel);
    expectEnd(UrlErrorCode::cancelled, UrlErrorCode::badServerResponse);
}

TEST_F(UrlSessionExchangeTest, ErrorOfTheSessionIsReported) {
    respond();
    expectEnd(UrlErrorCode::connectionLost, UrlErrorCode::connectionLost);
}

TEST_F(UrlSessionExchangeTest, EndWithoutAResponseIsAnError) {
    expectEnd(std::nullopt, UrlErrorCode::connectionLost);
}

TEST_F(UrlSessionExchangeTest, WhatCouldNotBeUnderstoodIsAnError) {
    exchange_.fail();
    EXPECT_EQ(exchange_.data(bytes("a")), cancel);
    expectEnd(UrlErrorCode::cancelled, UrlErrorCode::unknown);
}

TEST_F(UrlSessionExchangeTest, FirstReasonCounts) {
    EXPECT_CALL(delegate_, response(_)).WillOnce(Return(cancel));
    EXPECT_EQ(exchange_.response({.status = 500}), cancel);
    exchange_.fail();
    expectEnd(UrlErrorCode::timedOut, UrlErrorCode::cancelled);
}

TEST_F(UrlSessionExchangeTest, CompletedComesOnceAndLast) {
    respond();
    EXPECT_CALL(delegate_, completed(IsNull()));
    exchange_.completed(std::nullopt);
    exchange_.completed(UrlErrorCode::cancelled);
    EXPECT_EQ(exchange_.data(bytes("a")), cancel);
    EXPECT_EQ(exchange_.response({.status = 200}), cancel);
    EXPECT_EQ(exchange_.redirect("https://a.example/"), Redirect::end);
}

} // namespace

} // namespace InstallerCore
