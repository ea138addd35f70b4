#pragma once

#include <optional>

#include <QString>

namespace slidebox::strings {

/// The parts of an absolute address
/// "scheme:[//[user[:password]@]host[:port]]path[?query][#fragment]", as far as hiding a password
/// needs them. Parts keep their percent escapes.
struct UrlParts {
    QString scheme;
    std::optional<QString> user;     ///< absent without "@" in the authority
    std::optional<QString> password; ///< absent without ":" in the user part; may be empty
    std::optional<QString> host;     ///< absent without "//"; an IPv6 literal keeps its brackets
    std::optional<QString> port;     ///< decimal without leading zeros; absent when not given
    QString path;                    ///< as written, query and fragment left out

    /// Parses an absolute address. Nothing for text with characters an
    /// address can't hold (blanks, controls, non-ASCII, a bad "%" escape),
    /// without a scheme, or with a port that isn't a number.
    static std::optional<UrlParts> parse(const QString& text);
};

} // namespace slidebox::strings
