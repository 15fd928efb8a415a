#pragma once

#include <memory>
#include <string>

struct ssl_ctx_st;  // OpenSSL's SSL_CTX

namespace qarplatform {

/// A server's side of TLS 1.2 and 1.3.
/// @param certificate_file  PEM, the server's certificate first, then those up to the root
/// @param key_file          PEM, not encrypted, a file that nobody but its owner may use
/// @param error             gets what is wrong, with the file
/// @return null when a file cannot be used
std::shared_ptr<ssl_ctx_st> MakeTlsContext(const std::string& certificate_file, const std::string& key_file,
                                           std::string& error);

}  // namespace qarplatform
