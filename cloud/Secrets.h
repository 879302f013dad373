#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace murvel::cloud {

// A new secret of 256 random bits from the system's secure source, as 64 lower-case hex
// digits; nothing when the source fails.
std::optional<std::string> newSecret();

// Whether `text` has the shape of a secret this service issues.
bool looksLikeSecret(std::string_view text);

// The SHA-256 digest of `text` as 64 lower-case hex digits: what the store keeps of a secret.
// Secrets are random and long, so a plain digest is enough to make a stolen database useless.
std::string secretDigest(std::string_view text);

}  // namespace murvel::cloud
