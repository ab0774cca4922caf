#include "Support/TestCertificate.h"

#include <cstdlib>
#include <memory>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

namespace nimbe {
namespace {

template <auto release>
struct Free {
    template <typename T>
    void operator()(T* object) const {
        release(object);
    }
};
using Key = std::unique_ptr<EVP_PKEY, Free<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Free<X509_free>>;
using Memory = std::unique_ptr<BIO, Free<BIO_free>>;

void require(bool isDone) {
    if (!isDone) std::abort();
}

std::string textOf(BIO* memory) {
    char* bytes = nullptr;
    const long length = BIO_get_mem_data(memory, &bytes);
    return {bytes, static_cast<std::size_t>(length)};
}

void addExtension(X509* certificate, int kind, const char* value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value);
    require(extension != nullptr && X509_add_ext(certificate, extension, -1) == 1);
    X509_EXTENSION_free(extension);
}

} // namespace

TestCertificate TestCertificate::make() {
    const Key key(EVP_EC_gen("P-256"));
    const Certificate certificate(X509_new());
    require(key && certificate);
    X509_set_version(certificate.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600);
    X509_set_pubkey(certificate.get(), key.get());
    X509_NAME* name = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(
        name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("Nimbe test"), -1, -1, 0);
    X509_set_issuer_name(certificate.get(), name);
    addExtension(certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
    addExtension(certificate.get(), NID_subject_alt_name, "IP:127.0.0.1");
    require(X509_sign(certificate.get(), key.get(), EVP_sha256()) > 0);

    const Memory certificateText(BIO_new(BIO_s_mem()));
    const Memory keyText(BIO_new(BIO_s_mem()));
    require(PEM_write_bio_X509(certificateText.get(), certificate.get()) == 1);
    require(PEM_write_bio_PrivateKey(
                keyText.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1);
    return {textOf(certificateText.get()), textOf(keyText.get())};
}

} // namespace nimbe
