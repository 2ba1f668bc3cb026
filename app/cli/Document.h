#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace cli {

using Json = nlohmann::ordered_json;

/// Returns the head of every document: version, program, host, user and date.
Json documentHead();

/// Returns the text of a document.
std::string written(const Json& document);

} // namespace cli
