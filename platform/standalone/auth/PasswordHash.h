#pragma once

#include <string>
#include <string_view>

namespace qarplatform {

/// What testing a password costs: 2^log2_n × 128 × r bytes of memory, and time in proportion, times p.
struct ScryptCost {
    int log2_n = 15;
    int r = 8;
    int p = 1;
};

/// Longest password in bytes.
constexpr std::size_t kLongestPassword = 1024;

/// Hashes a password with new salt.
/// @return "scrypt$15$8$1$SALT$HASH", salt and hash in Base64; "" when memory or random bytes are not to be had
std::string HashPassword(std::string_view password, const ScryptCost& cost = {});

enum class PasswordTest {
    kRight,
    kWrong,
    kUnreadable,  ///< the text is no hash, or one of a cost beyond reason
    kFailed       ///< memory is not to be had
};

/// Tests a password against a text of HashPassword, whatever its cost. Takes as long for a wrong one as for a right
/// one.
PasswordTest TestPassword(std::string_view password, const std::string& hash);

/// Takes as long as a test, for one who must not be told that there is nothing to test.
void PretendToTestPassword(std::string_view password);

/// Overwrites a password that is needed no more.
void ForgetPassword(std::string& password);

}  // namespace qarplatform
