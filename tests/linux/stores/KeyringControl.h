#pragma once

#include <string>

namespace murvel::linux_platform::testing {

// Direct access to the test session's keyring, beside the backend under test.

// How many items carry this service and account, locked or not, whoever stored them.
int countItems(const std::string& service, const std::string& account);

// Stores an item with this service and account under another schema name, as another program
// would.
bool storeForeignItem(const std::string& service, const std::string& account,
                      const std::string& secret);

// Locks the default collection, or unlocks it with the password the test launcher gave it. No
// prompt is involved in either.
bool lockDefaultCollection();
bool unlockDefaultCollection();

}  // namespace murvel::linux_platform::testing
