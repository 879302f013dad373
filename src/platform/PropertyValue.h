#pragma once

#include <nlohmann/json.hpp>

namespace murvel {

// A value of a property list: a string, a boolean, a number, an array or a dictionary.
using PropertyValue = nlohmann::json;

}  // namespace murvel
