#include "strings/url_parts.h"

namespace slidebox::strings {

namespace {

bool isAlpha(QChar c) {
    return (c >= QLatin1Char('a') && c <= QLatin1Char('z')) ||
           (c >= QLatin1Char('A') && c <= QLatin1Char('Z'));
}
bool isDigit(QChar c) {
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}
bool isHex(QChar c) {
    return isDigit(c) || (c >= QLatin1Char('a') && c <= QLatin1Char('f')) ||
           (c >= QLatin1Char('A') && c <= QLatin1Char('F'));
}

// The characters an address may hold as they stand: unreserved, reserved,
// and "%" when two hex digits follow.
bool holdsOnlyAddressCharacters(const QString& text) {
    static const QString allowed = QStringLiteral("-._~:/?#[]@!$&'()*+,;=");
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (isAlpha(c) || isDigit(c) || allowed.contains(c))
            continue;
        if (c == QLatin1Char('%') && i + 2 < text.size() && isHex(text[i + 1]) &&
            isHex(text[i + 2])) {
            i += 2;
            continue;
        }
        return false;
    }
    return true;
}

// scheme = ALPHA *( ALPHA / DIGIT / "+" / "-" / "." ), then ":".
qsizetype schemeLength(const QString& text) {
    if (text.isEmpty() || !isAlpha(text[0]))
        return -1;
    for (qsizetype i = 1; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c == QLatin1Char(':'))
            return i;
        if (!isAlpha(c) && !isDigit(c) && c != QLatin1Char('+') && c != QLatin1Char('-') &&
            c != QLatin1Char('.'))
            return -1;
    }
    return -1;
}

// Splits "host[:port]" (host may be "[v6]"); false for a port that isn't digits.
bool splitHostPort(const QString& hostPort, UrlParts& parts) {
    qsizetype colon = -1;
    if (hostPort.startsWith(QLatin1Char('['))) {
        const qsizetype close = hostPort.indexOf(QLatin1Char(']'));
        if (close < 0)
            return false;
        if (close + 1 < hostPort.size()) {
            if (hostPort[close + 1] != QLatin1Char(':'))
                return false;
            colon = close + 1;
        }
    } else {
        colon = hostPort.indexOf(QLatin1Char(':'));
    }
    parts.host = colon < 0 ? hostPort : hostPort.left(colon);
    if (colon < 0)
        return true;
    QString port = hostPort.mid(colon + 1);
    for (QChar c : port)
        if (!isDigit(c))
            return false;
    while (port.size() > 1 && port.startsWith(QLatin1Char('0')))
        port.remove(0, 1);
    if (!port.isEmpty()) // "host:" names no port
        parts.port = port;
    return true;
}

} // namespace

std::optional<UrlParts> UrlParts::parse(const QString& text) {
    if (!holdsOnlyAddressCharacters(text))
        return std::nullopt;
    const qsizetype schemeEnd = schemeLength(text);
    if (schemeEnd < 0)
        return std::nullopt;
    UrlParts parts;
    parts.scheme = text.left(schemeEnd);

    QString rest = text.mid(schemeEnd + 1);
    // Query and fragment play no part in the display form.
    for (qsizetype i = 0; i < rest.size(); ++i) {
        if (rest[i] == QLatin1Char('?') || rest[i] == QLatin1Char('#')) {
            rest.truncate(i);
            break;
        }
    }
    if (!rest.startsWith(QStringLiteral("//"))) {
        parts.path = rest;
        return parts;
    }
    rest.remove(0, 2);
    const qsizetype authorityEnd = rest.indexOf(QLatin1Char('/'));
    const QString authority = authorityEnd < 0 ? rest : rest.left(authorityEnd);
    parts.path = authorityEnd < 0 ? QString() : rest.mid(authorityEnd);

    // The last "@" ends the user part: a password holding an unescaped "@"
    // is then hidden whole rather than shown in part as a host.
    QString hostPort = authority;
    const qsizetype at = authority.lastIndexOf(QLatin1Char('@'));
    if (at >= 0) {
        const QString userInfo = authority.left(at);
        hostPort = authority.mid(at + 1);
        const qsizetype colon = userInfo.indexOf(QLatin1Char(':'));
        parts.user = colon < 0 ? userInfo : userInfo.left(colon);
        if (colon >= 0)
            parts.password = userInfo.mid(colon + 1);
    }
    if (!splitHostPort(hostPort, parts))
        return std::nullopt;
    return parts;
}

} // namespace slidebox::strings
