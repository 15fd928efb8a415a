#pragma once

#include <string>

namespace http_test {

/// Writes a new private key and a certificate that it signed itself, in PEM, the key with mode 0600.
void WriteCertificate(const std::string& certificate_file, const std::string& key_file);

/// Writes a new private key, encrypted, with mode 0600.
void WriteEncryptedKey(const std::string& key_file);

}  // namespace http_test
