#pragma once

// The few JSON pieces --json prints: one object a line, keys named as the
// plain output's labels, numbers as numbers.
#include <string>
#include <utility>
#include <vector>

namespace slidebox::cli {

/// A number printed as realText prints it, as JSON: NaN and the
/// infinities, which JSON has no words for, become null.
std::string jsonNumber(const std::string& text);

/// {"key": value, ...} on one line; values are given as JSON already.
std::string jsonObject(const std::vector<std::pair<std::string, std::string>>& fields);

} // namespace slidebox::cli
