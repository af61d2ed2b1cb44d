#include "rehearsal/signing/SigningIdentity.h"

#include "InstallerCore/config/BuildConfig.h"
#include "InstallerCore/config/Config.h"
#include "rehearsal/signing/OpenSsl.h"

#include <fcntl.h>
#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

namespace InstallerCore::Rehearsal {

namespace {

using std::chrono::days;
using std::chrono::seconds;

constexpr const char* organization = "Kavio Test";

// What a role's certificate looks like unless the options say otherwise.
struct Profile {
    Role role;
    Role issuer;
    CertificateOptions IdentityOptions::* options;
    const char* commonName;
    bool authority = false;
    const char* marker = nullptr; // an extension with the value NULL
    bool criticalMarker = false;
    const char* extendedKeyUsage = nullptr;
};

constexpr std::array<Profile, roleCount> profiles{{
    {.role = Role::root,
     .issuer = Role::root,
     .options = &IdentityOptions::root,
     .commonName = "Kavio Test Root CA",
     .authority = true},
    {.role = Role::authority,
     .issuer = Role::root,
     .options = &IdentityOptions::authority,
     .commonName = "Kavio Test Developer ID Authority",
     .authority = true,
     .marker = "1.2.840.113635.100.6.2.6"},
    {.role = Role::leaf,
     .issuer = Role::authority,
     .options = &IdentityOptions::leaf,
     .commonName = "Developer ID Application: Kavio Test",
     .marker = "1.2.840.113635.100.6.1.13",
     .criticalMarker = true,
     .extendedKeyUsage = "critical,codeSigning"},
    {.role = Role::timeStampAuthority,
     .issuer = Role::root,
     .options = &IdentityOptions::timeStampAuthority,
     .commonName = "Kavio Test Time Stamp Authority",
     .authority = true,
     .marker = "1.2.840.113635.100.6.2.9"},
    {.role = Role::timeStampLeaf,
     .issuer = Role::timeStampAuthority,
     .options = &IdentityOptions::timeStampLeaf,
     .commonName = "Kavio Test Time Stamp Signer",
     .extendedKeyUsage = "critical,timeStamping"},
    {.role = Role::ticketAuthority,
     .issuer = Role::root,
     .options = &IdentityOptions::ticketAuthority,
     .commonName = "Kavio Test Ticket Authority",
     .authority = true},
    {.role = Role::ticketLeaf,
     .issuer = Role::ticketAuthority,
     .options = &IdentityOptions::ticketLeaf,
     .commonName = "Kavio Test Ticket Signing",
     .marker = "1.2.840.113635.100.6.1.30"},
}};

const Profile& profile(Role role) {
    return profiles.at(static_cast<std::size_t>(role));
}

bool isForTickets(Role role) {
    return role == Role::ticketAuthority || role == Role::ticketLeaf;
}

EVP_PKEY* makeKey(Role role) {
    constexpr unsigned rsaBits = 2048;
    return isForTickets(role) ? EVP_EC_gen("P-256") : EVP_RSA_gen(rsaBits);
}

void setSerialNumber(X509* certificate) {
    std::array<unsigned char, 8> random{};
    check(RAND_bytes(random.data(), static_cast<int>(random.size())) == 1, "random number");
    std::uint64_t serial = 0;
    for (const unsigned char byte : random) {
        serial = serial << 8U | byte;
    }
    check(ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), serial >> 1U) == 1, "serial number");
}

void addName(X509_NAME* name, const char* attribute, const std::string& text) {
    check(X509_NAME_add_entry_by_txt(name, attribute, MBSTRING_UTF8, raw(asBytes(text)),
                                     static_cast<int>(text.size()), -1, 0) == 1,
          "name");
}

void setSubject(X509* certificate, const Profile& kind, const CertificateOptions& options,
                const std::string& team) {
    X509_NAME* const name = X509_get_subject_name(certificate);
    std::string commonName = kind.commonName;
    if (kind.role == Role::leaf) {
        commonName += " (" + team + ")";
        addName(name, "UID", team);
    }
    addName(name, "CN", options.commonName.empty() ? commonName : options.commonName);
    if (kind.role == Role::leaf) {
        addName(name, "OU", team);
    }
    addName(name, "O", organization);
    addName(name, "C", "US");
}

void setPeriod(X509* certificate, const CertificateOptions& options) {
    constexpr days forYears{3650};
    const CertificatePeriod period =
        options.period.value_or(CertificatePeriod{.begin = -days(1), .end = forYears});
    check(X509_gmtime_adj(X509_getm_notBefore(certificate), period.begin.count()) != nullptr &&
              X509_gmtime_adj(X509_getm_notAfter(certificate), period.end.count()) != nullptr,
          "period of validity");
}

void addExtension(X509* certificate, X509* issuer, int id, const char* value) {
    X509V3_CTX context{};
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const auto extension = owned(X509V3_EXT_conf_nid(nullptr, &context, id, value), "extension");
    check(X509_add_ext(certificate, extension.get(), -1) == 1, "extension");
}

void addExtension(X509* certificate, const std::string& identifier, bool critical, std::string_view value) {
    const auto content = owned(ASN1_OCTET_STRING_new(), "extension");
    check(ASN1_OCTET_STRING_set(content.get(), raw(asBytes(value)), static_cast<int>(value.size())) == 1,
          "extension");
    const auto extension = owned(
        X509_EXTENSION_create_by_OBJ(nullptr, object(identifier).get(), critical ? 1 : 0, content.get()),
        "extension");
    check(X509_add_ext(certificate, extension.get(), -1) == 1, "extension");
}

constexpr std::string_view null("\x05\x00", 2);

void addMarkers(X509* certificate, const Profile& kind, const CertificateOptions& options) {
    if (kind.role == Role::leaf) {
        addExtension(certificate, "1.2.840.113635.100.6.1.33", false,
                     "\x0c\x0f"
                     "20260101000000Z");
    }
    if (options.marker && kind.marker != nullptr) {
        addExtension(certificate, kind.marker, kind.criticalMarker, null);
    }
    for (const std::string& identifier : options.extensions) {
        addExtension(certificate, identifier, false, null);
    }
    for (const std::string& identifier : options.criticalExtensions) {
        addExtension(certificate, identifier, true, null);
    }
}

void addExtensions(X509* certificate, X509* issuer, const Profile& kind, const CertificateOptions& options) {
    const bool mayIssue = kind.authority && options.certificateAuthority;
    addExtension(certificate, issuer, NID_basic_constraints,
                 mayIssue ? "critical,CA:TRUE" : "critical,CA:FALSE");
    if (options.keyUsage) {
        addExtension(certificate, issuer, NID_key_usage,
                     kind.authority ? "critical,keyCertSign,cRLSign" : "critical,digitalSignature");
    }
    if (options.extendedKeyUsage && kind.extendedKeyUsage != nullptr) {
        addExtension(certificate, issuer, NID_ext_key_usage, kind.extendedKeyUsage);
    }
    addExtension(certificate, issuer, NID_subject_key_identifier, "hash");
    addExtension(certificate, issuer, NID_authority_key_identifier, "keyid");
    addMarkers(certificate, kind, options);
}

std::string teamOf(const IdentityOptions& options) {
    return options.team.empty() ? Config::decode(BuildConfig::json()).macTeamID : options.team;
}

std::string organizationalUnit(const X509* certificate) {
    const X509_NAME* const name = X509_get_subject_name(certificate);
    const int index = X509_NAME_get_index_by_NID(name, NID_organizationalUnitName, -1);
    check(index >= 0, "a signer's team");
    const ASN1_STRING* const text = X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, index));
    return {reinterpret_cast<const char*>(ASN1_STRING_get0_data(text)),
            static_cast<std::size_t>(ASN1_STRING_length(text))};
}

template <typename Write>
std::string pem(Write write) {
    const auto memory = owned(BIO_new(BIO_s_mem()), "memory");
    check(write(memory.get()) == 1, "PEM");
    char* text = nullptr;
    const auto length = BIO_get_mem_data(memory.get(), &text);
    return {text, static_cast<std::size_t>(length)};
}

std::string certificatePem(const X509* certificate) {
    return pem([&](BIO* bio) { return PEM_write_bio_X509(bio, certificate); });
}

std::string keyPem(const EVP_PKEY* key) {
    return pem(
        [&](BIO* bio) { return PEM_write_bio_PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr); });
}

// Whole or not at all: what stops in between leaves no half identity under the name.
void replaceFile(const std::filesystem::path& file, const std::string& text, mode_t mode) {
    std::filesystem::path fresh = file;
    fresh += ".new";
    std::filesystem::remove(fresh);
    const int descriptor = ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    const bool written =
        descriptor >= 0 && ::write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (descriptor < 0 || ::close(descriptor) != 0 || !written) {
        throw std::runtime_error("cannot write " + file.string());
    }
    std::filesystem::rename(fresh, file);
}

} // namespace

SigningIdentity::SigningIdentity(Members members)
    : members_(std::move(members)),
      rootPem_(certificatePem(certificate(Role::root))),
      team_(organizationalUnit(certificate(Role::leaf))) {}

void SigningIdentity::issue(Members& members, Role role, const IdentityOptions& options) {
    const Profile& kind = profile(role);
    const CertificateOptions& special = options.*kind.options;
    const bool byRoot = role == Role::leaf && options.leafIssuedByRoot;
    const Role issuerRole = byRoot ? Role::root : kind.issuer;

    Member& subject = members.at(static_cast<std::size_t>(role));
    const auto certificate = owned(X509_new(), "certificate");
    const Member& by = members.at(static_cast<std::size_t>(issuerRole));
    X509* const issuer = issuerRole == role ? certificate.get() : by.certificate.get();
    check(X509_set_version(certificate.get(), X509_VERSION_3) == 1, "version");
    setSerialNumber(certificate.get());
    setSubject(certificate.get(), kind, special, teamOf(options));
    check(X509_set_issuer_name(certificate.get(), X509_get_subject_name(issuer)) == 1, "issuer");
    setPeriod(certificate.get(), special);
    check(X509_set_pubkey(certificate.get(), subject.key.get()) == 1, "public key");
    addExtensions(certificate.get(), issuer, kind, special);
    check(X509_sign(certificate.get(), by.key.get(), EVP_sha256()) > 0, "signature of a certificate");
    check(X509_up_ref(certificate.get()) == 1, "certificate");
    subject.certificate.reset(certificate.get(), X509_free);
}

SigningIdentity SigningIdentity::make(const IdentityOptions& options) {
    Members members;
    for (const Profile& kind : profiles) {
        Member& member = members.at(static_cast<std::size_t>(kind.role));
        member.key.reset(makeKey(kind.role), EVP_PKEY_free);
        check(member.key != nullptr, "key");
        issue(members, kind.role, options);
    }
    return SigningIdentity(std::move(members));
}

SigningIdentity SigningIdentity::reissued(const IdentityOptions& options) const {
    Members members = members_;
    for (const Profile& kind : profiles) {
        if (kind.role != Role::root) {
            issue(members, kind.role, options);
        }
    }
    return SigningIdentity(std::move(members));
}

SigningIdentity SigningIdentity::load(const std::filesystem::path& directory) {
    const auto file = owned(BIO_new_file((directory / "identity.pem").c_str(), "r"), "identity.pem");
    Members members;
    for (Member& member : members) {
        member.certificate.reset(PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr), X509_free);
        check(member.certificate != nullptr, "certificate of identity.pem");
        member.key.reset(PEM_read_bio_PrivateKey(file.get(), nullptr, nullptr, nullptr), EVP_PKEY_free);
        check(member.key != nullptr &&
                  X509_check_private_key(member.certificate.get(), member.key.get()) == 1,
              "key of identity.pem");
    }
    return SigningIdentity(std::move(members));
}

void SigningIdentity::saveTo(const std::filesystem::path& directory) const {
    std::string all;
    for (const Member& member : members_) {
        all += certificatePem(member.certificate.get()) + keyPem(member.key.get());
    }
    std::filesystem::create_directories(directory);
    replaceFile(directory / "identity.pem", all, 0600);
    replaceFile(directory / "root.pem", rootPem_, 0644);
}

bool SigningIdentity::isValidFor(std::chrono::seconds duration) const {
    std::time_t then = std::time(nullptr) + duration.count();
    for (const Member& member : members_) {
        if (X509_cmp_current_time(X509_get0_notBefore(member.certificate.get())) >= 0 ||
            X509_cmp_time(X509_get0_notAfter(member.certificate.get()), &then) <= 0) {
            return false;
        }
    }
    return true;
}

} // namespace InstallerCore::Rehearsal
