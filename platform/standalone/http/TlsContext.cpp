#include "standalone/http/TlsContext.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace qarplatform {

namespace {

constexpr const char* kCiphersOfTls12 = "ECDHE+AESGCM:ECDHE+CHACHA20";

struct CloseFile {
    void operator()(FILE* file) const { std::fclose(file); }
};
using FilePointer = std::unique_ptr<FILE, CloseFile>;

struct FreeKey {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
using KeyPointer = std::unique_ptr<EVP_PKEY, FreeKey>;

/// @return what OpenSSL names as the reason of the last failure
std::string LastReason() {
    const unsigned long first = ERR_peek_error();
    const char* const reason = ERR_reason_error_string(ERR_peek_last_error());
    ERR_clear_error();
    if (ERR_SYSTEM_ERROR(first)) {
        return std::strerror(ERR_GET_REASON(first));
    }
    return reason ? reason : "unknown error";
}

/// In the place of OpenSSL's own, which asks at the terminal.
int NoPassword(char*, int, int, void* asked) {
    *static_cast<bool*>(asked) = true;
    return -1;
}

KeyPointer ReadKey(const std::string& path, std::string& error) {
    const FilePointer file(std::fopen(path.c_str(), "re"));
    if (!file) {
        error = "the key file " + path + " cannot be opened: " + std::strerror(errno);
        return nullptr;
    }
    struct stat status {};
    if (fstat(fileno(file.get()), &status) != 0 || (status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        error = "the key file " + path + " is open to others than its owner: its mode must be 0600";
        return nullptr;
    }
    bool encrypted = false;
    KeyPointer key(PEM_read_PrivateKey(file.get(), nullptr, &NoPassword, &encrypted));
    if (!key) {
        error =
            "the key file " + path + (encrypted ? " is encrypted" : " holds no private key in PEM: " + LastReason());
    }
    ERR_clear_error();
    return key;
}

}  // namespace

std::shared_ptr<ssl_ctx_st> MakeTlsContext(const std::string& certificate_file, const std::string& key_file,
                                           std::string& error) {
    ERR_clear_error();
    std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), &SSL_CTX_free);
    if (!context || SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) != 1 ||
        SSL_CTX_set_cipher_list(context.get(), kCiphersOfTls12) != 1) {
        error = "TLS cannot be set up: " + LastReason();
        return nullptr;
    }
    SSL_CTX_set_options(context.get(),
                        SSL_OP_NO_COMPRESSION | SSL_OP_NO_RENEGOTIATION | SSL_OP_CIPHER_SERVER_PREFERENCE);
    SSL_CTX_set_mode(context.get(), SSL_MODE_RELEASE_BUFFERS);
    if (SSL_CTX_use_certificate_chain_file(context.get(), certificate_file.c_str()) != 1) {
        error = "the certificate file " + certificate_file + " cannot be used: " + LastReason();
        return nullptr;
    }
    const KeyPointer key = ReadKey(key_file, error);
    if (!key) {
        return nullptr;
    }
    if (SSL_CTX_use_PrivateKey(context.get(), key.get()) != 1) {
        error =
            "the key file " + key_file + " does not fit the certificate file " + certificate_file + ": " + LastReason();
        return nullptr;
    }
    return context;
}

}  // namespace qarplatform
