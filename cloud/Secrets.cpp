#include "cloud/Secrets.h"

#include <openssl/evp.h>
#include <sys/random.h>

#include <array>
#include <cerrno>

namespace murvel::cloud {

namespace {

constexpr std::size_t secretBytes = 32;

std::string hexOf(const unsigned char* bytes, std::size_t count) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(count * 2);
  for (std::size_t i = 0; i < count; ++i) {
    hex += digits[bytes[i] >> 4];
    hex += digits[bytes[i] & 0x0F];
  }
  return hex;
}

}  // namespace

std::optional<std::string> newSecret() {
  std::array<unsigned char, secretBytes> bytes{};
  std::size_t filled = 0;
  while (filled < bytes.size()) {
    // getrandom blocks only until the kernel's pool is first seeded, then never.
    const ssize_t got = ::getrandom(bytes.data() + filled, bytes.size() - filled, 0);
    if (got < 0) {
      if (errno == EINTR)
        continue;
      return std::nullopt;
    }
    filled += static_cast<std::size_t>(got);
  }
  return hexOf(bytes.data(), bytes.size());
}

bool looksLikeSecret(std::string_view text) {
  if (text.size() != secretBytes * 2)
    return false;
  for (const char c : text) {
    if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f')))
      return false;
  }
  return true;
}

std::string secretDigest(std::string_view text) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int length = 0;
  if (EVP_Digest(text.data(), text.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1)
    return {};
  return hexOf(digest.data(), length);
}

}  // namespace murvel::cloud
