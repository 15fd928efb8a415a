#include "standalone/auth/PasswordHash.h"

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/params.h>
#include <openssl/rand.h>

#include <charconv>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace qarplatform {

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::string_view kPrefix = "scrypt$";
constexpr std::size_t kSaltBytes = 16;
constexpr std::size_t kHashBytes = 32;
constexpr std::size_t kMostBytes = 64;  // of a salt or hash that is read
constexpr uint64_t kMostMemory = uint64_t{256} << 20;

struct Hash {
    ScryptCost cost;
    Bytes salt;
    Bytes hash;
};

uint64_t Memory(const ScryptCost& cost) { return (uint64_t{128} << cost.log2_n) * static_cast<uint64_t>(cost.r); }

bool IsWithinReason(const ScryptCost& cost) {
    return cost.log2_n >= 10 && cost.log2_n <= 20 && cost.r >= 1 && cost.r <= 32 && cost.p >= 1 && cost.p <= 8 &&
           Memory(cost) <= kMostMemory;
}

std::string Base64(const Bytes& bytes) {
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(), static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

/// @return the bytes; empty where the text is no Base64 as Base64() writes it
Bytes FromBase64(std::string_view text) {
    if (text.empty() || text.size() % 4 != 0 || text.size() > (kMostBytes + 2) / 3 * 4) {
        return {};
    }
    Bytes bytes(text.size() / 4 * 3);
    const int length = EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                       static_cast<int>(text.size()));
    const std::size_t padding = text.size() - (text.find_last_not_of('=') + 1);
    if (length < 0 || padding > 2) {
        return {};
    }
    bytes.resize(static_cast<std::size_t>(length) - padding);
    return Base64(bytes) == text ? bytes : Bytes();
}

/// Takes the part up to the next '$', or all that is left.
std::string_view TakePart(std::string_view& text) {
    const std::size_t end = text.find('$');
    const std::string_view part = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return part;
}

bool ReadNumber(std::string_view text, int& number) {
    const auto [end, failed] = std::from_chars(text.data(), text.data() + text.size(), number);
    return failed == std::errc() && end == text.data() + text.size();
}

std::optional<Hash> ReadHash(std::string_view text) {
    if (text.substr(0, kPrefix.size()) != kPrefix) {
        return std::nullopt;
    }
    text.remove_prefix(kPrefix.size());
    Hash hash;
    if (!ReadNumber(TakePart(text), hash.cost.log2_n) || !ReadNumber(TakePart(text), hash.cost.r) ||
        !ReadNumber(TakePart(text), hash.cost.p) || !IsWithinReason(hash.cost)) {
        return std::nullopt;
    }
    hash.salt = FromBase64(TakePart(text));
    hash.hash = FromBase64(text);
    if (hash.salt.empty() || hash.hash.size() < kHashBytes) {
        return std::nullopt;
    }
    return hash;
}

/// @param hash  its size is that of the result
bool Scrypt(std::string_view password, const ScryptCost& cost, const Bytes& salt, Bytes& hash) {
    const std::unique_ptr<EVP_KDF, decltype(&EVP_KDF_free)> kdf(EVP_KDF_fetch(nullptr, "SCRYPT", nullptr),
                                                                &EVP_KDF_free);
    const std::unique_ptr<EVP_KDF_CTX, decltype(&EVP_KDF_CTX_free)> context(EVP_KDF_CTX_new(kdf.get()),
                                                                            &EVP_KDF_CTX_free);
    if (!kdf || !context) {
        return false;
    }
    uint64_t n = uint64_t{1} << cost.log2_n;
    auto r = static_cast<uint32_t>(cost.r);
    auto p = static_cast<uint32_t>(cost.p);
    uint64_t most_memory = 2 * kMostMemory;
    // The library only reads what the parameters point to.
    const auto octets = [](const char* key, const void* data, std::size_t size) {
        return OSSL_PARAM_construct_octet_string(key, const_cast<void*>(data), size);
    };
    const OSSL_PARAM parameters[] = {
        octets(OSSL_KDF_PARAM_PASSWORD, password.empty() ? "" : password.data(), password.size()),
        octets(OSSL_KDF_PARAM_SALT, salt.data(), salt.size()),
        OSSL_PARAM_construct_uint64(OSSL_KDF_PARAM_SCRYPT_N, &n),
        OSSL_PARAM_construct_uint32(OSSL_KDF_PARAM_SCRYPT_R, &r),
        OSSL_PARAM_construct_uint32(OSSL_KDF_PARAM_SCRYPT_P, &p),
        OSSL_PARAM_construct_uint64(OSSL_KDF_PARAM_SCRYPT_MAXMEM, &most_memory),
        OSSL_PARAM_construct_end()};
    return EVP_KDF_derive(context.get(), hash.data(), hash.size(), parameters) == 1;
}

}  // namespace

std::string HashPassword(std::string_view password, const ScryptCost& cost) {
    Bytes salt(kSaltBytes);
    Bytes hash(kHashBytes);
    if (!IsWithinReason(cost) || RAND_bytes(salt.data(), static_cast<int>(salt.size())) != 1 ||
        !Scrypt(password, cost, salt, hash)) {
        return "";
    }
    return std::string(kPrefix) + std::to_string(cost.log2_n) + "$" + std::to_string(cost.r) + "$" +
           std::to_string(cost.p) + "$" + Base64(salt) + "$" + Base64(hash);
}

PasswordTest TestPassword(std::string_view password, const std::string& hash) {
    const std::optional<Hash> right = ReadHash(hash);
    if (!right) {
        return PasswordTest::kUnreadable;
    }
    Bytes found(right->hash.size());
    if (!Scrypt(password, right->cost, right->salt, found)) {
        return PasswordTest::kFailed;
    }
    return CRYPTO_memcmp(found.data(), right->hash.data(), found.size()) == 0 ? PasswordTest::kRight
                                                                              : PasswordTest::kWrong;
}

void PretendToTestPassword(std::string_view password) {
    Bytes hash(kHashBytes);
    Scrypt(password, ScryptCost(), Bytes(kSaltBytes), hash);
}

void ForgetPassword(std::string& password) {
    OPENSSL_cleanse(password.data(), password.size());
    password.clear();
}

}  // namespace qarplatform
