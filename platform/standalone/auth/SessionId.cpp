#include "standalone/auth/SessionId.h"

#include <openssl/rand.h>

#include <array>
#include <string_view>

namespace qarplatform {

namespace {

constexpr std::string_view kCharacters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

// Bytes from here on are thrown away, so that each character is as likely as the others.
constexpr std::size_t kEnd = 256 / kCharacters.size() * kCharacters.size();

}  // namespace

std::string NewSessionId() {
    std::string id;
    while (id.size() < kSessionIdLength) {
        std::array<unsigned char, kSessionIdLength> random{};
        if (RAND_bytes(random.data(), static_cast<int>(random.size())) != 1) {
            return "";
        }
        for (const unsigned char byte : random) {
            if (byte < kEnd && id.size() < kSessionIdLength) {
                id += kCharacters[byte % kCharacters.size()];
            }
        }
    }
    return id;
}

}  // namespace qarplatform
