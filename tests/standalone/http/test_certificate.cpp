#include "standalone/http/test_certificate.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <sys/stat.h>

#include <cstdio>
#include <memory>

namespace http_test {

namespace {

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;

Key NewKey() { return {EVP_EC_gen("P-256"), &EVP_PKEY_free}; }

void WriteKey(const std::string& path, EVP_PKEY* key, const char* password) {
    const std::unique_ptr<FILE, decltype(&fclose)> file(fopen(path.c_str(), "w"), &fclose);
    ASSERT_TRUE(file);
    ASSERT_EQ(fchmod(fileno(file.get()), 0600), 0);
    ASSERT_EQ(PEM_write_PrivateKey(file.get(), key, password ? EVP_aes_256_cbc() : nullptr, nullptr, 0, nullptr,
                                   const_cast<char*>(password)),
              1);
}

}  // namespace

void WriteCertificate(const std::string& certificate_file, const std::string& key_file) {
    const Key key = NewKey();
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(X509_new(), &X509_free);
    X509_set_version(certificate.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 24 * 3600);
    X509_set_pubkey(certificate.get(), key.get());
    X509_NAME* const name = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("localhost"), -1, -1,
                               0);
    X509_set_issuer_name(certificate.get(), name);
    ASSERT_NE(X509_sign(certificate.get(), key.get(), EVP_sha256()), 0);
    const std::unique_ptr<FILE, decltype(&fclose)> file(fopen(certificate_file.c_str(), "w"), &fclose);
    ASSERT_TRUE(file);
    ASSERT_EQ(PEM_write_X509(file.get(), certificate.get()), 1);
    WriteKey(key_file, key.get(), nullptr);
}

void WriteEncryptedKey(const std::string& key_file) { WriteKey(key_file, NewKey().get(), "password"); }

}  // namespace http_test
