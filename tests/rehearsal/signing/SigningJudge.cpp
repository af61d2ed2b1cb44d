#include "tests/rehearsal/signing/SigningJudge.h"

#include "hosts/posix/ProcessesPosix.h"
#include "rehearsal/signing/OpenSsl.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <sstream>

namespace InstallerCore::Testing {

namespace {

using Rehearsal::check;
using Rehearsal::der;
using Rehearsal::Owned;
using Rehearsal::owned;
using Rehearsal::raw;

struct Free {
    void operator()(X509_STORE* store) const noexcept { X509_STORE_free(store); }

    void operator()(PKCS7* token) const noexcept { PKCS7_free(token); }

    void operator()(TS_VERIFY_CTX* context) const noexcept { TS_VERIFY_CTX_free(context); }
};

std::vector<nlohmann::json> approved(const std::vector<std::string>& arguments) {
    const Judgement judgement = judge(arguments);
    EXPECT_EQ(judgement.status, 0) << judgement.text;
    std::vector<nlohmann::json> lines;
    std::istringstream text(judgement.status == 0 ? judgement.text : "");
    for (std::string line; std::getline(text, line);) {
        lines.push_back(nlohmann::json::parse(line));
    }
    return lines;
}

std::unique_ptr<X509_STORE, Free> storeOf(const std::string& rootPem, std::time_t time, unsigned long flags) {
    const auto file = owned(BIO_new_mem_buf(rootPem.data(), static_cast<int>(rootPem.size())), "root");
    const auto root = owned(PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr), "root");
    std::unique_ptr<X509_STORE, Free> store(X509_STORE_new());
    check(store != nullptr && X509_STORE_add_cert(store.get(), root.get()) == 1, "store");
    X509_VERIFY_PARAM_set_time(X509_STORE_get0_param(store.get()), time);
    X509_STORE_set_flags(store.get(), flags);
    return store;
}

std::string verdict(bool good) {
    const char* data = nullptr;
    int flags = 0;
    const unsigned long error = ERR_peek_last_error_all(nullptr, nullptr, nullptr, &data, &flags);
    const char* const reason = ERR_reason_error_string(error);
    std::string text = good ? "good" : reason == nullptr ? "no reason" : reason;
    if (!good && (flags & ERR_TXT_STRING) != 0 && data != nullptr) {
        text += std::string(": ") + data;
    }
    ERR_clear_error();
    return text;
}

Owned<CMS_ContentInfo> parse(ByteView message) {
    const unsigned char* position = raw(message);
    return owned(d2i_CMS_ContentInfo(nullptr, &position, static_cast<long>(message.size())), "message");
}

std::unique_ptr<PKCS7, Free> parseToken(ByteView token) {
    const unsigned char* position = raw(token);
    std::unique_ptr<PKCS7, Free> result(d2i_PKCS7(nullptr, &position, static_cast<long>(token.size())));
    check(result != nullptr, "token");
    return result;
}

void addAttribute(X509_ATTRIBUTE* attribute, std::map<std::string, std::vector<Bytes>>& all) {
    char identifier[128] = {};
    OBJ_obj2txt(identifier, sizeof identifier, X509_ATTRIBUTE_get0_object(attribute), 1);
    for (int i = 0; i < X509_ATTRIBUTE_count(attribute); ++i) {
        all[identifier].push_back(der(i2d_ASN1_TYPE, X509_ATTRIBUTE_get0_type(attribute, i)));
    }
}

std::string commonName(const X509* certificate) {
    char text[256] = {};
    X509_NAME_get_text_by_NID(X509_get_subject_name(certificate), NID_commonName, text, sizeof text);
    return text;
}

} // namespace

const Rehearsal::SigningIdentity& sharedIdentity() {
    static const auto identity = Rehearsal::SigningIdentity::make();
    return identity;
}

Judgement judge(const std::vector<std::string>& arguments) {
    std::vector<std::string> all = {SIGNING_JUDGE};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const ProcessResult result =
        ProcessesPosix().run("/usr/bin/python3", all, Processes::ErrorOutput::inherited);
    return {.status = result.status, .text = std::string(asText(result.output))};
}

std::vector<nlohmann::json> judgeCode(const std::filesystem::path& file,
                                      const std::vector<std::string>& sealed) {
    std::vector<std::string> arguments = {"code", file};
    arguments.insert(arguments.end(), sealed.begin(), sealed.end());
    return approved(arguments);
}

std::vector<nlohmann::json> judgeBundle(const std::filesystem::path& bundle) {
    return approved({"bundle", bundle});
}

std::string verdictOnMessage(ByteView message, ByteView content, const std::string& rootPem,
                             std::time_t time) {
    const auto store = storeOf(rootPem, time, X509_V_FLAG_IGNORE_CRITICAL);
    X509_VERIFY_PARAM_set_purpose(X509_STORE_get0_param(store.get()), X509_PURPOSE_ANY);
    const auto source = owned(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())), "content");
    return verdict(
        CMS_verify(parse(message).get(), nullptr, store.get(), source.get(), nullptr, CMS_BINARY) == 1);
}

std::string verdictOnToken(ByteView token, ByteView value, const std::string& rootPem, std::time_t time) {
    const std::unique_ptr<TS_VERIFY_CTX, Free> context(TS_VERIFY_CTX_new());
    TS_VERIFY_CTX_set_flags(context.get(), TS_VFY_VERSION | TS_VFY_SIGNATURE | TS_VFY_DATA);
    TS_VERIFY_CTX_set_store(context.get(), storeOf(rootPem, time, 0).release());
    TS_VERIFY_CTX_set_data(context.get(), BIO_new_mem_buf(value.data(), static_cast<int>(value.size())));
    return verdict(TS_RESP_verify_token(context.get(), parseToken(token).get()) == 1);
}

MessageParts partsOf(ByteView bytes) {
    const auto message = parse(bytes);
    MessageParts parts;
    STACK_OF(X509)* const certificates = CMS_get1_certs(message.get());
    for (int i = 0; i < sk_X509_num(certificates); ++i) {
        parts.certificates.push_back(commonName(sk_X509_value(certificates, i)));
    }
    sk_X509_pop_free(certificates, X509_free);
    CMS_SignerInfo* const signer = sk_CMS_SignerInfo_value(CMS_get0_SignerInfos(message.get()), 0);
    for (int i = 0; i < CMS_signed_get_attr_count(signer); ++i) {
        addAttribute(CMS_signed_get_attr(signer, i), parts.signedAttributes);
    }
    for (int i = 0; i < CMS_unsigned_get_attr_count(signer); ++i) {
        addAttribute(CMS_unsigned_get_attr(signer, i), parts.unsignedAttributes);
    }
    const ASN1_OCTET_STRING* const signature = CMS_SignerInfo_get0_signature(signer);
    const auto view = std::as_bytes(
        std::span(ASN1_STRING_get0_data(signature), static_cast<std::size_t>(ASN1_STRING_length(signature))));
    parts.signature = {view.begin(), view.end()};
    return parts;
}

std::time_t timeOf(ByteView token) {
    const auto parsed = parseToken(token);
    const auto information = owned(PKCS7_to_TS_TST_INFO(parsed.get()), "token");
    std::tm time = {};
    check(ASN1_TIME_to_tm(TS_TST_INFO_get_time(information.get()), &time) == 1, "time");
    return ::timegm(&time);
}

} // namespace InstallerCore::Testing
