#include "cli/json_out.h"

namespace slidebox::cli {

std::string jsonNumber(const std::string& text) {
    if (text.find("nan") != std::string::npos || text.find("inf") != std::string::npos)
        return "null";
    return text;
}

std::string jsonObject(const std::vector<std::pair<std::string, std::string>>& fields) {
    std::string line = "{";
    for (std::size_t i = 0; i < fields.size(); ++i)
        line += (i ? ", \"" : "\"") + fields[i].first + "\": " + fields[i].second;
    return line + "}";
}

} // namespace slidebox::cli
